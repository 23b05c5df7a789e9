/** @file The pictures that a video codec holds: those that wait, and those that Java and the decoder share. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/ffmpeg/frame.h"

#include <algorithm>
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
 * Decoded pictures that wait, oldest first, and the frames of delivered pictures that the decoder may still read.
 *
 * Java shares the memory of a direct buffer. The frame that is kept here counts as one more user of the picture, so
 * that no decoder writes into it again. Used by the thread that runs the codec, while its environment is registered.
 */
class c_picture_queue
{
public:
    /** An empty frame: one that was put back, or a new one. @throws std::bad_alloc */
    std::unique_ptr<c_avframe> take_frame();
    /** Releases what the frame refers to, and keeps the frame itself for the next picture. */
    void put_back(std::unique_ptr<c_avframe> dsp_frame);

    bool empty() const noexcept { return dsc_waiting.empty(); }

    /** Whether a waiting picture lies in this memory. */
    bool holds(const ca_ffmpeg_buffer *adsp_buffer) const noexcept;

    void push(dsd_decoded_picture dsp_picture);
    /** The oldest picture; there must be one. */
    const dsd_decoded_picture &front() const { return dsc_waiting.front(); }
    /** Removes the oldest picture; there must be one. */
    dsd_decoded_picture pop();
    /** Releases the waiting pictures. */
    void clear() noexcept { dsc_waiting.clear(); }

    /** Keeps the frame of a delivered picture whose memory Java and the decoder share. */
    void share(std::unique_ptr<c_avframe> dsp_frame) { dsc_shared.push_back(std::move(dsp_frame)); }
    /** Releases the shared frames that the decoder does not use any more. */
    void release_unused_pictures();
    /** Releases the shared frames that the condition is true for. */
    template <class CONDITION> void release_shared_if(CONDITION dsp_condition)
    {
        const auto dsl_released =
            std::stable_partition(dsc_shared.begin(), dsc_shared.end(),
                                  [&](const auto &dsp_frame) { return !dsp_condition(*dsp_frame->frame()); });
        std::for_each(dsl_released, dsc_shared.end(), [&](auto &dsp_frame) { put_back(std::move(dsp_frame)); });
        dsc_shared.erase(dsl_released, dsc_shared.end());
    }
    /** Releases all shared frames, when the decoder is closed. */
    void release_shared_pictures() noexcept { dsc_shared.clear(); }

private:
    /** Making a frame takes longer than decoding a very small picture. */
    static constexpr size_t ul_most_spare = 8;

    std::vector<std::unique_ptr<c_avframe>> dsc_spare;
    std::deque<dsd_decoded_picture> dsc_waiting;
    std::vector<std::unique_ptr<c_avframe>> dsc_shared;
};
