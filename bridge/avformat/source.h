/** @file The caller's source or sink of bytes. */
#pragma once

#include "bridge/old/structures.h"
#include "bridge/real/ffmpeg.h"

#include <functional>

namespace bridge::avformat
{

/**
 * FFmpeg's AVIOContext for a source or sink of the caller's, which has its buffer and its position again afterwards.
 */
class c_real_source
{
public:
    /** @param dsp_before called before each read, may throw. @throws std::bad_alloc */
    c_real_source(const real::dsd_ffmpeg &dsp_ffmpeg, old::dsd_source &dsp_source,
                  std::function<void()> dsp_before = {});
    ~c_real_source();
    c_real_source(const c_real_source &) = delete;
    c_real_source &operator=(const c_real_source &) = delete;

    real::io_context *get() const noexcept { return adsc_io; }

    /** After a failure of the caller's source it is asked again, as in the 56 line. */
    void forget_error() noexcept
    {
        if (adsc_io->error != 0)
            adsc_io->error = adsc_io->eof_reached = 0;
    }

private:
    static int read(void *avp_source, uint8_t *autp_to, int inp_length) noexcept;
    static int write(void *avp_source, uint8_t *autp_from, int inp_length) noexcept;
    static int64_t seek(void *avp_source, int64_t ilp_offset, int inp_whence) noexcept;

    const real::dsd_ffmpeg &dsc_ffmpeg;
    old::dsd_source &dsc_source;
    std::function<void()> dsc_before;
    real::io_context *adsc_io;
};

} // namespace bridge::avformat
