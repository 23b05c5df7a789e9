/** @file Copies of bytes. */
#pragma once

#include "kivjniffmpeg/ffmpeg/padded_bytes.h"

#include <cstdint>
#include <cstring>
#include <span>

/** Copies bytes to a place that has room for them. std::ranges::copy over spans becomes a loop of single bytes. */
inline void copy_bytes(std::span<const uint8_t> utp_from, std::span<uint8_t> utp_to) noexcept
{
    if (!utp_from.empty())
        std::memcpy(utp_to.data(), utp_from.data(), utp_from.size());
}

/** A copy with FFmpeg's padding behind it, valid until the memory is used again. */
inline std::span<uint8_t> padded_copy(c_padded_bytes &dsp_memory, std::span<const uint8_t> utp_from)
{
    const auto utl_copy = dsp_memory.prepare(utp_from.size());
    copy_bytes(utp_from, utl_copy);
    return utl_copy;
}
