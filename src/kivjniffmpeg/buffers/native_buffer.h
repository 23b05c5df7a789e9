/** @file Frame memory of the library's own. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"

#include <cstdlib>
#include <memory>

/** Aligned native memory: for pictures that are converted afterwards, and for all sound. */
class c_native_buffer final : public ca_ffmpeg_buffer
{
public:
    /** Decoders of sound, DTS among them, write with instructions that want this much. */
    static constexpr int32_t im_minimum_alignment = 64;

    /**
     * @param imp_size bytes available; the memory has some more behind it, which decoders may read
     * @param imp_align alignment in bytes, a power of two; at least im_minimum_alignment is given
     * @throws std::bad_alloc also for a negative size
     */
    c_native_buffer(int32_t imp_size, int32_t imp_align);

    /** A new buffer with one reference. Throws as the constructor does. */
    static c_framebuffer_reference make(int32_t imp_size, int32_t imp_align);

    /** Must never be called: the memory is not Java's. Says so in an error line. */
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
