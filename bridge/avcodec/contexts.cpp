// Codec contexts: made, opened, closed; decoding and encoding with them.

#include "bridge/old/contexts.h"
#include "bridge/avcodec/decoder.h"
#include "bridge/avcodec/encoder.h"
#include "bridge/avcodec/options.h"
#include "bridge/old/entry.h"

#include <cerrno>
#include <memory>
#include <utility>

using namespace bridge::avcodec;
using bridge::enter;
using bridge::real::dsd_ffmpeg;

BRIDGE_ENTRY AVCodecContext *avcodec_alloc_context3(const AVCodec *adsp_codec)
{
    return enter<AVCodecContext *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const real_context dsl_defaults =
            make_context(dsp_ffmpeg, adsp_codec == nullptr ? nullptr : codec_of(*adsp_codec).adsc_real);
        AVCodecContext *adsl_context = bridge::old::allocate_context(dsp_ffmpeg);
        bridge::old::copy_defaults(dsp_ffmpeg, dsl_defaults.get(), *adsl_context);
        adsl_context->av_class = &bridge::avcodec::ds_context_class.dsc_class;
        adsl_context->codec_type = adsp_codec == nullptr ? AVMEDIA_TYPE_UNKNOWN : adsp_codec->type;
        adsl_context->codec_id = adsp_codec == nullptr ? AV_CODEC_ID_NONE : adsp_codec->id;
        adsl_context->codec = adsp_codec;
        return adsl_context;
    });
}

namespace
{

/** Makes the state that hangs on the context from then on. @return 0 or an FFmpeg error */
template <class STATE>
int open_state(const dsd_ffmpeg &dsp_ffmpeg, AVCodecContext &dsp_context, const dsd_codec &dsp_codec)
{
    auto dsl_state = std::make_unique<STATE>(dsp_ffmpeg, dsp_context, dsp_codec);
    if (const int inl_result = dsl_state->open(); inl_result < 0)
        return inl_result;
    ca_state *adsl_state = dsl_state.release();
    bridge::old::context::internal.of(&dsp_context) = adsl_state;
    return 0;
}

bool is_encoder(const dsd_ffmpeg &dsp_ffmpeg, const AVCodec &dsp_codec)
{
    const dsd_codec *adsl_encoder = find_codec(dsp_ffmpeg, dsp_codec.id, false);
    return adsl_encoder != nullptr && &adsl_encoder->dsc_old == &dsp_codec;
}

} // namespace

BRIDGE_ENTRY int avcodec_open2(AVCodecContext *adsp_context, const AVCodec *adsp_codec, AVDictionary **)
{
    if (adsp_context == nullptr || (adsp_codec == nullptr && adsp_context->codec == nullptr))
        return AVERROR(EINVAL);
    if (bridge::old::context::internal.of(adsp_context) != nullptr)
        return 0; // it is open
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const AVCodec &dsl_codec = adsp_codec != nullptr ? *adsp_codec : *adsp_context->codec;
        adsp_context->codec = &dsl_codec;
        adsp_context->codec_type = dsl_codec.type;
        adsp_context->codec_id = dsl_codec.id;
        return is_encoder(dsp_ffmpeg, dsl_codec)
                   ? open_state<c_encoder>(dsp_ffmpeg, *adsp_context, codec_of(dsl_codec))
                   : open_state<c_decoder>(dsp_ffmpeg, *adsp_context, codec_of(dsl_codec));
    });
}

BRIDGE_ENTRY int avcodec_close(AVCodecContext *adsp_context)
{
    if (adsp_context == nullptr)
        return 0;
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) {
        auto *adsl_state =
            static_cast<ca_state *>(std::exchange(bridge::old::context::internal.of(adsp_context), nullptr));
        const std::unique_ptr<ca_state> dsl_state(adsl_state);
        if (dynamic_cast<c_encoder *>(adsl_state) != nullptr)
            dsp_ffmpeg.av_freep(&adsp_context->extradata);
    });
    adsp_context->codec = nullptr;
    return 0;
}

