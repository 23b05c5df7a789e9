#include "kivjniffmpeg/buffer_callbacks.h"

#include "kivjniffmpeg/native_buffer.h"
#include "kivjniffmpeg/video_codec.h"
#include "support/java_side.h"
#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>

using testing::StartsWith;

namespace
{

constexpr int32_t im_i420 = make_four_character_code("I420");

/** A codec with one colour model, and a context of the test's own that names it as its owner. */
class buffer_callbacks : public testing::Test
{
protected:
    buffer_callbacks() { use_model(im_i420, 12); }
    ~buffer_callbacks() override
    {
        dsc_codec.reset();
        EXPECT_EQ(g_buffer_statistics.vbuffers, inc_vbuffers);
        EXPECT_EQ(g_buffer_statistics.abuffers, inc_abuffers);
        dsc_registration.reset();
    }

    void use_model(int32_t imp_fourcc, int32_t imp_bpp)
    {
        const kiv::jni::c_jnienv dsl_env(&dsc_env);
        kiv::jni::c_jintarray dsl_format(dsl_env, dsc_env.local_ints(std::vector<jint>(18)), 18);
        kiv::jni::c_jbytearray dsl_extradata(dsl_env, nullptr, 0);
        kiv::jni::c_jintarray dsl_model(dsl_env, dsc_env.local_ints({imp_fourcc, imp_bpp, 0, 0, 0, 0, 0}), 7);
        dsc_codec = std::make_unique<c_videocodec>(
            reinterpret_cast<c_ffmpeg *>(dsc_side.context()),
            c_vformat::create_from_java_array(strg_mpeg2_subtype, dsl_format, dsl_extradata));
        dsc_codec->append_dst_format(c_colormodel::create_from_java_array(dsl_model));
        dsc_context->opaque = dsc_codec.get();
        request(AV_PIX_FMT_YUV420P, 320, 240);
    }

    /** What a decoder of this size would say when it wants a picture. */
    void request(AVPixelFormat dsp_format, int inp_width, int inp_height)
    {
        dsc_context->width = dsc_frame->width = inp_width;
        dsc_context->height = dsc_frame->height = inp_height;
        dsc_frame->format = dsp_format;
    }

    std::string failure_of(const std::function<void()> &dsp_operation)
    {
        try {
            dsp_operation();
        } catch (const std::exception &dsl_exception) {
            return dsl_exception.what();
        }
        return "";
    }

    std::string get_failure()
    {
        const std::string strl_failure =
            failure_of([&] { avcodec_custom_get_buffer(dsc_context.context(), dsc_frame.frame()); });
        EXPECT_EQ(avcodec_custom_get_buffer_nothrow(dsc_context.context(), dsc_frame.frame()), -1);
        EXPECT_EQ(dsc_frame->opaque, nullptr);
        return strl_failure;
    }

    ca_ffmpeg_buffer &get()
    {
        EXPECT_EQ(avcodec_custom_get_buffer(dsc_context.context(), dsc_frame.frame()), 0);
        EXPECT_EQ(dsc_frame->type, FF_BUFFER_TYPE_USER);
        return *static_cast<ca_ffmpeg_buffer *>(dsc_frame->opaque);
    }

    void release() { avcodec_custom_release_buffer(dsc_context.context(), dsc_frame.frame()); }

