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

/** What a decoder knows of its stream before it sees a frame. */
struct dsd_sound_stream
{
    AVCodecID iec_codec;
    int inc_block_align;
    int inc_channels;
    int inc_coded_bits;  /**< bits_per_coded_sample */
    int inc_sample_bits; /**< of a codec whose samples have all the same size; else 0 */
};

/**
 * @return the length of the first frame, at most that of the bytes; all of them where frames have no length of their own;
 *         nothing when the 56 line refuses such bytes
 */
std::optional<int> first_frame_length(const dsd_sound_stream &dsp_stream, std::span<const uint8_t> utp_bytes);

} // namespace bridge::avcodec
