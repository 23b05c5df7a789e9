#include "kivjniffmpeg/formats/audio_format.h"
#include "kivjniffmpeg/formats/media_subtypes.h"

#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>

struct AVCodecTag;

namespace
{

/** What libavformat's readers take a tag or a code for, by its tables for AVI and WAVE files. */
AVCodecID codec_of_riff(const char *strp_table, int32_t imp_tag)
{
    load_ffmpeg();
    const AVCodecTag *const adsl_tags[] = {ffmpeg_call<const AVCodecTag *>(strp_table), nullptr};
    return ffmpeg_call<AVCodecID>("av_codec_get_id", &adsl_tags[0], static_cast<unsigned int>(imp_tag));
}

TEST(format_tables, every_tag_stands_for_the_codec_that_ffmpeg_knows_it_by)
{
    // Tags that FFmpeg does not know or means otherwise; its decoder of MPEG audio takes all three layers.
    const std::map<int32_t, AVCodecID> dsl_own = {
        {0x08, AV_CODEC_ID_DTS},     {0x50, AV_CODEC_ID_MP3},   {0x65, AV_CODEC_ID_ADPCM_G722},
        {0x75, AV_CODEC_ID_VOXWARE}, {0x1602, AV_CODEC_ID_AAC}, {0x1610, AV_CODEC_ID_AAC},
    };
    int inl_count = 0;
    for (int32_t iml_tag = 0; iml_tag <= 0xFFFF; ++iml_tag) {
        const AVCodecID iel_codec = format_tag2codecid(iml_tag);
        if (iel_codec == AV_CODEC_ID_NONE)
            continue;
        ++inl_count;
        const auto adsl_own = dsl_own.find(iml_tag);
        EXPECT_EQ(iel_codec,
                  adsl_own != dsl_own.end() ? adsl_own->second : codec_of_riff("avformat_get_riff_audio_tags", iml_tag))
            << std::hex << iml_tag;
    }
    EXPECT_EQ(inl_count, 34);
}

TEST(format_tables, every_code_stands_for_the_codec_that_ffmpeg_knows_it_by)
{
    constexpr const char *strl_codes[] = {"H264", "avc1", "VSSH", "MP43", "MP42", "M4S2", "MP4V", "DX50",  "H263",
                                          "WMV1", "WMV2", "WMV3", "dvsd", "MPG1", "cvid", "IV32", "\1\0\0"};
    for (const char *strl_code : strl_codes) {
        int32_t iml_code = 0;
        std::memcpy(&iml_code, strl_code, 4);
        char strl_guid[37];
        std::snprintf(strl_guid, sizeof strl_guid, "%08x-0000-0010-8000-00aa00389b71",
                      static_cast<unsigned int>(iml_code));
        AVCodecID iel_expected = codec_of_riff("avformat_get_riff_video_tags", iml_code);
        if (static_cast<int>(iel_expected) == 1) // MPEG-1, which the decoder of MPEG-2 takes
            iel_expected = AV_CODEC_ID_MPEG2VIDEO;
        EXPECT_EQ(subtype2codecid(strl_guid), iel_expected) << strl_code;
    }
    EXPECT_EQ(subtype2codecid("e06d8026-db46-11cf-b4d1-00805f6cbbea"), AV_CODEC_ID_MPEG2VIDEO);
    EXPECT_EQ(subtype2codecid("e436eb81-524f-11ce-9f53-0020af0ba770"), AV_CODEC_ID_MPEG2VIDEO);
    EXPECT_EQ(subtype2codecid("e436eb80-524f-11ce-9f53-0020af0ba770"), AV_CODEC_ID_MPEG2VIDEO);
    EXPECT_EQ(subtype2codecid("68323633-767a-494d-b478-f29d25dc9037"), AV_CODEC_ID_H263);
    EXPECT_EQ(subtype2codecid("34363248-0000-0010-8000-00AA00389B71"), AV_CODEC_ID_NONE);
    EXPECT_EQ(subtype2codecid(nullptr), AV_CODEC_ID_NONE);
}

} // namespace
