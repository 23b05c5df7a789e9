/** @file Memory for input bytes, with the zeroed padding that FFmpeg reads behind them. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

/** Zeroed bytes behind input: the 56 line reads 32 of them, and the parsers of newer FFmpegs behind the bridge read 64. */
inline constexpr size_t ul_input_padding = 64;

/** The library's copy of a caller's bytes. The memory is used again for the next packet. */
class c_padded_bytes
{
public:
    /**
     * Memory for @p ulp_size bytes, to be filled, with zeroed padding behind them. Valid until the next call.
     *
     * @throws std::bad_alloc
     */
    std::span<uint8_t> prepare(size_t ulp_size)
    {
        if (const size_t ull_needed = ulp_size + ul_input_padding; ull_needed > ulc_room) {
            // Larger than needed, because packets of a stream differ. Nothing of the old bytes is copied.
            const size_t ull_room = ull_needed + ull_needed / 2;
            utc_bytes.reset();
            ulc_room = 0;
            utc_bytes = std::make_unique_for_overwrite<uint8_t[]>(ull_room);
            ulc_room = ull_room;
        }
        std::fill_n(utc_bytes.get() + ulp_size, ul_input_padding, uint8_t{0});
        return {utc_bytes.get(), ulp_size};
    }

private:
    std::unique_ptr<uint8_t[]> utc_bytes;
    size_t ulc_room = 0;
};
