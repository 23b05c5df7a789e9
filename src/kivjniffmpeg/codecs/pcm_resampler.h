/** @file Changes the sample rate of PCM behind a Java handle. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/codecs/resampler.h"
#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "kivjniffmpeg/formats/audio_format.h"

#include <cstdint>
#include <memory>
#include <span>

/** Converts interleaved PCM from one sample rate to another. It keeps its library context alive. Used by one thread at a time. */
class c_pcm_resampler
{
public:
    /** Both formats differ in their rate only. @throws c_ffmpeg_exception when the rates are too far apart */
    c_pcm_resampler(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_from, const c_aformat &dsp_to);

    /**
     * From one rate to another.
     *
     * @param imp_samples SAMPLES_16, SAMPLES_32 or SAMPLES_FLOAT of c_codecoptions_ffmpeg
     * @throws c_ffmpeg_exception for other samples, or as the constructor
     */
    static std::unique_ptr<c_pcm_resampler> create(c_ffmpeg *adsp_ffmpeg, int32_t imp_samples, int32_t imp_channels,
                                                   int32_t imp_from, int32_t imp_to);

    c_ffmpeg *get_ffmpeg() const noexcept { return dsc_ffmpeg.get(); }
    /** Memory for the PCM of the next call. */
    c_padded_bytes &input() noexcept { return dsc_input; }

    /**
     * Converts PCM. What the filter needs for the next samples it keeps.
     *
     * @param utp_pcm whole samples of all channels; empty for the end, after which the filter keeps nothing
     * @return the samples that are ready
     * @throws c_ffmpeg_exception when the samples are not whole, or too many for one call
     */
    c_framebuffer_reference convert(std::span<const uint8_t> utp_pcm);

private:
    c_ffmpeg_reference dsc_ffmpeg;
    std::unique_ptr<c_aformat> dsc_from;
    c_swr_ctx dsc_swr;
    c_padded_bytes dsc_input;
};
