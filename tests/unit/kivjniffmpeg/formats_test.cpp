// What Java hands over: video formats, colour models and audio formats, in Java's arrays and back.

#include "kivjniffmpeg/audio_format.h"
#include "kivjniffmpeg/color_model.h"
#include "kivjniffmpeg/media_subtypes.h"
#include "kivjniffmpeg/video_format.h"
#include "support/fake_jnienv.h"
#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace
{

constexpr const char *strl_h264 = "34363248-0000-0010-8000-00aa00389b71";

class formats : public testing::Test
{
protected:
    formats() { load_ffmpeg(); }

    template <class FORMAT>
    auto read(jintArray avop_ints, std::span<const uint8_t> utp_bytes, const auto &...dsp_before)
    {
        kiv::jni::c_jintarray dsl_ints(dsc_checked, avop_ints, 18);
        kiv::jni::c_jbytearray dsl_bytes(dsc_checked, dsc_env.local_bytes(utp_bytes), INT32_MAX);
        return FORMAT::create_from_java_array(dsp_before..., dsl_ints, dsl_bytes);
    }

    std::unique_ptr<c_colormodel> model(int32_t imp_fourcc, int32_t imp_bpp)
    {
        kiv::jni::c_jintarray dsl_values(dsc_checked, dsc_env.local_ints({imp_fourcc, imp_bpp, 1, 2, 3, 4, 5}), 7);
        return c_colormodel::create_from_java_array(dsl_values);
    }

    c_fake_vm dsc_vm;
    c_fake_jnienv dsc_env{dsc_vm};
    kiv::jni::c_jnienv dsc_checked{&dsc_env};
};

TEST_F(formats, subtypes_are_compared_exactly)
{
    EXPECT_EQ(subtype2codecid("e436eb81-524f-11ce-9f53-0020af0ba770"), AV_CODEC_ID_MPEG2VIDEO) << "MPEG-1";
    EXPECT_EQ(subtype2codecid("64697663-0000-0010-8000-00aa00389b71"), AV_CODEC_ID_CINEPAK);
    EXPECT_EQ(subtype2codecid("64697663-0000-0010-8000-00AA00389B71"), AV_CODEC_ID_NONE);
    EXPECT_EQ(subtype2codecid((std::string(strl_h264) + " ").c_str()), AV_CODEC_ID_NONE);
    EXPECT_EQ(subtype2codecid(""), AV_CODEC_ID_NONE);
    EXPECT_EQ(subtype2codecid(nullptr), AV_CODEC_ID_NONE);
}

TEST_F(formats, color_models_have_formats_and_sizes)
{
    constexpr int32_t iml_yv12 = 0x32315659;
    EXPECT_EQ(model(iml_yv12, 99)->get_buffer_size_in_bytes(640, 480, 640, 480, 32), 460832);
    EXPECT_EQ(model(0, 24)->get_buffer_size_in_bytes(640, 480, 1920, 480, 32), 921632);
    EXPECT_EQ(model(iml_yv12, 12)->get_buffer_size_in_bytes(1, 1, 3, 3, 0), 13) << "rounded down after the product";
    EXPECT_EQ(model(0, 12), nullptr);
    EXPECT_EQ(model(make_four_character_code("NV12"), 12), nullptr);
    EXPECT_EQ(model(0, 32)->pixel_format(), AV_PIX_FMT_BGRA);
    EXPECT_TRUE(model(0, 15)->is_rgb());
    EXPECT_FALSE(model(make_four_character_code("UYVY"), 0)->is_rgb());
    EXPECT_EQ(c_colormodel().pixel_format(), AV_PIX_FMT_NONE);
    const int32_t aiml_lines[4] = {640, 320, 321, 4};
    EXPECT_THAT(dsc_env.ints(model(iml_yv12, 12)->export_to_java_array(&dsc_env, 639, 479, aiml_lines, 480)),
                ElementsAre(639, 479, 640, 320, 321, 4, 480, 0, iml_yv12, 12, 1, 2, 3, 4, 5, 0));
}

TEST_F(formats, audio_format_exports_a_wave_header)
{
    const auto dsl_export = [&](const c_aformat &dsp_format) {
        return dsc_env.object(dsp_format.export_to_java_array(dsc_checked))->utc_bytes;
    };
    EXPECT_THAT(dsl_export(c_aformat()), ElementsAre(0x01, 0x00, 0x02, 0x00, 0x80, 0xBB, 0x00, 0x00, 0x00, 0xEE, 0x02,
                                                     0x00, 0x04, 0x00, 0x10, 0x00, 0x00, 0x00));
    const auto dsl_read = read<c_aformat>(dsc_env.local_ints({0x1610, 3, 44100, 16000, 7, 24, 2}),
                                          std::vector<uint8_t>{0x01, 0x0A, 0xFF});
    EXPECT_EQ(dsl_read->codec_id(), AV_CODEC_ID_AAC);
    EXPECT_EQ(dsl_read->channel_layout(), 0U);
    EXPECT_EQ(dsl_read->to_string(),
              " format_tag=0x1610 channels=3 sample_rate=44100 bytes_per_second=16000 frame_size=7 "
              "bits_per_sample=24 specific_hdr_size=2 specific_hdr=0x1a");
    EXPECT_THAT(dsl_export(*dsl_read),
                ElementsAre(0x10, 0x16, 3, 0, 0x44, 0xAC, 0, 0, 0x80, 0x3E, 0, 0, 7, 0, 24, 0, 2, 0, 0x01, 0x0A));
    EXPECT_THROW(read<c_aformat>(dsc_env.local_ints({1, 2, 3, 4, 5, 6, -1}), std::vector<uint8_t>{}), std::bad_alloc);
    uint8_t utl_header[c_aformat::um_riff_header_size];
    c_aformat::pcm16(1, 8000)->get_riff_header(utl_header);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(utl_header), sizeof utl_header),
              std::string("RIFF\x24\x00\x40\x00WAVEfmt \x10\x00\x00\x00\x01\x00\x01\x00\x40\x1f\x00\x00\x80\x3e\x00\x00"
                          "\x02\x00\x10\x00"
                          "data\x00\x00\x40\x00",
                          sizeof utl_header));
}

