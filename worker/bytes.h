/** @file Copies of bytes for FFmpeg. */
#pragma once

#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "memory/bytes.h"

#include <cstdint>
#include <span>

/** A copy with FFmpeg's padding behind it, valid until the memory is used again. */
inline std::span<uint8_t> padded_copy(c_padded_bytes &dsp_memory, std::span<const uint8_t> utp_from)
{
    const auto utl_copy = dsp_memory.prepare(utp_from.size());
    copy_bytes(utp_from, utl_copy);
    return utl_copy;
}
