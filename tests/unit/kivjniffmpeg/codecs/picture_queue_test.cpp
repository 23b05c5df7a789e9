#include "kivjniffmpeg/codecs/picture_queue.h"

#include "kivjniffmpeg/buffers/native_buffer.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

namespace
{

class picture_queue : public real_ffmpeg
{
protected:
    static dsd_decoded_picture picture(int64_t ilp_timestamp)
    {
        dsd_decoded_picture dsl_picture{std::make_unique<c_avframe>(), c_native_buffer::make(16, 0)};
        (*dsl_picture.dsc_frame)->pts = ilp_timestamp;
        return dsl_picture;
    }

    /** Shares a frame whose memory counts itself when it is released. @return the decoder's reference to it */
    AVBufferRef *share()
    {
        const auto adsl_release = +[](void *adsp_released, uint8_t *) { ++*static_cast<int *>(adsp_released); };
        auto dsl_frame = std::make_unique<c_avframe>();
        AVBufferRef *adsl_memory =
            ffmpeg_call<AVBufferRef *>("av_buffer_create", &utc_memory, 1, adsl_release, &inc_released, 0);
        (*dsl_frame)->buf[0] = ffmpeg_call<AVBufferRef *>("av_buffer_ref", adsl_memory);
        dsc_queue.share(std::move(dsl_frame));
        return adsl_memory;
    }

    uint8_t utc_memory = 0;
    int inc_released = 0;
    c_picture_queue dsc_queue; // destroyed before what its frames use
};

TEST_F(picture_queue, oldest_picture_comes_first_and_is_held_until_then)
{
    dsd_decoded_picture dsl_first = picture(1);
    const ca_ffmpeg_buffer *adsl_buffer = dsl_first.dsc_buffer.get();
    EXPECT_FALSE(dsc_queue.holds(adsl_buffer));
    dsc_queue.push(std::move(dsl_first));
    dsc_queue.push(picture(2));
    EXPECT_TRUE(dsc_queue.holds(adsl_buffer)) << "a second picture in this memory is another one";

    const dsd_decoded_picture dsl_oldest = dsc_queue.pop();
    EXPECT_EQ((*dsl_oldest.dsc_frame)->pts, 1);
    EXPECT_EQ(dsl_oldest.dsc_buffer.get(), adsl_buffer);
    EXPECT_EQ(adsl_buffer->reference_count(), 1);
    EXPECT_FALSE(dsc_queue.holds(adsl_buffer));
    EXPECT_FALSE(dsc_queue.empty());
    dsc_queue.clear();
    EXPECT_TRUE(dsc_queue.empty());
}

TEST_F(picture_queue, shared_pictures_are_released_when_the_decoder_does_not_use_them_any_more)
{
    AVBufferRef *adsl_decoders = share();
    dsc_queue.share(std::make_unique<c_avframe>()); // converted: its memory is no reference of FFmpeg's
    dsc_queue.clear();
    dsc_queue.release_unused_pictures();
    EXPECT_EQ(inc_released, 0) << "the decoder still reads it";
    ffmpeg_call<void>("av_buffer_unref", &adsl_decoders);
    EXPECT_EQ(inc_released, 0) << "Java may still read it";
    dsc_queue.release_unused_pictures();
    EXPECT_EQ(inc_released, 1);

    adsl_decoders = share();
    dsc_queue.release_shared_pictures();
    EXPECT_EQ(inc_released, 1) << "only the queue's reference is gone";
    ffmpeg_call<void>("av_buffer_unref", &adsl_decoders);
    EXPECT_EQ(inc_released, 2);
}

} // namespace
