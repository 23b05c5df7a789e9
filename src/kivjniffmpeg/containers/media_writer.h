/** @file The container writer behind a Java handle. */
#pragma once

#include "kivjniffmpeg/containers/media_sink.h"
#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/output_context.h"

#include <natives/WriterFields.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

/**
 * Writes one stream of sound into a container of a fixed list of formats, and the bytes to a sink.
 *
 * Used by one thread at a time. Every function may call the sink, and throws what the sink ends with. No format of the list opens anything but the sink.
 */
class c_mediawriter
{
public:
    using values = std::array<int64_t, natives::WriterFields::SIZE>;

    /**
     * Writes the header.
     *
     * @param adsp_ffmpeg the writer holds a reference to it
     * @param dsp_sink not null
     * @param bp_seekable whether the sink can be written at any place
     * @param strp_format FFmpeg's name of the format
     * @param strp_codec FFmpeg's name of the codec
     * @param ailp_sound the sound, laid out as WriterFields
     * @param utp_extradata the codec's private data
     * @throws c_ffmpeg_exception when the format is not on the list, or does not take the sound
     */
    c_mediawriter(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<ca_byte_sink> dsp_sink, bool bp_seekable,
                  const std::string &strp_format, const std::string &strp_codec, const values &ailp_sound,
                  std::span<const uint8_t> utp_extradata);
    ~c_mediawriter();
    c_mediawriter(const c_mediawriter &) = delete;
    c_mediawriter &operator=(const c_mediawriter &) = delete;

    c_ffmpeg *get_ffmpeg() const noexcept { return dsc_ffmpeg.get(); }

    /**
     * Writes a packet.
     *
     * @param utp_bytes zeroed padding follows them
     * @param ilp_time when it begins, in samples
     * @param ilp_duration how many samples it lasts
     * @throws c_ffmpeg_exception when there are none, when they cannot be written, or after finish()
     */
    void write(std::span<uint8_t> utp_bytes, int64_t ilp_time, int64_t ilp_duration);

    /**
     * Ends the container.
     *
     * @param utp_extradata what the encoder's private data are now; empty when they have not changed
     * @throws c_ffmpeg_exception when it cannot be written, or after finish()
     */
    void finish(std::span<const uint8_t> utp_extradata);

private:
    void describe(AVStream &dsp_stream, AVCodecID iep_codec, const values &ailp_sound,
                  std::span<const uint8_t> utp_extradata) const;
    void throw_if_finished() const;
    void check(int inp_result) const;

    c_ffmpeg_reference dsc_ffmpeg;
    c_mediasink dsc_sink; // outlives the output, which writes to it
    c_avoutput_ctx dsc_output;
    AVStream &dsc_stream;
    int32_t imc_sample_rate;
    int64_t ilc_end = 0; // of the packets so far
    bool bc_finished = false;
};