BRIDGE_ENTRY void avcodec_free_context(AVCodecContext **aadsp_context)
{
    if (aadsp_context == nullptr || *aadsp_context == nullptr)
        return;
    avcodec_close(*aadsp_context);
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) {
        dsp_ffmpeg.av_freep(&(*aadsp_context)->extradata);
        dsp_ffmpeg.av_freep(aadsp_context);
    });
}

BRIDGE_ENTRY void avcodec_flush_buffers(AVCodecContext *adsp_context)
{
    enter([&](const dsd_ffmpeg &) {
        if (auto *adsl_decoder = state_of<c_decoder>(adsp_context); adsl_decoder != nullptr)
            adsl_decoder->flush();
    });
}

namespace
{

int decode(AVCodecContext *adsp_context, AVFrame *adsp_frame, int *ainp_frame, const AVPacket *adsp_packet,
           AVMediaType iep_type)
{
    *ainp_frame = 0;
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &) {
        auto *adsl_decoder = state_of<c_decoder>(adsp_context);
        if (adsl_decoder == nullptr || adsp_context->codec_type != iep_type)
            return AVERROR(EINVAL);
        const auto dsl_result = adsl_decoder->decode(*adsp_frame, *adsp_packet);
        *ainp_frame = dsl_result.bc_frame ? 1 : 0;
        return dsl_result.inc_consumed;
    });
}

} // namespace

BRIDGE_ENTRY int avcodec_decode_video2(AVCodecContext *adsp_context, AVFrame *adsp_frame, int *ainp_frame,
                                       const AVPacket *adsp_packet)
{
    return decode(adsp_context, adsp_frame, ainp_frame, adsp_packet, AVMEDIA_TYPE_VIDEO);
}

BRIDGE_ENTRY int avcodec_decode_audio4(AVCodecContext *adsp_context, AVFrame *adsp_frame, int *ainp_frame,
                                       const AVPacket *adsp_packet)
{
    return decode(adsp_context, adsp_frame, ainp_frame, adsp_packet, AVMEDIA_TYPE_AUDIO);
}

BRIDGE_ENTRY int avcodec_encode_audio2(AVCodecContext *adsp_context, AVPacket *adsp_packet, const AVFrame *adsp_frame,
                                       int *ainp_packet)
{
    *ainp_packet = 0;
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &) {
        auto *adsl_encoder = state_of<c_encoder>(adsp_context);
        if (adsl_encoder == nullptr)
            return AVERROR(EINVAL);
        bool bl_packet = false;
        const int inl_result = adsl_encoder->encode(adsp_frame, *adsp_packet, bl_packet);
        *ainp_packet = bl_packet ? 1 : 0;
        return inl_result;
    });
}

BRIDGE_ENTRY void avcodec_align_dimensions2(AVCodecContext *adsp_context, int *ainp_width, int *ainp_height,
                                            int *ainp_alignments)
{
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) {
        const AVPixelFormat iel_format = adsp_context->pix_fmt;
        if (auto *adsl_decoder = state_of<c_decoder>(adsp_context); adsl_decoder != nullptr) {
            adsl_decoder->align_dimensions(iel_format, ainp_width, ainp_height, ainp_alignments);
            return;
        }
        const real_context dsl_real = make_context(
            dsp_ffmpeg, adsp_context->codec == nullptr ? nullptr : codec_of(*adsp_context->codec).adsc_real);
        dsp_ffmpeg.adsc_layout->context.pix_fmt.of(dsl_real.get()) =
            dsp_ffmpeg.dsc_numbers.dsc_format_map.to_real(iel_format);
        dsp_ffmpeg.avcodec_align_dimensions2(dsl_real.get(), ainp_width, ainp_height, ainp_alignments);
    });
}