TEST_F(formats, audio_formats_derive_and_compare)
{
    const c_aformat dsl_float(3, 2, 48000, 32, false, {});
    const c_aformat dsl_planar(3, 2, 48000, 32, true, {});
    const c_aformat dsl_mp3(0x50, 2, 48000, 0, false, {});
    EXPECT_EQ(dsl_float.bytes_per_second(), 384000);
    EXPECT_EQ(dsl_planar.sample_format(), AV_SAMPLE_FMT_FLTP);
    EXPECT_EQ(c_aformat(1, 2, 48000, 24, false, {}).sample_format(), AV_SAMPLE_FMT_NONE);
    EXPECT_EQ(c_aformat(3, 2, 48000, 16, false, {}).sample_format(), AV_SAMPLE_FMT_NONE);
    EXPECT_EQ(dsl_mp3.codec_id(), AV_CODEC_ID_MP3);
    EXPECT_EQ(format_tag2codecid(4), AV_CODEC_ID_NONE);
    EXPECT_EQ(c_aformat(1, INT32_MAX, INT32_MAX, INT32_MAX, false, {}).channels(), INT32_MAX) << "no overflow";
    EXPECT_FALSE(c_aformat::needs_resampling(dsl_float, dsl_planar));
    EXPECT_TRUE(c_aformat::needs_resampling(dsl_float, c_aformat()));
    EXPECT_TRUE(c_aformat::needs_resampling(dsl_mp3, *c_aformat::pcm16(2, 48000)));
    EXPECT_THROW(c_aformat::needs_resampling(dsl_mp3, dsl_mp3), c_ffmpeg_exception);
    for (const AVSampleFormat dsl_format :
         {AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_DBLP, AV_SAMPLE_FMT_FLT})
        EXPECT_EQ(c_aformat::of_samples(dsl_format, 2, 8000)->sample_format(), dsl_format);
}

} // namespace
