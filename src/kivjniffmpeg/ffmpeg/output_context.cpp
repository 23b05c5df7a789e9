#include "kivjniffmpeg/ffmpeg/output_context.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <new>

namespace
{

/** Throws if a function is missing that only writing needs. */
void require_functions()
{
    const struct
    {
        const char *strc_name;
        bool bc_present;
    } adsl_functions[] = {
        {"avio_alloc_context", g_avformat.avio_alloc_context != nullptr},
        {"avformat_alloc_output_context2", g_avformat.avformat_alloc_output_context2 != nullptr},
        {"avformat_new_stream", g_avformat.avformat_new_stream != nullptr},
        {"avformat_write_header", g_avformat.avformat_write_header != nullptr},
        {"av_interleaved_write_frame", g_avformat.av_interleaved_write_frame != nullptr},
        {"av_write_trailer", g_avformat.av_write_trailer != nullptr},
        {"av_packet_new_side_data", g_avcodec.av_packet_new_side_data != nullptr},
    };
    for (const auto &dsl_function : adsl_functions)
        if (!dsl_function.bc_present)
            throw_ffmpeg_exception(2655, "this FFmpeg cannot write containers, it lacks ", dsl_function.strc_name);
}

} // namespace

c_avoutput_ctx::c_avoutput_ctx(const char *strp_format)
{
    TRACE_FUNCTION(3);
    require_functions();
    if (g_avformat.avformat_alloc_output_context2(&adsc_context, nullptr, strp_format, nullptr) < 0)
        throw_ffmpeg_exception(2656, "this FFmpeg does not write the format ", strp_format);
}

c_avoutput_ctx::~c_avoutput_ctx()
{
    TRACE_FUNCTION(3);
    if (bc_trailer_due)
        write_trailer();
    g_avformat.avformat_free_context(adsc_context);
}

AVStream &c_avoutput_ctx::add_stream()
{
    AVStream *adsl_stream = g_avformat.avformat_new_stream(adsc_context, nullptr);
    if (adsl_stream == nullptr)
        throw std::bad_alloc();
    return *adsl_stream;
}

int c_avoutput_ctx::write_header()
{
    TRACE_FUNCTION(3);
    const int inl_result = g_avformat.avformat_write_header(adsc_context, nullptr);
    bc_trailer_due = inl_result >= 0;
    return inl_result;
}

int c_avoutput_ctx::write_trailer()
{
    TRACE_FUNCTION(3);
    bc_trailer_due = false;
    return g_avformat.av_write_trailer(adsc_context);
}
