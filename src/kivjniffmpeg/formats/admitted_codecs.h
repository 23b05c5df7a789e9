/** @file Which codecs the library decodes and encodes. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <string>
#include <vector>

/**
 * The codecs besides those of the media subtypes and format tags. Java opens them by FFmpeg's codec. They are a list and
 * not all that FFmpeg has, because what nobody uses is what nobody has examined either.
 */
namespace admitted_codecs
{

/** Whether the library decodes the codec, for a media subtype, a format tag or the list. FFmpeg may lack the decoder. */
bool has(AVCodecID iep_codec) noexcept;

/**
 * FFmpeg's names of the codecs on the list, in its order. Of families, such as PCM, they are those that the loaded FFmpeg
 * has a decoder for. @throws std::bad_alloc
 */
std::vector<std::string> names();

/** @return AV_CODEC_ID_NONE when the loaded FFmpeg has neither decoder nor encoder of that name's codec */
AVCodecID find(const std::string &strp_name) noexcept;

/**
 * @throws c_ffmpeg_exception when the library does not decode the codec, or FFmpeg decodes it into something else. It says
 *         what FFmpeg calls it, and whether FFmpeg could
 */
void require(AVCodecID iep_codec, AVMediaType iep_type);

/**
 * The codec of that name, which the library encodes into besides those of the format tags.
 *
 * @throws c_ffmpeg_exception when the library does not encode into it, or this FFmpeg has no encoder for it
 */
AVCodecID require_encoder(const std::string &strp_name);

} // namespace admitted_codecs
