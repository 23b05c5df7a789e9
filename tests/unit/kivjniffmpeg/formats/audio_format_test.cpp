#include "kivjniffmpeg/formats/audio_format.h"

#include "jni/exceptions.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <tuple>

TEST(audio_format, channels_have_their_layouts)
{
    const uint64_t ull_layouts[] = {0, 0x4, 0x3, 0, 0x33, 0, 0x60F, 0, 0x63F, 0};
    for (int32_t iml_channels = 0; iml_channels < 10; ++iml_channels)
        EXPECT_EQ(channel_layout_of(iml_channels), ull_layouts[iml_channels]) << iml_channels;
}

TEST(audio_format, bits_and_order_have_their_sample_formats)
{
    const std::tuple<int32_t, int32_t, AVSampleFormat, AVSampleFormat> dsl_rows[] = {
        {im_tag_pcm, 8, AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_U8P},
        {im_tag_pcm, 16, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P},
        {im_tag_pcm, 32, AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_S32P},
        {im_tag_float, 32, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP},
        {im_tag_float, 64, AV_SAMPLE_FMT_DBL, AV_SAMPLE_FMT_DBLP},
        {im_tag_pcm, 24, AV_SAMPLE_FMT_NONE, AV_SAMPLE_FMT_NONE},
        {im_tag_float, 16, AV_SAMPLE_FMT_NONE, AV_SAMPLE_FMT_NONE}};
    load_ffmpeg();
    for (const auto &[iml_tag, iml_bits, iel_interleaved, iel_planar] : dsl_rows) {
        EXPECT_EQ(sample_format_of(iml_tag, iml_bits, false), iel_interleaved);
        EXPECT_EQ(sample_format_of(iml_tag, iml_bits, true), iel_planar);
        for (const AVSampleFormat iel_format : {iel_interleaved, iel_planar}) {
            if (iel_format != AV_SAMPLE_FMT_NONE) {
                const auto dsl_format = c_aformat::of_samples(iel_format, 6, 8000);
                EXPECT_EQ(dsl_format->format_tag(), iml_tag);
                EXPECT_EQ(dsl_format->sample_format(), iel_format);
                EXPECT_EQ(dsl_format->bytes_per_second(), 6 * 8000 * iml_bits / 8);
            }
        }
    }
}

TEST(audio_format, samples_are_converted_where_one_property_differs)
{
    const auto dsl_pcm = c_aformat::pcm16(2, 48000);
    const c_aformat dsl_law(7, 2, 48000, 16, false, {});
    EXPECT_FALSE(c_aformat::needs_resampling(*dsl_pcm, *c_aformat::pcm16(2, 48000)));
    EXPECT_TRUE(c_aformat::needs_resampling(*dsl_pcm, *c_aformat::pcm16(1, 48000)));
    EXPECT_TRUE(c_aformat::needs_resampling(*dsl_pcm, *c_aformat::pcm16(2, 44100)));
    EXPECT_TRUE(c_aformat::needs_resampling(*dsl_pcm, c_aformat(im_tag_pcm, 2, 48000, 32, false, {})));
    EXPECT_TRUE(c_aformat::needs_resampling(*dsl_pcm, c_aformat(im_tag_float, 2, 48000, 16, false, {})));
    EXPECT_TRUE(c_aformat::needs_resampling(*dsl_pcm, dsl_law)) << "one of them is samples";
    EXPECT_THROW(c_aformat::needs_resampling(dsl_law, dsl_law), c_ffmpeg_exception);
}
