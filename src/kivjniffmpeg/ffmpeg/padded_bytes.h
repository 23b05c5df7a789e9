/** @file Memory for input bytes, with the zeroed padding that FFmpeg reads behind them. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/** Zeroed bytes behind input: the 56 line reads 32 of them, and the parsers of newer FFmpegs behind the bridge read 64. */
inline constexpr size_t ul_input_padding = 64;

/** The library's copy of a caller's bytes. The memory is used again for the next packet. */
class c_padded_bytes
{
public:
    /** Memory for @p ulp_size bytes, to be filled, with zeroed padding behind them. Valid until the next call. */
    std::span<uint8_t> prepare(size_t ulp_size)
    {
        utc_bytes.resize(ulp_size + ul_input_padding);
        std::fill(utc_bytes.begin() + static_cast<std::ptrdiff_t>(ulp_size), utc_bytes.end(), uint8_t{0});
        return std::span(utc_bytes).first(ulp_size);
    }

private:
    std::vector<uint8_t> utc_bytes;
};
