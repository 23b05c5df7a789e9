// Parsers, which cut bytes into packets.

#include "bridge/avcodec/decoder.h"
#include "bridge/old/contexts.h"
#include "bridge/old/entry.h"

#include <cerrno>
#include <memory>

using bridge::enter;
using bridge::real::dsd_ffmpeg;

namespace
{

/** What callers see first, and then the loaded FFmpeg's parser with the context that it fills. */
struct dsd_parser
{
    AVCodecParserContext dsc_old{};
    bridge::avcodec::real_context dsc_context;
    std::unique_ptr<bridge::real::parser, bridge::avcodec::dsd_free_parser> dsc_real;
};

} // namespace

BRIDGE_ENTRY AVCodecParserContext *av_parser_init(int inp_codec)
{
    return enter<AVCodecParserContext *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) -> AVCodecParserContext * {
        const int inl_real = dsp_ffmpeg.dsc_numbers.dsc_codec_map.to_real(inp_codec);
        auto dsl_parser = std::make_unique<dsd_parser>(
            dsd_parser{{}, bridge::avcodec::make_context(dsp_ffmpeg, nullptr), {nullptr, {&dsp_ffmpeg}}});
        dsl_parser->dsc_real.reset(dsp_ffmpeg.av_parser_init(inl_real));
        if (inl_real == AV_CODEC_ID_NONE || dsl_parser->dsc_real == nullptr)
            return nullptr;
        dsp_ffmpeg.adsc_layout->context.codec_id.of(dsl_parser->dsc_context.get()) = inl_real;
        return &dsl_parser.release()->dsc_old;
    });
}

BRIDGE_ENTRY int av_parser_parse2(AVCodecParserContext *adsp_parser, AVCodecContext *adsp_context,
                                  uint8_t **aautp_packet, int *ainp_packet, const uint8_t *autp_bytes, int inp_bytes,
                                  int64_t ilp_pts, int64_t ilp_dts, int64_t ilp_position)
{
    *aautp_packet = nullptr;
    *ainp_packet = 0;
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        auto &dsl_parser = *reinterpret_cast<dsd_parser *>(adsp_parser);
        bridge::real::context *adsl_real = dsl_parser.dsc_context.get();
        dsp_ffmpeg.adsc_layout->context.codec_type.of(adsl_real) = adsp_context->codec_type;
        const int inl_consumed =
            dsp_ffmpeg.av_parser_parse2(dsl_parser.dsc_real.get(), adsl_real, aautp_packet, ainp_packet, autp_bytes,
                                        inp_bytes, ilp_pts, ilp_dts, ilp_position);
        dsl_parser.dsc_old.pict_type = dsl_parser.dsc_real->pict_type;
        dsl_parser.dsc_old.pts = dsl_parser.dsc_real->pts;
        dsl_parser.dsc_old.dts = dsl_parser.dsc_real->dts;
        dsl_parser.dsc_old.key_frame = dsl_parser.dsc_real->key_frame;
        bridge::old::describe_to_old(dsp_ffmpeg, adsl_real, *adsp_context);
        adsp_context->codec_id =
            dsp_ffmpeg.dsc_numbers.old_codec(dsp_ffmpeg.adsc_layout->context.codec_id.of(adsl_real));
        return inl_consumed;
    });
}

BRIDGE_ENTRY void av_parser_close(AVCodecParserContext *adsp_parser)
{
    const std::unique_ptr<dsd_parser> dsl_parser(reinterpret_cast<dsd_parser *>(adsp_parser));
}
