#include "kivjniffmpeg/ffmpeg/logged_errors.h"

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <cstdarg>
#include <string_view>

namespace
{

thread_local int64_t s_errors = 0;

void log_nothrow(void *avp_object, int inp_level, const char *strp_format, va_list dsp_values)
{
    const std::string_view strl_format(strp_format);
    // A decoder of H.264 that began within a stream is asked to forget pictures that it never had.
    const bool bl_error = (inp_level & 0xFF) <= AV_LOG_ERROR && !strl_format.starts_with("mmco: unref short");
    // What decoders guess is no error to them, nor what FFmpeg 2.8's of H.264 takes from behind the end of a slice: bytes of
    // another one.
    if (bl_error || strl_format.starts_with("concealing ") || strl_format.starts_with("bytestream overread"))
        ++s_errors;
    g_avutil.av_log_default_callback(avp_object, inp_level, strp_format, dsp_values);
}

} // namespace

void logged_errors::begin_to_count()
{
    if (g_avutil.av_log_set_callback != nullptr && g_avutil.av_log_default_callback != nullptr)
        g_avutil.av_log_set_callback(&log_nothrow);
}

int64_t logged_errors::of_this_thread() noexcept
{
    return s_errors;
}
