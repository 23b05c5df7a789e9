/** @file Frame memory that is the library's own. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"

#include <cstdlib>
#include <memory>

/** Aligned native memory, for all sound and for pictures that are converted afterwards. */
class c_native_buffer final : public ca_ffmpeg_buffer
{
public:
    /** Some audio decoders (DTS) write with instructions that need this alignment. */
    static constexpr int32_t im_minimum_alignment = 64;

    /**
     * @param imp_size bytes that are available; decoders may also read some bytes behind them
     * @param imp_align alignment in bytes, a power of two; im_minimum_alignment is the least
     * @throws std::bad_alloc also for a negative size
     */
    c_native_buffer(int32_t imp_size, int32_t imp_align);

    /** A new buffer with one reference. Throws as the constructor does. */
    static c_framebuffer_reference make(int32_t imp_size, int32_t imp_align);

    /** Must never be called, because the memory is not Java's. Writes an error line. */
    void release() override;
    /** As release(). */
    void commit() override;

private:
    struct dsd_free
    {
        void operator()(uint8_t *autp_memory) const noexcept { std::free(autp_memory); }
    };
    std::unique_ptr<uint8_t, dsd_free> autc_memory;
};
