/** @file Where a frame of MPEG audio may begin. */
#pragma once

#include <cstdint>
#include <span>

/**
 * Whether the first bytes are a possible frame header of MPEG audio: eleven set bits, then a layer, a bit rate and a sample
 * rate that exist. Bytes beyond the end count as 0, as in a packet's padding.
 */
bool starts_with_mpeg_audio_header(std::span<const uint8_t> utp_bytes) noexcept;

/** Tells of every possible header in a trace line. */
void trace_mpeg_audio_headers(std::span<const uint8_t> utp_bytes);
