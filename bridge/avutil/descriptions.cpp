// Tags, and the names of what describes colours. Their numbers are those of international standards, on both sides.

#include "bridge/old/entry.h"

using bridge::enter;

// The dictionaries that callers see are FFmpeg's own.
BRIDGE_ENTRY AVDictionaryEntry *av_dict_get(const AVDictionary *adsp_tags, const char *strp_key,
                                            const AVDictionaryEntry *adsp_previous, int inp_flags)
{
    return enter<AVDictionaryEntry *>(nullptr, [&](const auto &dsp_ffmpeg) {
        return dsp_ffmpeg.av_dict_get(adsp_tags, strp_key, adsp_previous, inp_flags);
    });
}

BRIDGE_ENTRY const char *av_color_range_name(int inp_range)
{
    return enter<const char *>(nullptr,
                               [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_color_range_name(inp_range); });
}

BRIDGE_ENTRY const char *av_color_space_name(int inp_space)
{
    return enter<const char *>(nullptr,
                               [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_color_space_name(inp_space); });
}

BRIDGE_ENTRY const char *av_color_transfer_name(int inp_transfer)
{
    return enter<const char *>(nullptr,
                               [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_color_transfer_name(inp_transfer); });
}

BRIDGE_ENTRY const char *av_color_primaries_name(int inp_primaries)
{
    return enter<const char *>(
        nullptr, [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_color_primaries_name(inp_primaries); });
}

BRIDGE_ENTRY const char *av_chroma_location_name(int inp_location)
{
    return enter<const char *>(
        nullptr, [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_chroma_location_name(inp_location); });
}
