#include "kivjniffmpeg/format_context.h"

#include "kivjniffmpeg/ffmpeg_loader.h"
#include "trace/trace.h"

#include <new>

c_avformat_ctx::c_avformat_ctx() : adsc_context(g_avformat.avformat_alloc_context())
{
    TRACE_FUNCTION("c_avformat_ctx", 3);
    if (adsc_context == nullptr)
        throw std::bad_alloc();
}

c_avformat_ctx::~c_avformat_ctx()
{
    TRACE_FUNCTION("~c_avformat_ctx", 3);
    if (bc_opened)
        g_avformat.avformat_close_input(&adsc_context);
    else if (adsc_context != nullptr)
        g_avformat.avformat_free_context(adsc_context);
}

int c_avformat_ctx::open_input(AVInputFormat *adsp_format, AVDictionary **aadsp_options)
{
    TRACE_FUNCTION("open_input", 3);
    const int inl_err = g_avformat.avformat_open_input(&adsc_context, "", adsp_format, aadsp_options);
    bc_opened = inl_err >= 0;
    return inl_err;
}
