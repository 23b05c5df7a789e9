/** @file A decoder or an encoder of sound. */
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

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

/** What c_audiocodec::process2 returns. */
enum ie_audio_result : int32_t
{
    ie_audio_done = 0, /**< whatever there was is in the queue */
    ie_audio_decoding_error = natives::AudioStatus::
        DECODING_ERROR /**< the decoder failed; what came before is in the queue, the rest of the block is lost */
};

/**
 * Moves sound from a source format to a destination format: packets to PCM when the destination is PCM (format tag 1),
 * PCM to packets otherwise. What comes out waits in a queue. Used by one thread at a time.
 */
class c_audiocodec final : public c_codec
{
public:
    /**
     * Finds the codec and sets it up; it is not opened yet.
     *
     * @throws c_ffmpeg_exception when there is no codec, the formats' sample rates differ, or the encoder takes no sample
     *         format that the source can become
     */
    c_audiocodec(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_src, std::unique_ptr<c_aformat> dsp_dst);
    ~c_audiocodec() override;
    c_audiocodec(const c_audiocodec &) = delete;
    c_audiocodec &operator=(const c_audiocodec &) = delete;

    bool open() override;
    /** Resets first. */
    bool close() override;
    /** Drops the queue and what is pending, and has FFmpeg forget what it holds. */
    bool reset() override;

    /** Of the bytes that come in. */
    const c_aformat &get_src_format() const noexcept { return *dsc_src_format; }
    /** Of the bytes that come out. */
    const c_aformat &get_dst_format() const noexcept { return *dsc_dst_format; }

    /**
     * Takes one block of input.
     *
     * @param autp_data FF_INPUT_BUFFER_PADDING_SIZE zeroed bytes follow the @p imp_lendata; not used after the call
     * @param ump_outlen bytes that the caller has room for; only told in trace lines
     * @param dsp_out cleared, then filled with flags, timestamp and the bytes that were processed: a decoder keeps what it
     *        could not decode yet, an encoder only takes whole frames
     * @return an ie_audio_result; always ie_audio_done from an encoder
     * @throws std::invalid_argument "imp_lendata=" and the length, when it is negative
     */
    int32_t process2(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, uint64_t ulp_timestamp,
                     dsd_out_params &dsp_out, uint32_t ump_outlen);

    /** What is ready. */
    c_output_queue &output() noexcept { return dsc_output_queue; }
    /** Memory for the block of the next process2() call. */
    c_padded_bytes &input() noexcept { return dsc_input; }

    /** Bits per second that the packets have, or shall have. @throws c_ffmpeg_exception on an open codec */
    void set_bit_rate(int32_t imp_bits_per_second);
    /** What FFmpeg says of the codec; @p strp_name as in c_codecoptions_ffmpeg. @throws c_ffmpeg_exception for another name */
    int64_t property(std::string_view strp_name) const;
    /** The set-up bytes that an open encoder made, or a decoder was given. */
    std::span<const uint8_t> extradata() const;

private:
    bool is_decoder() const noexcept { return dsc_dst_format->format_tag() == im_tag_pcm; }
    bool is_mpeg_audio() const noexcept;
    void set_up_decoder();
    void set_up_encoder();
    /** Picks the encoder's sample format, and sets the resampler up when that is not the source's. */
    void choose_sample_format();
    void trace_formats() const;

    // audio_decoding.cpp
    int32_t decode(uint8_t *autp_data, int32_t imp_lendata, uint64_t ulp_timestamp, dsd_out_params &dsp_out,
                   uint32_t ump_outlen);
    struct dsd_block;
    int32_t decode_frames(std::unique_ptr<c_avpacket> dsp_packet, const dsd_block &dsp_block);
    int32_t drain(dsd_out_params &dsp_out, uint32_t ump_outlen);
    int call_decoder(c_avpacket &dsp_packet, const dsd_block &dsp_block, c_decoder_progress &dsp_progress);
    bool find_next_header(c_avpacket &dsp_packet, const dsd_block &dsp_block);
    void keep_pending(const c_avpacket &dsp_packet);
    void hand_on(c_avframe &dsp_frame);
    void convert(c_avframe &dsp_frame, const c_aformat &dsp_format);
    void set_up_resampler(const c_aformat &dsp_format);

    // audio_encoding.cpp
    void encode(const uint8_t *autp_data, int32_t imp_lendata, dsd_out_params &dsp_out);
    void encode_frame(std::span<const uint8_t> utp_samples, std::span<uint8_t> utp_block, int32_t imp_frame_size,
                      bool bp_convert, int32_t imp_processed);

    std::unique_ptr<c_aformat> dsc_src_format;
    std::unique_ptr<c_aformat> dsc_dst_format;
    c_output_queue dsc_output_queue;
    c_avcodec dsc_codec;
    c_avcodec_ctx dsc_codec_ctx;
    c_swr_ctx dsc_swr_ctx;
    std::unique_ptr<c_aformat> dsc_resampled_format; // what the resampler is set up to read while decoding
    std::unique_ptr<c_avpacket> dsc_pending_packet;  // bytes of its own that could not be decoded yet
    c_padded_bytes dsc_input;
};
