#include "kivjniffmpeg/formats/admitted_codecs.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/formats/audio_format.h"
#include "kivjniffmpeg/formats/media_subtypes.h"

#include <algorithm>
#include <string_view>

namespace
{

/** FFmpeg's names, which all its versions share. Its numbers of the codecs differ. A star ends the name of a family. */
constexpr std::string_view s_names[] = {
    // Video
    "hevc", "vvc", "av1", "vp6", "vp6f", "vp6a", "vp8", "vp9", "theora", "vc1", "h261", "flv1", "rv30", "rv40", "svq1",
    "svq3", "qtrle", "mjpeg", "jpeg2000", "prores", "dnxhd", "ffv1", "huffyuv", "ffvhuff", "utvideo", "lagarith",
    "rawvideo",
    // Pictures
    "gif", "apng", "png", "webp",
    // Sound
    "opus", "vorbis", "flac", "alac", "eac3", "truehd", "mlp", "mp1", "mp2", "amr_wb", "speex", "wavpack", "ape", "tta",
    "dsd_*", "pcm_*", "adpcm_*"};

/** What is encoded. Each has a container that the library writes. */
constexpr std::string_view s_encoded[] = {"flac", "alac", "opus", "vorbis", "amr_wb"};

bool is_family(std::string_view strp_row)
{
    return strp_row.back() == '*';
}

bool matches(std::string_view strp_row, std::string_view strp_name)
{
    return is_family(strp_row) ? strp_name.starts_with(strp_row.substr(0, strp_row.size() - 1)) : strp_name == strp_row;
}

std::string_view name_of(AVCodecID iep_codec)
{
    return g_avcodec.avcodec_get_name == nullptr ? "unknown" : g_avcodec.avcodec_get_name(iep_codec);
}

bool is_on_list(std::string_view strp_name)
{
    return std::ranges::any_of(s_names,
                               [strp_name](std::string_view strp_row) { return matches(strp_row, strp_name); });
}

/** Calls @p dsp_visit with every decoder and encoder of the loaded FFmpeg until it returns true. */
template <class VISIT> void find_among_all(VISIT dsp_visit)
{
    if (g_avcodec.av_codec_next == nullptr)
        return;
    AVCodec *adsl_codec = nullptr;
    while ((adsl_codec = g_avcodec.av_codec_next(adsl_codec)) != nullptr && !dsp_visit(*adsl_codec))
        continue;
}

} // namespace

bool admitted_codecs::has(AVCodecID iep_codec) noexcept
{
    return has_subtype(iep_codec) || has_format_tag(iep_codec) || is_on_list(name_of(iep_codec));
}

std::vector<std::string> admitted_codecs::names()
{
    std::vector<std::string> strl_names;
    for (const std::string_view strl_row : s_names) {
        if (!is_family(strl_row)) {
            strl_names.emplace_back(strl_row);
            continue;
        }
        const auto ill_first = static_cast<ptrdiff_t>(strl_names.size());
        find_among_all([&](const AVCodec &dsp_codec) {
            if (matches(strl_row, name_of(dsp_codec.id)) && !has_format_tag(dsp_codec.id) &&
                g_avcodec.avcodec_find_decoder(dsp_codec.id) != nullptr)
                strl_names.emplace_back(name_of(dsp_codec.id));
            return false;
        });
        std::sort(strl_names.begin() + ill_first, strl_names.end());
        strl_names.erase(std::unique(strl_names.begin() + ill_first, strl_names.end()), strl_names.end());
    }
    return strl_names;
}

AVCodecID admitted_codecs::find(const std::string &strp_name) noexcept
{
    AVCodecID iel_found = AV_CODEC_ID_NONE;
    find_among_all([&](const AVCodec &dsp_codec) {
        if (name_of(dsp_codec.id) == strp_name)
            iel_found = dsp_codec.id;
        return iel_found != AV_CODEC_ID_NONE;
    });
    return iel_found;
}

void admitted_codecs::require(AVCodecID iep_codec, AVMediaType iep_type)
{
    const AVCodec *adsl_decoder = g_avcodec.avcodec_find_decoder(iep_codec);
    if (!has(iep_codec))
        throw_ffmpeg_exception(1261, "the library does not decode ", name_of(iep_codec),
                               adsl_decoder != nullptr ? "; this FFmpeg could" : "; nor does this FFmpeg");
    if (adsl_decoder == nullptr)
        throw_ffmpeg_exception(1262, "this FFmpeg has no decoder for ", name_of(iep_codec));
    if (adsl_decoder->type != iep_type)
        throw_ffmpeg_exception(1263, "another kind of media: ", name_of(iep_codec));
}

AVCodecID admitted_codecs::require_encoder(const std::string &strp_name)
{
    const AVCodecID iel_codec = find(strp_name);
    if (std::ranges::find(s_encoded, strp_name) == std::end(s_encoded))
        throw_ffmpeg_exception(1281, "the library does not encode into ", strp_name);
    if (g_avcodec.avcodec_find_encoder(iel_codec) == nullptr)
        throw_ffmpeg_exception(1282, "no encoder found for ", strp_name);
    return iel_codec;
}
