/** @file Readers of containers as callers of the 56 line see them. */
#pragma once

#include "bridge/real/types.h"
#include "kivjniffmpeg/ffmpeg/abi_containers.h"

namespace bridge::avformat
{

/**
 * The reader in the old layout. It stays until the process ends.
 *
 * Callers may give an open container a changed copy of it. For each packet that FFmpeg examines, and before it does so,
 * the copy's read_packet is called. The one of the original makes an empty packet: FFmpeg has its own functions to read.
 *
 * @return null for null
 * @throws std::bad_alloc
 */
AVInputFormat *old_format(const real::input_format *adsp_real);

/** FFmpeg's reader; null for null. Not for a changed copy. */
const real::input_format *real_format(const AVInputFormat *adsp_format) noexcept;

} // namespace bridge::avformat
