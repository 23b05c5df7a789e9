#include "kivjniffmpeg/ffmpeg/parser.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/error_text.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

c_avparser::c_avparser(const c_avcodec &dsp_codec)
    : dsc_context(dsp_codec, {}),
      adsc_parser(g_avcodec.av_parser_init == nullptr || g_avcodec.av_parser_parse2 == nullptr ||
                          g_avcodec.av_parser_close == nullptr
                      ? nullptr
                      : g_avcodec.av_parser_init(dsp_codec.codec()->id))
{
    TRACE_FUNCTION(3);
    if (adsc_parser == nullptr)
        throw_ffmpeg_exception(2631, "this FFmpeg has no parser for ", dsp_codec.display_name());
}

c_avparser::~c_avparser()
{
    TRACE_FUNCTION(3);
    g_avcodec.av_parser_close(adsc_parser);
}

size_t c_avparser::parse(std::span<const uint8_t> utp_bytes, int64_t ilp_pts, int64_t ilp_dts,
                         std::span<const uint8_t> &utp_packet)
{
    uint8_t *autl_packet = nullptr;
    int inl_size = 0;
    const int inl_used =
        g_avcodec.av_parser_parse2(adsc_parser, dsc_context.context(), &autl_packet, &inl_size, utp_bytes.data(),
                                   static_cast<int>(utp_bytes.size()), ilp_pts, ilp_dts, 0);
    if (inl_used < 0)
        throw_ffmpeg_exception(2632, "parsing failed: ", error_text(inl_used));
    utp_packet = {autl_packet, inl_size > 0 ? static_cast<size_t>(inl_size) : 0};
    return static_cast<size_t>(inl_used);
}
