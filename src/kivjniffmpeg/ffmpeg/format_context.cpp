#include "kivjniffmpeg/ffmpeg/format_context.h"

#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <new>

namespace
{

/**
 * The name of the input. FFmpeg does not open it, because pb is set. But the reader of MP4 and MOV opens the files that
 * a track refers to relative to it; with an empty name it would look in the working directory. This name is no
 * directory, so the system finds no file below it, whatever follows, ".." included.
 */
constexpr const char *s_input_name = "/dev/null/";

} // namespace

c_avformat_ctx::c_avformat_ctx() : adsc_context(g_avformat.avformat_alloc_context())
{
    TRACE_FUNCTION(3);
    if (adsc_context == nullptr)
        throw std::bad_alloc();
}

c_avformat_ctx::~c_avformat_ctx()
{
    TRACE_FUNCTION(3);
    if (bc_opened)
        g_avformat.avformat_close_input(&adsc_context);
    else if (adsc_context != nullptr)
        g_avformat.avformat_free_context(adsc_context);
}

int c_avformat_ctx::open_input(AVInputFormat *adsp_format)
{
    TRACE_FUNCTION(3);
    const int inl_err = g_avformat.avformat_open_input(&adsc_context, s_input_name, adsp_format, nullptr);
    bc_opened = inl_err >= 0;
    return inl_err;
}
