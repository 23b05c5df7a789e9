/** @file One opened decoder. */
#pragma once

#include "bridge/avcodec/codecs.h"
#include "bridge/avcodec/frame_memory.h"
#include "bridge/avcodec/state.h"
#include "bridge/old/packets.h"

#include <array>
#include <memory>
#include <span>

namespace bridge::avcodec
{

struct dsd_free_parser
{
    const real::dsd_ffmpeg *adsc_ffmpeg;
    void operator()(real::parser *adsp_parser) const noexcept { adsc_ffmpeg->av_parser_close(adsp_parser); }
};

/**
 * Decodes in the manner of the 56 line, a frame a call, with FFmpeg's functions that take packets and deliver frames.
 *
 * One thread at a time. The caller's context owns this and outlives it.
 */
class c_decoder final : public ca_state
{
public:
    /** What one call of the 56 line's functions returns. */
    struct dsd_result
    {
        int inc_consumed = 0; /**< or an FFmpeg error */
        bool bc_frame = false;
    };

    /** @throws std::bad_alloc */
    c_decoder(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecContext &dsp_context, const dsd_codec &dsp_codec);
    /** Ends the decoder's threads first: until then they decode ahead, and use what the other members own. */
    ~c_decoder() override { dsc_real.reset(); }
    c_decoder(const c_decoder &) = delete;
    c_decoder &operator=(const c_decoder &) = delete;

    /** @return 0 or an FFmpeg error. @throws std::bad_alloc */
    int open();

    /**
     * Decodes at most one frame of the packet; an empty packet drains the decoder.
     *
     * @param dsp_frame is released first, and receives the frame
     * @throws std::bad_alloc
     */
    dsd_result decode(AVFrame &dsp_frame, const AVPacket &dsp_packet);

    void flush();

    /** Sizes that the decoder of the context's format needs, see avcodec_align_dimensions2. */
    void align_dimensions(AVPixelFormat iep_format, int *ainp_width, int *ainp_height, int *ainp_alignments);

private:
    static int get_buffer2(real::context *adsp_context, real::frame *adsp_frame, int inp_flags) noexcept;
    int get_memory(real::context *adsp_context, real::frame *adsp_frame, int inp_flags);
    int get_shared_memory(real::frame *adsp_frame, int inp_flags) const;
    void silence(real::frame *adsp_frame) const noexcept;
    void choose_options();
    bool is_sound() const noexcept { return dsc_codec.dsc_old.type == AVMEDIA_TYPE_AUDIO; }
    std::span<const uint8_t> extradata() const noexcept;
    dsd_result decode_bytes(AVFrame &dsp_frame, const AVPacket &dsp_packet);
    dsd_result drain(AVFrame &dsp_frame);
    dsd_result decode_cut_anywhere(AVFrame &dsp_frame, const AVPacket &dsp_packet);
    dsd_result decode_sound(AVFrame &dsp_frame, const AVPacket &dsp_packet, real::packet &dsp_whole);
    dsd_result decode_unit(AVFrame &dsp_frame, real::packet &dsp_unit, int inp_consumed);
    dsd_result decode_sent(AVFrame &dsp_frame, int inp_consumed);
    dsd_result deliver_waiting(AVFrame &dsp_frame);
    real::packet &fresh_packet() const noexcept;
    bool is_in_use(const AVBufferRef *adsp_buffer) const noexcept;
    AVBufferRef *copy_bytes(real::packet &dsp_unit);
    int receive(real_frame &dsp_frame);
    void recycle(real_frame dsp_frame) noexcept;
    void deliver(real_frame dsp_frame, AVFrame &dsp_to);
    void deliver_skipped_samples(const real::frame *adsp_from, AVFrame &dsp_to) noexcept;
    void move_into_callers_memory(real_frame &dsp_frame);
    void make_parser();

    const real::dsd_ffmpeg &dsc_ffmpeg;
    AVCodecContext &dsc_context;
    const dsd_codec &dsc_codec;
    c_frame_memory dsc_memory;
    alignas(AVCodecContext) std::byte
        utc_callers_context[old::ul_context_size]; // as it was when the decoder was opened
    real_context dsc_real;
    real_context dsc_scratch; // what a parser or a computation may change
    std::unique_ptr<real::parser, dsd_free_parser> dsc_parser;
    const int inc_sample_bits;     // of a codec whose samples have all the same size; else 0
    const real_buffer dsc_callers; // stands for the caller's memory
    real_buffer dsc_copy;          // bytes of the last packet, used again
    size_t ulc_copy_size = 0;
    old::real_packet dsc_packet; // used again for each packet, as dsc_spare is for frames: sound has many small ones
    real_frame dsc_spare;
    real_frame dsc_last;           // the caller uses its memory until the next frame, unless it counts references
    real_frame dsc_waiting;        // decoded already: the packet has more than one frame
    AVFrameSideData dsc_skipped{}; // what accompanies the last frame, in utc_skipped
    AVFrameSideData *adsc_skipped = &dsc_skipped;
    std::array<uint8_t, in_skip_samples_size> utc_skipped{};
    int inc_owed = 0;       // what the packet counts as consumed when no more frames wait
    int inc_late_error = 0; // the next call's result
    bool bc_draining = false;
    bool bc_marks_key_pictures = false; // all pictures of the codec are key pictures
    const bool bc_simple;               // the decoder has no frames but those of the bytes that it did not read yet
    bool bc_reads_at_once = false;      // and reads all of this packet for its first frame
};

} // namespace bridge::avcodec
