/** @file The pictures that a video codec holds: those that wait for Java, and those that it shares with Java. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/ffmpeg/frame.h"

#include <deque>
#include <memory>
#include <vector>

/** A picture and a reference to its memory; without a frame there is no picture. */
struct dsd_decoded_picture
{
    std::unique_ptr<c_avframe> dsc_frame;
    c_framebuffer_reference dsc_buffer;
};

/**
 * Decoded pictures in the order in which they came, and the frames of delivered pictures that the decoder may still read.
 *
 * Java sees a direct buffer as it is. The frame kept here counts as one more user of the picture, so no decoder goes on
 * writing into it. Used by the thread that runs the codec, and cleared while that thread's environment is registered.
 */
class c_picture_queue
{
public:
    bool empty() const noexcept { return dsc_waiting.empty(); }

    /** Whether a waiting picture lies in this memory. */
    bool holds(const ca_ffmpeg_buffer *adsp_buffer) const noexcept;

    void push(dsd_decoded_picture dsp_picture);
    /** Removes the oldest picture; there must be one. */
    dsd_decoded_picture pop();
    /** Releases the waiting pictures. */
    void clear() noexcept { dsc_waiting.clear(); }

    /** Keeps the frame of a picture that was delivered in memory which Java and the decoder share. */
    void share(std::unique_ptr<c_avframe> dsp_frame) { dsc_shared.push_back(std::move(dsp_frame)); }
    /** Releases the shared frames that nothing in FFmpeg refers to any more. */
    void release_unused_pictures();
    /** Releases every shared frame: the decoder is closed. */
    void release_shared_pictures() noexcept { dsc_shared.clear(); }

private:
    std::deque<dsd_decoded_picture> dsc_waiting;
    std::vector<std::unique_ptr<c_avframe>> dsc_shared;
};
