#include "bridge/avcodec/codecs.h"

#include "bridge/old/entry.h"

#include <map>
#include <utility>
#include <vector>

namespace bridge::avcodec
{

namespace
{

/** Names that are taken where the newer FFmpeg would take another codec than the 56 line. */
constexpr std::pair<AVCodecID, const char *> s_preferred_decoders[] = {
    {static_cast<AVCodecID>(0x15000), "mp2"}, // the 56 line decodes MPEG audio with integers
    {AV_CODEC_ID_MP3, "mp3"},
    {static_cast<AVCodecID>(0x1502B), "mp1"},
};

const real::codec *find_real(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecID iep_id, bool bp_decoder)
{
    const int inl_real = dsp_ffmpeg.dsc_numbers.dsc_codec_map.to_real(iep_id);
    if (inl_real == AV_CODEC_ID_NONE)
        return nullptr;
    if (!bp_decoder)
        return dsp_ffmpeg.avcodec_find_encoder(inl_real);
    for (const auto &[iel_id, strl_name] : s_preferred_decoders)
        if (const real::codec *adsl_codec = nullptr;
            iel_id == iep_id && (adsl_codec = dsp_ffmpeg.avcodec_find_decoder_by_name(strl_name)) != nullptr)
            return adsl_codec;
    return dsp_ffmpeg.avcodec_find_decoder(inl_real);
}

dsd_codec make_codec(const real::dsd_ffmpeg &dsp_ffmpeg, const real::codec &dsp_real, bool bp_decoder)
{
    const AVCodecID iel_id = dsp_ffmpeg.dsc_numbers.old_codec(dsp_real.id);
    dsd_codec dsl_codec{};
    dsl_codec.adsc_real = &dsp_real;
    dsl_codec.adsc_name = dsp_ffmpeg.dsc_numbers.find_codec(iel_id);
    dsl_codec.dsc_old.name = dsp_real.name;
    dsl_codec.dsc_old.long_name = dsp_real.long_name;
    dsl_codec.dsc_old.type = static_cast<AVMediaType>(dsp_real.type);
    dsl_codec.dsc_old.id = iel_id;
    dsl_codec.dsc_old.capabilities = dsp_real.capabilities & ~CODEC_CAP_TRUNCATED;
    // Callers drain the same decoders as ever: where the newer ones keep something back, it is what the older ones lost.
    // Of WMA that is the last frame, without which sound is shorter than in the program of the same FFmpeg.
    const int inl_old = dsl_codec.adsc_name != nullptr ? dsl_codec.adsc_name->inc_capabilities : -1;
    if (bp_decoder && inl_old >= 0 && iel_id != AV_CODEC_ID_WMAV1 && iel_id != AV_CODEC_ID_WMAV2)
        dsl_codec.dsc_old.capabilities = (dsl_codec.dsc_old.capabilities & ~CODEC_CAP_DELAY) | inl_old;
    dsl_codec.dsc_old.sample_fmts = dsp_real.sample_fmts;
    return dsl_codec;
}

/** All codecs of the loaded FFmpeg. As its own they stay until the process ends. */
struct dsd_registry
{
    explicit dsd_registry(const real::dsd_ffmpeg &dsp_ffmpeg)
    {
        void *avl_state = nullptr;
        while (const real::codec *adsl_real = dsp_ffmpeg.av_codec_iterate(&avl_state)) {
            const bool bl_decoder = dsp_ffmpeg.av_codec_is_decoder(adsl_real) != 0;
            dsc_codecs.push_back(make_codec(dsp_ffmpeg, *adsl_real, bl_decoder));
        }
        for (const dsd_codec &dsl_codec : dsc_codecs) {
            const bool bl_decoder = dsp_ffmpeg.av_codec_is_decoder(dsl_codec.adsc_real) != 0;
            if (find_real(dsp_ffmpeg, dsl_codec.dsc_old.id, bl_decoder) == dsl_codec.adsc_real)
                dsc_first.try_emplace({dsl_codec.dsc_old.id, bl_decoder}, &dsl_codec);
        }
    }

