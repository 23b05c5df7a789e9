/** @file One picture or block of samples as FFmpeg sees it. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <cstdint>

/** Owns an AVFrame and what decoders attach to it. The memory of its planes belongs to its frame buffer. */
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

    /** Sets FFmpeg's defaults and frees what a decoder attached. */
    void reset();

    AVPixelFormat pixel_format() const { return static_cast<AVPixelFormat>(frame()->format); }
    AVSampleFormat sample_format() const { return static_cast<AVSampleFormat>(frame()->format); }

    /**
     * Points the frame at interleaved or planar samples, which stay the caller's.
     *
     * @param inp_align alignment of the planes; 0 for FFmpeg's default
     * @throws c_ffmpeg_exception "Could not setup audio frame error=" with the numbers
     */
    void set_samples(int inp_channels, AVSampleFormat iep_format, const uint8_t *autp_samples, int inp_size,
                     int inp_align);

    /** Draws nothing: a place for marks in the picture while debugging. */
    void draw_debug_area();

private:
    void free_attachments() noexcept;

    AVFrame *adsc_frame;
};
