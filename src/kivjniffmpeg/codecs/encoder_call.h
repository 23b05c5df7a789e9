/** @file Encoders of sound that are chosen by FFmpeg's codec, and how their packets are described. */
#pragma once

#include "kivjniffmpeg/codecs/audio_codec.h"
#include "kivjniffmpeg/ffmpeg/packet.h"

#include <natives/PacketFields.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace encoder_call
{

/**
 * Makes an encoder that is not open.
 *
 * @param strp_codec FFmpeg's name of the codec
 * @param imp_samples the samples that it takes: SAMPLES_16, SAMPLES_32 or SAMPLES_FLOAT of c_codecoptions_ffmpeg
 * @throws c_ffmpeg_exception when the library or FFmpeg does not encode that
 */
std::unique_ptr<c_audiocodec> create(c_ffmpeg *adsp_ffmpeg, const std::string &strp_codec, int32_t imp_samples,
                                     int32_t imp_channels, int32_t imp_sample_rate);

/** An encoder's packet, laid out as PacketFields. */
std::array<int64_t, natives::PacketFields::SIZE> fields_of(const c_avpacket &dsp_packet);

} // namespace encoder_call
