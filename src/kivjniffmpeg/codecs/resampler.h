/** @file Conversion of samples between formats, channel counts and rates. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/ffmpeg/abi.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "kivjniffmpeg/formats/audio_format.h"

#include <cstdint>

/**
 * Owns libswresample's state. Set both formats, call init(), then convert any number of times. Samples that a change of
 * rate holds back come with the next conversion, or with flush(). Other formats need another object: libswresample
 * loses its filter when it is initialised for another rate. Every failure is a c_ffmpeg_exception.
 */
class c_swr_ctx
{
public:
    c_swr_ctx();
    virtual ~c_swr_ctx();
    c_swr_ctx(const c_swr_ctx &) = delete;
    c_swr_ctx &operator=(const c_swr_ctx &) = delete;

    /** Sets the input. Throws for a format without a rate or a sample format, with which libswresample would crash. */
    void set_src_format(const c_aformat &dsp_format);
    /** Sets the output, which is interleaved unless it is a frame. Throws as set_src_format. */
    void set_dst_format(const c_aformat &dsp_format);
    /**
     * @return libswresample's result, not negative
     * @throws c_ffmpeg_exception also for rates that are too far apart
     */
    int init();
    /** The most samples per channel that the output can have after @p imp_in more of input. */
    int32_t most_out(int32_t imp_in);

    /** Converts a frame into the buffer, as many samples as fit, and sets the buffer's data size. */
    void convert(c_avframe &dsp_in, ca_ffmpeg_buffer &dsp_out);
    /** Converts interleaved samples, @p ump_nb_samples per channel, into the frame and sets its nb_samples. */
    void convert(const uint8_t *autp_in, uint32_t ump_nb_samples, c_avframe &dsp_out);
    /** Ends the input. The buffer gets the samples that are still held back, as many as fit. */
    void flush(ca_ffmpeg_buffer &dsp_out);

private:
    /** Sets the channel count of a format without a channel layout. */
    void set_channel_count(const char *strp_option, const c_aformat &dsp_format);
    /** @param aautp_planes null for the end of the input */
    void convert(const uint8_t **aautp_planes, int32_t imp_nb_samples, ca_ffmpeg_buffer &dsp_out);

    SwrContext *adsc_swr;
    int32_t imc_out_channels = 1;
    int32_t imc_out_sample_size = 1;
    int32_t imc_in_rate = 48000;
    int32_t imc_out_rate = 48000;
};
