/** @file One picture or block of samples as FFmpeg sees it. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <cstdint>

/** Owns an AVFrame and what decoders attach to it; the memory behind its planes belongs to its frame buffer. */
class c_avframe
{
public:
    /** An empty frame with FFmpeg's defaults. @throws std::bad_alloc */
    c_avframe();
    virtual ~c_avframe();
    c_avframe(const c_avframe &) = delete;
    c_avframe &operator=(const c_avframe &) = delete;

    /** Never null. @throws c_ffmpeg_exception "NULL pointer in c_avframe::frame" */
    AVFrame *frame() const;
    AVFrame *operator->() const { return frame(); }

    /** Back to FFmpeg's defaults; what a decoder attached is freed. */
    void reset();

    AVPixelFormat pixel_format() const { return static_cast<AVPixelFormat>(frame()->format); }
    AVSampleFormat sample_format() const { return static_cast<AVSampleFormat>(frame()->format); }

    /**
     * Points the frame at interleaved or planar samples, which stay the caller's.
     *
     * @param inp_align alignment that FFmpeg assumes of planes; 0 for its default
     * @throws c_ffmpeg_exception "Could not setup audio frame error=" with the numbers
     */
    void set_samples(int inp_channels, AVSampleFormat iep_format, const uint8_t *autp_samples, int inp_size,
                     int inp_align);

    /** Marks an area of the picture in debugging builds of the pipeline; draws nothing. */
    void draw_debug_area();

private:
    void free_attachments() noexcept;

    AVFrame *adsc_frame;
};
