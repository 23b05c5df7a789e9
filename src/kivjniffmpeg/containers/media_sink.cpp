#include "kivjniffmpeg/containers/media_sink.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <natives/c_mediawriter_sink.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace
{

/** As large as Java's buffer, so that one call of Java empties it. */
constexpr int32_t im_io_buffer_size = natives::c_mediawriter_sink::BUFFER_SIZE;

} // namespace

void c_mediasink::dsd_free_io::operator()(AVIOContext *adsp_io) const noexcept
{
    g_avutil.av_freep(&adsp_io->buffer); // FFmpeg may have replaced the first buffer
    g_avutil.av_freep(&adsp_io);
}

c_mediasink::c_mediasink(std::unique_ptr<ca_byte_sink> dsp_sink, bool bp_seekable) : dsc_sink(std::move(dsp_sink))
{
    TRACE_FUNCTION(3);
    auto *autl_io_buffer = static_cast<unsigned char *>(g_avutil.av_malloc(im_io_buffer_size));
    if (autl_io_buffer == nullptr)
        throw std::bad_alloc();
    adsc_io.reset(g_avformat.avio_alloc_context(autl_io_buffer, im_io_buffer_size, 1, this, nullptr,
                                                &c_mediasink::write, bp_seekable ? &c_mediasink::seek : nullptr));
    if (adsc_io == nullptr) {
        g_avutil.av_freep(&autl_io_buffer);
        throw std::bad_alloc();
    }
}

void c_mediasink::check() const
{
    dsc_sink->check();
    if (bc_wrong_position)
        throw_ffmpeg_exception(2654, "media sink moved to another place");
}

/** Runs one request of FFmpeg's. A failure or an exception becomes an FFmpeg error. */
template <class WORK> int64_t c_mediasink::ask(void *avp_sink, WORK dsp_work) noexcept
{
    auto &dsl_sink = *static_cast<c_mediasink *>(avp_sink);
    if (dsl_sink.bc_abandoned || dsl_sink.bc_wrong_position || dsl_sink.dsc_sink->has_failed())
        return AVERROR_EXIT;
    try {
        return dsp_work(dsl_sink);
    } catch (const std::exception &) {
        return AVERROR_EXIT; // check() throws what the sink keeps
    }
}

int c_mediasink::write(void *avp_sink, uint8_t *autp_from, int inp_length) noexcept
{
    return static_cast<int>(ask(avp_sink, [&](c_mediasink &dsp_sink) -> int64_t {
        for (int64_t ill_done = 0; ill_done < inp_length;) {
            const auto utl_block = dsp_sink.dsc_sink->memory();
            const size_t ull_count = std::min(static_cast<size_t>(inp_length - ill_done), utl_block.size());
            std::memcpy(utl_block.data(), autp_from + ill_done, ull_count);
            dsp_sink.dsc_sink->write(static_cast<int32_t>(ull_count));
            ill_done += static_cast<int64_t>(ull_count);
        }
        return inp_length;
    }));
}

int64_t c_mediasink::seek(void *avp_sink, int64_t ilp_offset, int inp_whence) noexcept
{
    return ask(avp_sink, [&](c_mediasink &dsp_sink) -> int64_t {
        // FFmpeg knows its position, and no format of the list asks for the size.
        if ((inp_whence & ~AVSEEK_FORCE) != SEEK_SET || ilp_offset < 0)
            return AVERROR(EINVAL);
        const int64_t ill_position = dsp_sink.dsc_sink->seek(ilp_offset);
        dsp_sink.bc_wrong_position = ill_position != ilp_offset;
        return dsp_sink.bc_wrong_position ? AVERROR_EXIT : ill_position;
    });
}
