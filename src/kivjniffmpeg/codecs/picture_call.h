/** @file One call of a decoder with pooled pictures, as the array beside its packet describes it. */
#pragma once

#include "kivjniffmpeg/codecs/video_codec.h"

#include <natives/PictureCall.h>

#include <cstdint>
#include <span>

namespace picture_call
{

/**
 * Adds the blocks of the call, has the packet decoded, and lays the results out.
 *
 * @param utp_packet as of c_videocodec::decode
 * @param ailp_call laid out as PictureCall
 * @return a sum of natives::PictureResult
 * @throws c_ffmpeg_exception when the codec has no pooled pictures
 */
int32_t decode(c_videocodec &dsp_codec, std::span<uint8_t> utp_packet, int32_t imp_flags,
               std::span<int64_t, natives::PictureCall::SIZE> ailp_call);

} // namespace picture_call
