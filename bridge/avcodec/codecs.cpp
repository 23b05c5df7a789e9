#include "bridge/avcodec/codecs.h"

#include "bridge/old/entry.h"

#include <map>
#include <mutex>
#include <utility>

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

dsd_codec make_codec(const real::dsd_ffmpeg &dsp_ffmpeg, const real::codec &dsp_real, AVCodecID iep_id, bool bp_decoder)
{
    dsd_codec dsl_codec{};
    dsl_codec.adsc_real = &dsp_real;
    dsl_codec.adsc_name = dsp_ffmpeg.dsc_numbers.find_codec(iep_id);
    dsl_codec.dsc_old.name = dsp_real.name;
    dsl_codec.dsc_old.long_name = dsp_real.long_name;
    dsl_codec.dsc_old.type = static_cast<AVMediaType>(dsp_real.type);
    dsl_codec.dsc_old.id = iep_id;
    dsl_codec.dsc_old.capabilities = dsp_real.capabilities & ~CODEC_CAP_TRUNCATED;
    // Callers drain the same decoders as ever: where the newer ones keep something back, it is what the older ones lost.
    if (const int inl_old = dsl_codec.adsc_name->inc_capabilities; bp_decoder && inl_old >= 0)
        dsl_codec.dsc_old.capabilities = (dsl_codec.dsc_old.capabilities & ~CODEC_CAP_DELAY) | inl_old;
    dsl_codec.dsc_old.sample_fmts = dsp_real.sample_fmts;
    return dsl_codec;
}

} // namespace

const dsd_codec *find_codec(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecID iep_id, bool bp_decoder)
{
    // As the codecs of FFmpeg itself, these stay until the process ends.
    static std::mutex dsl_mutex;
    static std::map<std::pair<AVCodecID, bool>, dsd_codec> dsl_codecs;
    const std::scoped_lock dsl_lock(dsl_mutex);
    const auto dsl_known = dsl_codecs.find({iep_id, bp_decoder});
    if (dsl_known != dsl_codecs.end())
        return &dsl_known->second;
    const real::codec *adsl_real = find_real(dsp_ffmpeg, iep_id, bp_decoder);
    if (adsl_real == nullptr)
        return nullptr;
    return &dsl_codecs.emplace(std::pair(iep_id, bp_decoder), make_codec(dsp_ffmpeg, *adsl_real, iep_id, bp_decoder))
                .first->second;
}

} // namespace bridge::avcodec

using bridge::enter;
using bridge::avcodec::find_codec;
using bridge::real::dsd_ffmpeg;

BRIDGE_ENTRY unsigned int avcodec_version(void)
{
    constexpr unsigned int un_version = 56 << 16 | 60 << 8 | 100;
    return un_version;
}

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

BRIDGE_ENTRY AVCodec *avcodec_find_encoder(AVCodecID iep_id)
{
    return enter<AVCodec *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto *adsl_codec = find_codec(dsp_ffmpeg, iep_id, false);
        return adsl_codec == nullptr ? nullptr : const_cast<AVCodec *>(&adsl_codec->dsc_old);
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
