// Tables of c_aformat: FFmpeg's codecs, channel layouts and sample formats.

#include "kivjniffmpeg/formats/audio_format.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace
{

struct dsd_tag
{
    int32_t imc_format_tag;
    AVCodecID iec_codec_id;
};

constexpr dsd_tag s_tags[] = {
    {0x0001, AV_CODEC_ID_PCM_S16LE},     {0x0002, AV_CODEC_ID_ADPCM_MS},      {0x0003, AV_CODEC_ID_PCM_F32LE},
    {0x0006, AV_CODEC_ID_PCM_ALAW},      {0x0007, AV_CODEC_ID_PCM_MULAW},     {0x6C75, AV_CODEC_ID_PCM_MULAW},
    {0x0008, AV_CODEC_ID_DTS},           {0x2001, AV_CODEC_ID_DTS},           {0x0011, AV_CODEC_ID_ADPCM_IMA_WAV},
    {0x0069, AV_CODEC_ID_ADPCM_IMA_WAV}, {0x0020, AV_CODEC_ID_ADPCM_YAMAHA},  {0x0022, AV_CODEC_ID_TRUESPEECH},
    {0x0031, AV_CODEC_ID_GSM_MS},        {0x1500, AV_CODEC_ID_GSM_MS},        {0x0038, AV_CODEC_ID_AMR_NB},
    {0x0050, AV_CODEC_ID_MP3}, // FFmpeg's decoder of MPEG audio layers 1 to 3
    {0x0055, AV_CODEC_ID_MP3},           {0x0061, AV_CODEC_ID_ADPCM_IMA_DK4}, {0x0062, AV_CODEC_ID_ADPCM_IMA_DK3},
    {0x0065, AV_CODEC_ID_ADPCM_G722},    {0x028F, AV_CODEC_ID_ADPCM_G722},    {0x0075, AV_CODEC_ID_VOXWARE},
    {0x00FF, AV_CODEC_ID_AAC},           {0x1600, AV_CODEC_ID_AAC},           {0x1602, AV_CODEC_ID_AAC},
    {0x1610, AV_CODEC_ID_AAC},           {0x0130, AV_CODEC_ID_SIPR},          {0x0160, AV_CODEC_ID_WMAV1},
    {0x0161, AV_CODEC_ID_WMAV2},         {0x0162, AV_CODEC_ID_WMAPRO},        {0x0163, AV_CODEC_ID_WMALOSSLESS},
    {0x0200, AV_CODEC_ID_ADPCM_CT},      {0x0270, AV_CODEC_ID_ATRAC3},        {0x2000, AV_CODEC_ID_AC3},
};

struct dsd_sample_format
{
    bool bc_float;
    int32_t imc_bits_per_sample;
    AVSampleFormat iec_interleaved;
    AVSampleFormat iec_planar;
};

constexpr dsd_sample_format s_sample_formats[] = {
    {false, 8, AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_U8P},    {false, 16, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P},
    {false, 32, AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_S32P}, {true, 32, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP},
    {true, 64, AV_SAMPLE_FMT_DBL, AV_SAMPLE_FMT_DBLP},  {false, 64, AV_SAMPLE_FMT_S64, AV_SAMPLE_FMT_S64P},
};

} // namespace

AVCodecID format_tag2codecid(int32_t imp_format_tag)
{
    const auto adsl_tag = std::ranges::find(s_tags, imp_format_tag, &dsd_tag::imc_format_tag);
    return adsl_tag == std::end(s_tags) ? AV_CODEC_ID_NONE : adsl_tag->iec_codec_id;
}

bool has_format_tag(AVCodecID iep_codec) noexcept
{
    const bool bl_mpeg = iep_codec == AV_CODEC_ID_MP1 || iep_codec == AV_CODEC_ID_MP2;
    const AVCodecID iel_codec = bl_mpeg ? AV_CODEC_ID_MP3 : iep_codec;
    return std::ranges::find(s_tags, iel_codec, &dsd_tag::iec_codec_id) != std::end(s_tags);
}

uint64_t channel_layout_of(int32_t imp_channels)
{
    switch (imp_channels) {
    case 1:
        return AV_CH_LAYOUT_MONO;
    case 2:
        return AV_CH_LAYOUT_STEREO;
    case 4:
        return AV_CH_LAYOUT_QUAD;
    case 6:
        return AV_CH_LAYOUT_5POINT1;
    case 8:
        return AV_CH_LAYOUT_7POINT1;
    default:
        return 0;
    }
}

AVSampleFormat sample_format_of(int32_t imp_format_tag, int32_t imp_bits_per_sample, bool bp_planar)
{
    for (const dsd_sample_format &dsl_format : s_sample_formats) {
        if (dsl_format.bc_float == (imp_format_tag == im_tag_float) &&
            dsl_format.imc_bits_per_sample == imp_bits_per_sample)
            return bp_planar ? dsl_format.iec_planar : dsl_format.iec_interleaved;
    }
    return AV_SAMPLE_FMT_NONE;
}

int32_t format_tag_of(AVSampleFormat iep_format)
{
    const bool bl_float = std::ranges::any_of(s_sample_formats, [iep_format](const dsd_sample_format &dsp_row) {
        return dsp_row.bc_float && (dsp_row.iec_interleaved == iep_format || dsp_row.iec_planar == iep_format);
    });
    return bl_float ? im_tag_float : im_tag_pcm;
}
