#include "kivjniffmpeg/codecs/video_codec.h"

#include "support/fake_jnienv.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>

namespace
{

class video_codec : public real_ffmpeg
{
protected:
    std::unique_ptr<c_videocodec> mpeg2()
    {
        kiv::jni::c_jintarray dsl_format(dsc_java, dsc_env.local_ints(std::vector<jint>(18, 16)), 18);
        kiv::jni::c_jbytearray dsl_extradata(dsc_java, dsc_env.local_bytes(16), INT32_MAX);
        return std::make_unique<c_videocodec>(
            std::make_unique<c_ffmpeg>().release(),
            c_vformat::create_from_java_array("e06d8026-db46-11cf-b4d1-00805f6cbbea", dsl_format, dsl_extradata));
    }

    c_fake_vm dsc_vm;
    c_fake_jnienv dsc_env{dsc_vm};
    kiv::jni::c_jnienv dsc_java{&dsc_env};
    const c_register_threadlocal_env dsc_registration{&dsc_env};
};

TEST_F(video_codec, option_that_fails_is_not_set)
{
    const auto dsl_codec = mpeg2();
    const auto count = std::exchange(g_avutil.av_buffer_get_ref_count, nullptr);
    for (const char *strl_option : {"direct_buffers", "native_format"}) {
        EXPECT_THROW(dsl_codec->set_option(strl_option, true), kiv::jni::c_jniexception);
        EXPECT_FALSE(dsl_codec->takes_direct_buffers()) << strl_option;
        dsl_codec->set_option(strl_option, false);
    }
    g_avutil.av_buffer_get_ref_count = count;
}

TEST_F(video_codec, packet_too_large_for_its_padding_is_an_error)
{
    const auto dsl_codec = mpeg2();
    ASSERT_TRUE(dsl_codec->open());
    c_codec::dsd_out_params dsl_out{};
    auto utl_start_code = dsl_codec->input().prepare(2); // withheld: more may follow
    EXPECT_EQ(dsl_codec->process(utl_start_code.data(), 2, 0, 0, dsl_out), ie_no_picture);
    EXPECT_EQ(dsl_codec->process(utl_start_code.data(), INT_MAX, 0, 0, dsl_out), ie_decoding_error);
}

} // namespace
