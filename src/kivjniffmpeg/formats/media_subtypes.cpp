#include "kivjniffmpeg/formats/media_subtypes.h"

#include "trace/trace.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace
{

struct dsd_subtype
{
    std::string_view strc_guid;
    AVCodecID iec_codec_id;
};

// The first group of the GUIDs with the common end is a four-character code, read as a little-endian number.
constexpr dsd_subtype s_subtypes[] = {
    {"e06d8026-db46-11cf-b4d1-00805f6cbbea", AV_CODEC_ID_MPEG2VIDEO}, // MPEG-2 video
    {"34363248-0000-0010-8000-00aa00389b71", AV_CODEC_ID_H264},       // H264
    {"31637661-0000-0010-8000-00aa00389b71", AV_CODEC_ID_H264},       // avc1
    {"48535356-0000-0010-8000-00aa00389b71", AV_CODEC_ID_H264},       // VSSH
    {"3334504d-0000-0010-8000-00aa00389b71", AV_CODEC_ID_MSMPEG4V3},  // MP43
    {"3234504d-0000-0010-8000-00aa00389b71", AV_CODEC_ID_MSMPEG4V2},  // MP42
    {"3253344d-0000-0010-8000-00aa00389b71", AV_CODEC_ID_MPEG4},      // M4S2
    {"5634504d-0000-0010-8000-00aa00389b71", AV_CODEC_ID_MPEG4},      // MP4V
    {"30355844-0000-0010-8000-00aa00389b71", AV_CODEC_ID_MPEG4},      // DX50
    {"33363248-0000-0010-8000-00aa00389b71", AV_CODEC_ID_H263},       // H263
    {"68323633-767a-494d-b478-f29d25dc9037", AV_CODEC_ID_H263},       // H.263, with a GUID of its own
    {"31564d57-0000-0010-8000-00aa00389b71", AV_CODEC_ID_WMV1},       // WMV1
    {"32564d57-0000-0010-8000-00aa00389b71", AV_CODEC_ID_WMV2},       // WMV2
    {"33564d57-0000-0010-8000-00aa00389b71", AV_CODEC_ID_WMV3},       // WMV3
    {"64737664-0000-0010-8000-00aa00389b71", AV_CODEC_ID_DVVIDEO},    // dvsd
    {"00000001-0000-0010-8000-00aa00389b71", AV_CODEC_ID_MSRLE},      // run-length coding, 8 bit
    {"e436eb81-524f-11ce-9f53-0020af0ba770", AV_CODEC_ID_MPEG2VIDEO}, // MPEG-1 payload: the MPEG-2 decoder takes both
    {"e436eb80-524f-11ce-9f53-0020af0ba770", AV_CODEC_ID_MPEG2VIDEO}, // MPEG-1 packet
    {"3147504d-0000-0010-8000-00aa00389b71", AV_CODEC_ID_MPEG2VIDEO}, // MPG1
    {"64697663-0000-0010-8000-00aa00389b71", AV_CODEC_ID_CINEPAK},    // cvid
    {"32335649-0000-0010-8000-00aa00389b71", AV_CODEC_ID_INDEO3},     // IV32
};

} // namespace

AVCodecID subtype2codecid(const char *strp_guid)
{
    TRACE_FUNCTION(4);
    if (strp_guid == nullptr)
        return AV_CODEC_ID_NONE;
    const auto adsl_row = std::ranges::find(s_subtypes, std::string_view(strp_guid), &dsd_subtype::strc_guid);
    return adsl_row == std::end(s_subtypes) ? AV_CODEC_ID_NONE : adsl_row->iec_codec_id;
}

bool has_subtype(AVCodecID iep_codec) noexcept
{
    const AVCodecID iel_codec = iep_codec == AV_CODEC_ID_MPEG1VIDEO ? AV_CODEC_ID_MPEG2VIDEO : iep_codec;
    return std::ranges::find(s_subtypes, iel_codec, &dsd_subtype::iec_codec_id) != std::end(s_subtypes);
}