    c_java_side dsc_side;
    c_fake_jnienv dsc_env{dsc_side.vm()};
    std::optional<c_register_threadlocal_env> dsc_registration{&dsc_env};
    int inc_vbuffers = g_buffer_statistics.vbuffers;
    int inc_abuffers = g_buffer_statistics.abuffers;
    std::unique_ptr<c_videocodec> dsc_codec;
    c_avcodec_ctx dsc_context{c_avcodec(AV_CODEC_ID_MPEG2VIDEO, true)};
    c_avframe dsc_frame;
};

TEST_F(buffer_callbacks, picture_of_the_models_format_lies_in_javas_array)
{
    for (const int32_t iml_fourcc : {im_i420, im_fourcc_yv12}) {
        use_model(iml_fourcc, 12);
        dsc_context->pix_fmt = AV_PIX_FMT_YUV422P; // left alone by the callback
        dsc_context->reordered_opaque = 77;
        const ca_ffmpeg_buffer &dsl_buffer = get();
        EXPECT_EQ(dsc_context->pix_fmt, AV_PIX_FMT_YUV422P);
        EXPECT_EQ(dsc_frame->reordered_opaque, 77);
        EXPECT_EQ(dsl_buffer.kind(), kiv::jni::ie_array_byte);
        const auto find_plane = [&](uint32_t ump_plane) {
            return dsl_buffer.data() + dsl_buffer.get_plane_offset(ump_plane);
        };
        const bool bl_swapped = iml_fourcc == im_fourcc_yv12;
        EXPECT_EQ(dsc_frame->data[0], dsl_buffer.data());
        EXPECT_EQ(dsc_frame->data[bl_swapped ? 2 : 1], find_plane(1));
        EXPECT_EQ(dsc_frame->data[bl_swapped ? 1 : 2], find_plane(2));
        EXPECT_EQ(dsc_frame->data[3], nullptr);
        EXPECT_EQ(dsl_buffer.get_plane_offset(3), 0);
        EXPECT_TRUE(
            std::all_of(find_plane(0), find_plane(2) + 160 * 120, [](uint8_t utp_byte) { return utp_byte == 0x80; }));
        release();
        EXPECT_EQ(dsc_frame->opaque, nullptr);
        EXPECT_EQ(dsc_frame->data[0], nullptr);
        EXPECT_EQ(dsc_frame->linesize[1], 0);
    }
    EXPECT_EQ(dsc_side.inc_allocator_calls, 2);
}

TEST_F(buffer_callbacks, picture_of_another_format_lies_in_native_memory)
{
    use_model(0, 32);
    EXPECT_EQ(get().kind(), kiv::jni::ie_native_memory);
    EXPECT_EQ(dsc_side.inc_allocator_calls, 0);
    release();
}

// The larger of shown and coded size counts, and the array holds the planes whatever the model's formula says. Fake
// Java's arrays are guarded at both ends.
TEST_F(buffer_callbacks, array_holds_the_whole_coded_picture)
{
    request(AV_PIX_FMT_YUV420P, 1920, 1080);
    dsc_frame->height = 1088;
    const ca_ffmpeg_buffer &dsl_cropped = get();
    EXPECT_GE(dsl_cropped.get_plane_offset(1), 1920 * 1088);
    EXPECT_GE(dsl_cropped.capacity() - dsl_cropped.data_offset(), dsl_cropped.get_plane_offset(2) + 960 * 544);
    release();
    use_model(0, 32);
    request(AV_PIX_FMT_BGRA, 854, 480);
    const ca_ffmpeg_buffer &dsl_padded = get();
    EXPECT_EQ(dsl_padded.kind(), kiv::jni::ie_array_int);
    EXPECT_GE(dsl_padded.capacity() - dsl_padded.data_offset(), dsc_frame->linesize[0] * 480);
    release();
}

TEST_F(buffer_callbacks, pictures_that_are_refused_leave_nothing_behind)
{
    request(AV_PIX_FMT_YUV420P, 48, 48);
    EXPECT_EQ(get_failure(), "corrupt state: wrong height or width in line 955");
    request(AV_PIX_FMT_PAL8, 320, 240);
    EXPECT_EQ(get_failure(), "we do not support indexed color models in line 3141");
    request(AV_PIX_FMT_YUV420P, 0, 240);
    EXPECT_EQ(get_failure(), "video dimensions corrupt in line 2994");
    request(static_cast<AVPixelFormat>(9999), 320, 240);
    EXPECT_EQ(get_failure(), "") << "a result of -1, without an exception";
    use_model(0, 24);
    request(AV_PIX_FMT_RGB24, 320, 240);
    EXPECT_EQ(get_failure(), "invalid buffer type") << "there is no array of three bytes an element";
    dsc_registration.reset();
    use_model(im_i420, 12);
    EXPECT_EQ(get_failure(), "adsc_ffmpeg->get_thread_env() returned NULL in line 951");
    dsc_registration.emplace(&dsc_env);
    dsc_context->codec_type = AVMEDIA_TYPE_DATA;
    EXPECT_EQ(avcodec_custom_get_buffer(dsc_context.context(), dsc_frame.frame()), -2);
}

TEST_F(buffer_callbacks, samples_lie_in_native_memory)
{
    dsc_context->codec_type = AVMEDIA_TYPE_AUDIO;
    dsc_context->sample_fmt = AV_SAMPLE_FMT_S16P;
    dsc_frame->nb_samples = 1000;
    const std::pair<int, const char *> dsl_refused[] = {{33, "channels<1 or channels>32 in line 3165"},
                                                        {-1, "channels<1 or channels>32 in line 3165"},
                                                        {0, " iml_buf_size<0 in line 3168"}};
    for (const auto &[inl_channels, strl_message] : dsl_refused) {
        dsc_context->channels = inl_channels;
        EXPECT_EQ(get_failure(), strl_message);
    }
    dsc_context->channels = 2;
    const ca_ffmpeg_buffer &dsl_buffer = get();
    EXPECT_EQ(dsl_buffer.kind(), kiv::jni::ie_native_memory);
    EXPECT_EQ(g_buffer_statistics.abuffers, inc_abuffers + 1);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(dsc_frame->data[0]) % 64, 0U);
    EXPECT_GE(dsl_buffer.capacity(), 4000);
    EXPECT_EQ(dsc_frame->buf[0], nullptr) << "otherwise FFmpeg takes the memory for its own";
    EXPECT_EQ(failure_of([&] { avcodec_custom_reget_buffer(dsc_context.context(), dsc_frame.frame()); }),
              "reget_buffer can only be used for video buffers in line 3258");
    release();
    dsc_frame->nb_samples = -1;
    EXPECT_EQ(get_failure(), "nb_samples<0 in line 3166");
}

TEST_F(buffer_callbacks, frames_of_others_and_null_arguments_are_errors_that_never_reach_ffmpeg)
{
    dsc_frame->type = 1;
    EXPECT_THAT(failure_of([&] { release(); }), StartsWith("TODO: file="));
    avcodec_custom_release_buffer_nothrow(dsc_context.context(), dsc_frame.frame());
    EXPECT_EQ(avcodec_custom_reget_buffer_nothrow(nullptr, dsc_frame.frame()), -1);
    EXPECT_EQ(failure_of([&] { avcodec_custom_reget_buffer(dsc_context.context(), nullptr); }),
              "adsp_pic must not be NULL in line 3257");
    EXPECT_EQ(avcodec_custom_reget_buffer(dsc_context.context(), dsc_frame.frame()), 0);
    EXPECT_EQ(avcodec_custom_reget_buffer(dsc_context.context(), dsc_frame.frame()), 0) << "it keeps what it has";
    EXPECT_EQ(dsc_side.inc_allocator_calls, 1);
    release();
}

} // namespace
