/** @file One call of an audio codec, as the array of numbers beside its input describes it. */
#pragma once

#include "kivjniffmpeg/codecs/audio_codec.h"

#include <natives/AudioParams.h>

#include <array>
#include <cstdint>
#include <memory>

class c_trace;

namespace audio_call
{

/** Laid out as AudioParams. */
using values = std::array<int32_t, natives::AudioParams::SIZE_WITH_SKIPPED>;

/** The caller's input and output. */
class ca_caller
{
public:
    ca_caller() = default;
    virtual ~ca_caller() = default;
    ca_caller(const ca_caller &) = delete;
    ca_caller &operator=(const ca_caller &) = delete;

    /** Copies the input into padded memory. @return null when there is none */
    virtual uint8_t *input(c_padded_bytes &dsp_memory, int32_t imp_offset, int32_t imp_length) = 0;
    /** The codec has taken its input, and the numbers say of how much. Output comes now. */
    virtual void is_taken() = 0;
    /** Copies the data of a buffer to an offset of the output. @return false when it has no room */
    virtual bool put(const ca_ffmpeg_buffer &dsp_buffer, int64_t ilp_offset) = 0;
};

/**
 * Has the codec process input, unless output waits, and fills the caller's room with output.
 *
 * @param aimp_call changed to the results; what it holds after an exception means nothing
 * @param dsp_trace the scope of the call's line
 * @return a sum of natives::AudioStatus
 * @throws c_ffmpeg_exception when there is no input although there is a length
 */
int32_t process(c_audiocodec &dsp_codec, values &aimp_call, ca_caller &dsp_caller, const c_trace &dsp_trace);

/** An open codec from a compressed format to 16-bit PCM; null when FFmpeg refuses. @throws c_ffmpeg_exception */
std::unique_ptr<c_audiocodec> open_to_pcm(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_format);
/** An open codec from 16-bit PCM to a compressed format; null when FFmpeg refuses. @throws c_ffmpeg_exception */
std::unique_ptr<c_audiocodec> open_from_pcm(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_format);

} // namespace audio_call