    std::vector<dsd_codec> dsc_codecs;
    std::map<std::pair<AVCodecID, bool>, const dsd_codec *> dsc_first; // of an identifier, for decoding or encoding
};

const dsd_registry &registry(const real::dsd_ffmpeg &dsp_ffmpeg)
{
    static const dsd_registry dsl_registry(dsp_ffmpeg);
    return dsl_registry;
}

} // namespace

const dsd_codec *find_codec(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecID iep_id, bool bp_decoder)
{
    const auto &dsl_codecs = registry(dsp_ffmpeg).dsc_first;
    const auto dsl_found = dsl_codecs.find({iep_id, bp_decoder});
    return dsl_found == dsl_codecs.end() ? nullptr : dsl_found->second;
}

const dsd_codec *next_codec(const real::dsd_ffmpeg &dsp_ffmpeg, const AVCodec *adsp_codec)
{
    const auto &dsl_codecs = registry(dsp_ffmpeg).dsc_codecs;
    const auto ull_next =
        adsp_codec == nullptr ? 0 : static_cast<size_t>(&codec_of(*adsp_codec) - dsl_codecs.data()) + 1;
    return ull_next < dsl_codecs.size() ? &dsl_codecs[ull_next] : nullptr;
}

} // namespace bridge::avcodec

using bridge::enter;
using bridge::avcodec::find_codec;
using bridge::avcodec::next_codec;
using bridge::real::dsd_ffmpeg;

BRIDGE_ENTRY void avcodec_register_all(void)
{
    // The newer FFmpeg has registered them. What is wrong with it is said here, before anything is asked of it.
    static_cast<void>(kiv_bridge_ffmpeg());
}

BRIDGE_ENTRY AVCodec *avcodec_find_decoder(AVCodecID iep_id)
{
    return enter<AVCodec *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto *adsl_codec = find_codec(dsp_ffmpeg, iep_id, true);
        return adsl_codec == nullptr ? nullptr : const_cast<AVCodec *>(&adsl_codec->dsc_old);
    });
}

BRIDGE_ENTRY AVCodec *av_codec_next(const AVCodec *adsp_codec)
{
    return enter<AVCodec *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto *adsl_codec = next_codec(dsp_ffmpeg, adsp_codec);
        return adsl_codec == nullptr ? nullptr : const_cast<AVCodec *>(&adsl_codec->dsc_old);
    });
}

BRIDGE_ENTRY AVCodecParser *av_parser_next(const AVCodecParser *)
{
    // Callers list parsers to take some of them away. The newer FFmpeg's are constants, so that there are none to change.
    return nullptr;
}

BRIDGE_ENTRY AVCodec *avcodec_find_encoder(AVCodecID iep_id)
{
    return enter<AVCodec *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto *adsl_codec = find_codec(dsp_ffmpeg, iep_id, false);
        return adsl_codec == nullptr ? nullptr : const_cast<AVCodec *>(&adsl_codec->dsc_old);
    });
}

BRIDGE_ENTRY const char *av_get_profile_name(const AVCodec *adsp_codec, int inp_profile)
{
    return enter<const char *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return adsp_codec == nullptr ? nullptr
                                     : dsp_ffmpeg.avcodec_profile_name(
                                           dsp_ffmpeg.dsc_numbers.dsc_codec_map.to_real(adsp_codec->id), inp_profile);
    });
}

BRIDGE_ENTRY int av_get_bits_per_sample(AVCodecID iep_id)
{
    return enter(0, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.av_get_bits_per_sample(dsp_ffmpeg.dsc_numbers.dsc_codec_map.to_real(iep_id));
    });
}

// FFmpeg's own record, whose front is the same; its number is the newer one.
BRIDGE_ENTRY const AVCodecDescriptor *avcodec_descriptor_get(AVCodecID iep_id)
{
    return enter<const AVCodecDescriptor *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return reinterpret_cast<const AVCodecDescriptor *>(
            dsp_ffmpeg.avcodec_descriptor_get(dsp_ffmpeg.dsc_numbers.dsc_codec_map.to_real(iep_id)));
    });
}

BRIDGE_ENTRY const char *avcodec_get_name(AVCodecID iep_id)
{
    constexpr const char *str_unknown = "unknown_codec";
    if (iep_id == AV_CODEC_ID_NONE)
        return "none";
    return enter(str_unknown, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto *adsl_name = dsp_ffmpeg.dsc_numbers.find_codec(iep_id);
        return adsl_name == nullptr ? str_unknown : adsl_name->strc_name;
    });
}
