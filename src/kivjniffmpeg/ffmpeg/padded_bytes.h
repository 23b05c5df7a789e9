/** @file Memory for input bytes, with the zeroed padding behind them that FFmpeg's readers rely on. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/** The library's copy of a caller's bytes; its memory is kept for the next packet. */
class c_padded_bytes
{
public:
    /** Makes room for @p ulp_size bytes, zeroes the padding behind them and returns the room, to be filled. */
    std::span<uint8_t> prepare(size_t ulp_size)
    {
        utc_bytes.resize(ulp_size + FF_INPUT_BUFFER_PADDING_SIZE);
        std::fill(utc_bytes.begin() + static_cast<std::ptrdiff_t>(ulp_size), utc_bytes.end(), uint8_t{0});
        return std::span(utc_bytes).first(ulp_size);
    }

private:
    std::vector<uint8_t> utc_bytes;
};
