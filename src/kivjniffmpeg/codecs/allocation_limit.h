/** @file How much FFmpeg may allocate at once. */
#pragma once

#include <cstdint>

namespace allocation_limit
{

/**
 * Sets the most bytes of one allocation, for all of FFmpeg in the process.
 *
 * @throws c_ffmpeg_exception for fewer than LEAST_ALLOCATION_LIMIT of c_codecoptions_ffmpeg or more than 31 bits, or when
 *         FFmpeg has no such limit
 */
void set(int64_t ilp_bytes);

} // namespace allocation_limit
