/** @file Conversion of samples between formats, channel counts and rates. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/ffmpeg/abi.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "kivjniffmpeg/formats/audio_format.h"

#include <cstdint>

/**
 * Owns libswresample's state. Both formats are set, then init(), then any number of conversions; what a change of rate
 * holds back waits inside for the next one. Every failure is a c_ffmpeg_exception.
 */
class c_swr_ctx
{
public:
    c_swr_ctx();
    virtual ~c_swr_ctx();
    c_swr_ctx(const c_swr_ctx &) = delete;
    c_swr_ctx &operator=(const c_swr_ctx &) = delete;

    /** What comes in. A format without a rate or without a sample format is refused: libswresample would crash on it. */
    void set_src_format(const c_aformat &dsp_format);
    /** What goes out, which is always interleaved unless a frame is the destination. Refuses as set_src_format. */
    void set_dst_format(const c_aformat &dsp_format);
    /** @return libswresample's result, not negative */
    int init();

    /** Converts a frame into the buffer, as many samples as fit; the buffer's data size tells how many bytes came. */
    void convert(c_avframe &dsp_in, ca_ffmpeg_buffer &dsp_out);
    /** Converts interleaved samples, @p ump_nb_samples per channel, into the frame, whose nb_samples tells what came. */
    void convert(const uint8_t *autp_in, uint32_t ump_nb_samples, c_avframe &dsp_out);

private:
    /** Tells the channel count where no layout does, and takes it back where one does again. */
    void set_channel_count(const char *strp_option, const c_aformat &dsp_format, int32_t &imp_set);
    /** Samples per channel that this many more of input can give. */
    int32_t most_out(int32_t imp_in);

    SwrContext *adsc_swr;
    int32_t imc_out_channels = 1;
    int32_t imc_out_sample_size = 1;
    int32_t imc_in_rate = 48000;
    int32_t imc_out_rate = 48000;
    int32_t imc_in_count_set = 0;
    int32_t imc_out_count_set = 0;
};
