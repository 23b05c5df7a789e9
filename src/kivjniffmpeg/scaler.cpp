#include "kivjniffmpeg/scaler.h"

#include "kivjniffmpeg/ffmpeg_loader.h"
#include "trace/trace.h"

c_sws_ctx::~c_sws_ctx()
{
    TRACE_FUNCTION("~c_sws_ctx", 3);
    reset();
}

SwsContext *c_sws_ctx::prepare(int imp_src_width, int imp_src_height, AVPixelFormat dsp_src_format, int imp_dst_width,
                               int imp_dst_height, AVPixelFormat dsp_dst_format, int inp_flags)
{
    TRACE_FUNCTION("prepare", 3);
    if (g_avutil.av_pix_fmt_desc_get(dsp_src_format) == nullptr ||
        g_avutil.av_pix_fmt_desc_get(dsp_dst_format) == nullptr)
        return nullptr;
    // It frees the old state when the arguments differ, also when it then gives null: what it gives is all there is.
    adsc_sws = g_swscale.sws_getCachedContext(adsc_sws, imp_src_width, imp_src_height, dsp_src_format, imp_dst_width,
                                              imp_dst_height, dsp_dst_format, inp_flags, nullptr, nullptr, nullptr);
    return adsc_sws;
}

void c_sws_ctx::reset() noexcept
{
    // sws_init_context on a scaler in use would leak its tables; a new one behaves the same.
    if (adsc_sws != nullptr)
        g_swscale.sws_freeContext(adsc_sws);
    adsc_sws = nullptr;
}
