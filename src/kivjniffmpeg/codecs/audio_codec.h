/** @file The audio decoder or encoder behind a Java handle. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/codecs/codec.h"
#include "kivjniffmpeg/codecs/output_queue.h"
#include "kivjniffmpeg/codecs/resampler.h"
#include "kivjniffmpeg/ffmpeg/codec_context.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "kivjniffmpeg/formats/audio_format.h"

#include <natives/AudioStatus.h>

#include <array>
#include <cstdint>
#include <list>
#include <memory>
#include <span>
#include <string_view>

/** What c_audiocodec::process2 returns. */
enum ie_audio_result : int32_t
{
    ie_audio_done = 0, /**< all output is in the queue */
    ie_audio_decoding_error = natives::AudioStatus::
        DECODING_ERROR /**< the decoder failed; the output before is in the queue, the rest of the block is dropped */
};

/**
 * Converts sound from a source to a destination format: it decodes packets when the destination is PCM (format tag 1),
 * and encodes PCM otherwise. The output waits in a queue. Used by one thread at a time.
 */
class c_audiocodec final : public c_codec
{
public:
    /**
     * Finds the codec and sets it up; it is not opened yet.
     *
     * @throws c_ffmpeg_exception when there is no codec, the formats' sample rates differ, or the encoder supports no
     *         sample format
     */
    c_audiocodec(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_src, std::unique_ptr<c_aformat> dsp_dst);
    ~c_audiocodec() override;
    c_audiocodec(const c_audiocodec &) = delete;
    c_audiocodec &operator=(const c_audiocodec &) = delete;

    bool open() override;
    /** Resets first. */
    bool close() override;
    /** Drops the queue and the pending bytes, and flushes the codec. */
    bool reset() override;

    /** The format of the input. */
    const c_aformat &get_src_format() const noexcept { return *dsc_src_format; }
    /** The format of the output. */
    const c_aformat &get_dst_format() const noexcept { return *dsc_dst_format; }

    /**
     * Takes one block of input.
     *
     * @param autp_data FF_INPUT_BUFFER_PADDING_SIZE zeroed bytes follow the @p imp_lendata; not used after the call
     * @param ump_outlen size of the caller's output in bytes. A whole packet is decoded until that is filled, and what is
     *        left of it counts as not consumed
     * @param dsp_out cleared, then filled with flags, timestamp and the number of input bytes consumed: a decoder keeps
     *        an incomplete frame, an encoder consumes whole frames only
     * @return an ie_audio_result; always ie_audio_done from an encoder
     * @throws std::invalid_argument "imp_lendata=" and the length, when it is negative
     */
    int32_t process2(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, uint64_t ulp_timestamp,
                     dsd_out_params &dsp_out, uint32_t ump_outlen);

    /**
     * Encodes one frame of an encoder of FFmpeg's codec, or drains it.
     *
     * @param utp_samples as many as fit into a frame of the encoder, fewer in the last one; empty to drain
     * @param dsp_packet empty; receives a packet with its times in samples. One without bytes means nothing
     * @return whether there is a packet
     * @throws c_ffmpeg_exception when the encoder is closed, refuses, or does not take so many samples
     */
    bool encode_packet(std::span<const uint8_t> utp_samples, c_avpacket &dsp_packet);

    /** The output that is ready. */
    c_output_queue &output() noexcept { return dsc_output_queue; }
    /** Memory for the block of the next process2() call. */
    c_padded_bytes &input() noexcept { return dsc_input; }

    /**
     * Sets an option of c_codecoptions_ffmpeg: the bit rate of the packets, an encoder's layout of channels, a decoder's
     * samples, or whether it is continuous.
     *
     * @throws c_ffmpeg_exception on an open codec, for another name, or for an impossible value
     */
    void set_option(std::string_view strp_name, int64_t ilp_value);
    /**
     * Whether a decoder resamples sound of another rate from frame to frame, and not each frame alone, and delivers what
     * FFmpeg drops otherwise.
     */
    bool is_continuous() const noexcept { return bc_continuous; }
    /** Samples that the decoder itself says are not to be heard, since it was opened. */
    int64_t skipped() const noexcept { return ilc_skipped; }
    /** A number of FFmpeg's; @p strp_name as in c_codecoptions_ffmpeg. @throws c_ffmpeg_exception for another name */
    int64_t property(std::string_view strp_name) const;
    /** The extradata that an open encoder made, or that a decoder was created with. */
    std::span<const uint8_t> extradata() const;

private:
    /** The most frames that a decoder returns without consuming input. A packet holds thousands of silent ones. */
    static constexpr int in_most_frames = 1 << 14;
    /** Resamplers that are kept. Making one takes some ten milliseconds, and a stream may change its rate often. */
    static constexpr size_t ul_most_resamplers = 8;

