/** @file One container that FFmpeg writes. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi_containers.h"

/** Owns an AVFormatContext for writing. A header that was written is always followed by the trailer: it frees memory. */
class c_avoutput_ctx
{
public:
    /**
     * @param strp_format FFmpeg's name of the format
     * @throws c_ffmpeg_exception when this FFmpeg does not write the format, or cannot write containers
     * @throws std::bad_alloc
     */
    explicit c_avoutput_ctx(const char *strp_format);
    ~c_avoutput_ctx();
    c_avoutput_ctx(const c_avoutput_ctx &) = delete;
    c_avoutput_ctx &operator=(const c_avoutput_ctx &) = delete;

    AVFormatContext *context() const noexcept { return adsc_context; }

    /** A new stream. @throws std::bad_alloc */
    AVStream &add_stream();

    /** @return a negative FFmpeg error, otherwise 0 */
    int write_header();
    /** Called once, after write_header(). @return a negative FFmpeg error, otherwise 0 */
    int write_trailer();

private:
    AVFormatContext *adsc_context = nullptr;
    bool bc_trailer_due = false;
};
