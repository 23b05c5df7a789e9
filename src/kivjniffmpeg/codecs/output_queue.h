/** @file The finished output of an audio codec. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"

#include <cstdint>
#include <deque>

/** Buffers, oldest first, each with one reference, and the sum of their bytes. */
class c_output_queue
{
public:
    void pushback(c_framebuffer_reference dsp_buffer);
    /** Removes the first buffer and returns its reference; there must be one. */
    c_framebuffer_reference popfront();
    void clear() noexcept;

    bool empty() const noexcept { return dsc_buffers.empty(); }
    size_t size() const noexcept { return dsc_buffers.size(); }
    /** Bytes in the first buffer; there must be one. */
    int32_t front_size() const noexcept { return dsc_buffers.front()->data_size(); }
    /** Bytes in all buffers. */
    uint64_t bytes() const noexcept { return ulc_bytes; }
    /** Bytes of the first buffers, as many as one Java array holds. */
    int32_t deliverable() const noexcept;

private:
    std::deque<c_framebuffer_reference> dsc_buffers;
    uint64_t ulc_bytes = 0;
};
