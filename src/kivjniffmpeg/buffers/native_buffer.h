/** @file Frame memory that is the library's own. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

/**
 * Memory of one codec's buffers that were freed, for the next ones. Making and freeing memory takes longer than decoding
 * some packets of sound. For the thread that runs the codec; it outlives the buffers.
 */
class c_spare_memory
{
public:
    struct dsd_free
    {
        void operator()(uint8_t *autp_memory) const noexcept { std::free(autp_memory); }
    };

    /** A block, aligned to ul_alignment. */
    struct dsd_block
    {
        std::unique_ptr<uint8_t, dsd_free> autc_memory{};
        size_t ulc_size = 0;
    };

    static constexpr size_t ul_alignment = 64;

    /** A block that is large enough; without memory if there is none. */
    dsd_block take(size_t ulp_size) noexcept;
    /** Keeps the block if it is a usual one, otherwise frees it. */
    void put_back(dsd_block dsp_block) noexcept;

private:
    /** Larger blocks are rare, and cheap beside what is done with them. */
    static constexpr size_t ul_largest = size_t{256} * 1024;

    std::array<dsd_block, 2> dsc_blocks; // the decoded samples, and the converted ones
};

/** Aligned native memory, for all sound and for pictures that are converted afterwards. */
class c_native_buffer final : public ca_ffmpeg_buffer
{
public:
    /** Some audio decoders (DTS) write with instructions that need this alignment. */
    static constexpr int32_t im_minimum_alignment = c_spare_memory::ul_alignment;

    /**
     * @param imp_size bytes that are available; decoders may also read some bytes behind them
     * @param imp_align alignment in bytes, a power of two; im_minimum_alignment is the least
     * @param adsp_spare provides the memory if it can, and gets it afterwards; may be null
     * @throws std::bad_alloc also for a negative size
     */
    c_native_buffer(int32_t imp_size, int32_t imp_align, c_spare_memory *adsp_spare = nullptr);
    ~c_native_buffer() override;
    c_native_buffer(const c_native_buffer &) = delete;
    c_native_buffer &operator=(const c_native_buffer &) = delete;

    /** A new buffer with one reference. Throws as the constructor does. */
    static c_framebuffer_reference make(int32_t imp_size, int32_t imp_align, c_spare_memory *adsp_spare = nullptr);

    /** Must never be called, because the memory is not Java's. Writes an error line. */
    void release() override;
    /** As release(). */
    void commit() override;

private:
    c_spare_memory *adsc_spare;
    c_spare_memory::dsd_block dsc_block;
};
