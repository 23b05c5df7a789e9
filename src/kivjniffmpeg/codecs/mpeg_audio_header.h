/** @file The search for the next frame of MPEG audio. */
#pragma once

#include <cstdint>
#include <span>

/**
 * Whether the bytes begin with a possible frame header of MPEG audio: eleven set bits, then a valid layer, bit rate and
 * sample rate. Bytes beyond the end count as 0, as in a packet's padding.
 */
bool starts_with_mpeg_audio_header(std::span<const uint8_t> utp_bytes) noexcept;

/** Writes a trace line for every possible header. */
void trace_mpeg_audio_headers(std::span<const uint8_t> utp_bytes);
