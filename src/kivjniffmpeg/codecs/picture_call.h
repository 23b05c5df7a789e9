/** @file One call of a decoder with pooled pictures, as the array beside its packet describes it. */
#pragma once

#include "kivjniffmpeg/codecs/video_codec.h"

#include <natives/PictureCall.h>

#include <cstdint>
#include <span>

namespace picture_call
{

/** Releases the pictures that the call closes, and adds its blocks. @throws c_ffmpeg_exception as stock() */
void add_blocks(c_videocodec &dsp_codec, std::span<const int64_t, natives::PictureCall::SIZE> ailp_call);

/** The decoder's pooled pictures. @throws c_ffmpeg_exception when it has none */
c_picture_stock &stock(c_videocodec &dsp_codec);

/**
 * Has the packet decoded, and lays the results out. The blocks of the call were added before.
 *
 * @param utp_packet as of c_videocodec::decode
 * @param ailp_call laid out as PictureCall
 * @return a sum of natives::PictureResult
 * @throws c_ffmpeg_exception as stock()
 */
int32_t decode(c_videocodec &dsp_codec, std::span<uint8_t> utp_packet, int32_t imp_flags,
               std::span<int64_t, natives::PictureCall::SIZE> ailp_call);

} // namespace picture_call