    struct dsd_resampler
    {
        std::unique_ptr<c_aformat> dsc_from;
        c_swr_ctx dsc_swr;
    };

    bool is_mpeg_audio() const noexcept;
    void set_up_decoder();
    void set_up_encoder();
    /** Chooses the encoder's sample format, and sets the resampler up when the source has another. */
    void choose_sample_format();
    void trace_formats() const;
    void throw_if_open() const;
    void set_bit_rate(int32_t imp_bits_per_second);
    void set_channel_layout(uint64_t ulp_layout);
    void set_continuous(bool bp_continuous);
    void set_sample_format(int64_t ilp_format);

    // audio_decoding.cpp
    int32_t decode(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, uint64_t ulp_timestamp,
                   dsd_out_params &dsp_out, uint32_t ump_outlen);
    struct dsd_block;
    int32_t decode_frames(std::unique_ptr<c_avpacket> dsp_packet, const dsd_block &dsp_block);
    int32_t drain(dsd_out_params &dsp_out, int32_t imp_flags, uint32_t ump_outlen);
    bool is_room_filled(const dsd_block &dsp_block) const noexcept;
    int call_decoder(c_avpacket &dsp_packet, const dsd_block &dsp_block, c_decoder_progress &dsp_progress);
    bool find_next_header(c_avpacket &dsp_packet, const dsd_block &dsp_block);
    void keep_pending(const c_avpacket &dsp_packet);
    void queue_samples(c_avframe &dsp_frame);
    void convert(c_avframe &dsp_frame, const c_aformat &dsp_format);
    void set_up_resampler(const c_aformat &dsp_format);
    void end_resampling();
    c_framebuffer_reference make_pcm_buffer(int64_t ilp_samples);
    const c_aformat &format_of(const AVFrame &dsp_frame);
    bool is_resampled_from(const c_aformat &dsp_format) const;

    // audio_encoding.cpp
    void encode(const uint8_t *autp_data, int32_t imp_lendata, dsd_out_params &dsp_out);
    bool is_of_codec() const noexcept { return dsc_dst_format->format_tag() == im_tag_none; }
    bool encode_into(c_avpacket &dsp_packet, std::span<const uint8_t> utp_samples, std::span<uint8_t> utp_block,
                     int32_t imp_frame_size, int64_t ilp_time);
    void encode_frame(std::span<const uint8_t> utp_samples, std::span<uint8_t> utp_block, int32_t imp_frame_size,
                      int32_t imp_processed);

    std::unique_ptr<c_aformat> dsc_src_format;
    std::unique_ptr<c_aformat> dsc_dst_format;
    const bool bc_decoder;
    c_output_queue dsc_output_queue;
    c_avcodec dsc_codec;
    c_avcodec_ctx dsc_codec_ctx;
    c_swr_ctx dsc_swr_ctx;                   // the encoder's
    std::list<dsd_resampler> dsc_resamplers; // the decoder's, the one in use first
    bool bc_resampling = false;              // the first one is set up
    bool bc_continuous = false;
    uint64_t ulc_channel_layout = 0;
    c_avframe dsc_frame;                            // the decoder's, empty between its calls
    std::unique_ptr<c_aformat> dsc_decoded;         // the samples of the last frame
    std::array<int32_t, 4> aimc_decoded{};          // what it was made of
    std::unique_ptr<c_avpacket> dsc_pending_packet; // an incomplete frame, in memory of its own
    c_decoder_progress dsc_progress{in_most_frames};
    int64_t ilc_encoded = 0; // samples that an encoder of FFmpeg's codec has received
    int64_t ilc_skipped = 0; // see skipped()
    int inc_idle_drains = 0; // empty packets that the decoder answered with nothing since the last packet
    c_padded_bytes dsc_input;
};
