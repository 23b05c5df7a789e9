/**
 * @file
 * Where the first frame of a block of sound ends. The 56 line decodes a frame a call and reports its length; the newer
 * FFmpeg decodes all that it gets, so it gets a frame at a time.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <cstdint>
#include <optional>
#include <span>

namespace bridge::avcodec
{

/**
 * @param inp_block_align that of the opened decoder
 * @return the length of the first frame, at most that of the bytes; all of them where frames have no length of their own;
 *         nothing when the 56 line refuses such bytes
 */
std::optional<int> first_frame_length(AVCodecID iep_codec, std::span<const uint8_t> utp_bytes, int inp_block_align);

} // namespace bridge::avcodec
