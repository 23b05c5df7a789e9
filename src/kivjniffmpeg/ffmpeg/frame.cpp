#include "kivjniffmpeg/ffmpeg/frame.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <new>

c_avframe::c_avframe() : adsc_frame(g_avcodec.avcodec_alloc_frame())
{
    TRACE_FUNCTION(3);
    if (adsc_frame == nullptr)
        throw std::bad_alloc();
    g_avcodec.avcodec_get_frame_defaults(adsc_frame);
}

c_avframe::~c_avframe()
{
    TRACE_FUNCTION(3);
    free_attachments();
    g_avutil.av_freep(&adsc_frame);
}

AVFrame *c_avframe::frame() const
{
    if (adsc_frame == nullptr)
        throw_ffmpeg_exception(1347, "NULL pointer in c_avframe::frame");
    return adsc_frame;
}

void c_avframe::reset()
{
    if (g_avutil.av_frame_unref != nullptr)
        g_avutil.av_frame_unref(frame()); // sets the defaults too
    else
        g_avcodec.avcodec_get_frame_defaults(frame());
}

void c_avframe::free_attachments() noexcept
{
    // Setting the defaults frees nothing, and the side data and tables that a decoder attached would leak.
    if (g_avutil.av_frame_unref != nullptr && adsc_frame != nullptr)
        g_avutil.av_frame_unref(adsc_frame);
}

void c_avframe::set_samples(int inp_channels, AVSampleFormat iep_format, const uint8_t *autp_samples, int inp_size,
                            int inp_align)
{
    const int inl_err =
        g_avcodec.avcodec_fill_audio_frame(frame(), inp_channels, iep_format, autp_samples, inp_size, inp_align);
    if (inl_err < 0)
        throw_ffmpeg_exception(1424, "Could not setup audio frame error=", inl_err, " bufsize=", inp_size,
                               " nb_samples=", frame()->nb_samples);
}

void c_avframe::draw_debug_area()
{
    TRACE_FUNCTION(3);
}
