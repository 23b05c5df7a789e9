/** @file The video decoder behind a Java handle. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/buffers/picture_stock.h"
#include "kivjniffmpeg/codecs/codec.h"
#include "kivjniffmpeg/codecs/picture_maker.h"
#include "kivjniffmpeg/codecs/picture_queue.h"
#include "kivjniffmpeg/codecs/start_code_guard.h"
#include "kivjniffmpeg/ffmpeg/codec_context.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "kivjniffmpeg/formats/color_model.h"
#include "kivjniffmpeg/formats/picture_layout.h"
#include "kivjniffmpeg/formats/video_format.h"

#include <jni.h>
#include <natives/ProcessResult.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

/** What process() returns; the numbers are Java's. */
enum ie_process_result : int32_t
{
    ie_picture = natives::ProcessResult::PICTURE, /**< one picture, no more waiting */
    ie_picture_and_more =
        natives::ProcessResult::PICTURE_AND_MORE,       /**< one picture, more waiting: call again without data */
    ie_no_picture = natives::ProcessResult::NO_PICTURE, /**< no picture to deliver */
    ie_picture_model_changed = natives::ProcessResult::
        PICTURE_MODEL_CHANGED, /**< one picture, no more waiting, and another model was chosen since the last report */
    ie_decoding_error = natives::ProcessResult::DECODING_ERROR /**< the packet, or its rest, could not be decoded */
};

/** Flags of a process() call. */
inline constexpr int32_t im_flag_discontinuity =
    natives::ProcessFlags::DISCONTINUITY; /**< the packet does not follow the one before it */

/** The packet is decoded without others. A decoder of PNG adds pictures of other packets to the one before. */
inline constexpr int32_t im_flag_key = natives::ProcessFlags::KEY;

/**
 * Decodes packets into pictures in one of the colour models that Java takes.
 *
 * If the decoder's pixel format is the model's, it writes into Java's arrays. Otherwise it writes into native memory,
 * and the picture is converted into a Java array. Pictures wait in a queue; each call delivers one, the oldest.
 *
 * Java is reached through the environment that the exported function registered. A Java exception that a callback
 * throws ends the call with a kiv::jni::c_jniexception and stays pending.
 */
class c_videocodec final : public c_codec
{
public:
    /** @throws c_ffmpeg_exception when there is no decoder for the format */
    c_videocodec(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_vformat> dsp_vformat);
    ~c_videocodec() override;
    c_videocodec(const c_videocodec &) = delete;
    c_videocodec &operator=(const c_videocodec &) = delete;

    /** @throws c_ffmpeg_exception "null pointer: c_colormodel" */
    void append_dst_format(std::unique_ptr<c_colormodel> dsp_model);
    bool has_dst_formats() const noexcept { return !dsc_dst_formats.empty(); }

    /** Whether no output model is chosen yet. */
    bool unknown_dst_format() const noexcept { return imc_dst_format_idx < 0; }
    /**
     * Chooses the first model whose four-character code is that of the decoder's format.
     *
     * @return true when the choice changed, otherwise whether none is chosen
     */
    bool find_dst_format_for_pixfmt(AVPixelFormat iep_format);
    /** The chosen model. Without a choice this chooses the first RGB model, or the first of all if there is none. */
    c_colormodel &get_current_dst_format();

    /** @return false, after an error line, when FFmpeg refuses */
    bool open() override;
    bool close() override;
    bool reset() override;

    /**
     * Decodes a packet and delivers at most one picture.
     *
     * @param autp_data the packet, followed by FF_INPUT_BUFFER_PADDING_SIZE zeroed bytes. With null nothing is decoded;
     *        im_flag_drain then drains the decoder.
     * @param ilp_timestamp the packet's, in units of the caller's choice
     * @param dsp_out zeroed by the caller
     * @return an ie_process_result
     * @throws std::invalid_argument "imp_lendata" for a negative length
     */
    int32_t process(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, int64_t ilp_timestamp,
                    dsd_out_params &dsp_out);

    /** What decode() reports beside its result. */
    struct dsd_delivery
    {
        int32_t imc_slot;                   /**< of the block that the picture lies in */
        std::array<int32_t, 4> aimc_planes; /**< bytes from the block's start to each plane */
        int64_t ilc_key;                    /**< of the picture's own packet */
        int64_t ilc_fed; /**< of the packet whose decoding delivered it; AV_NOPTS_VALUE when drained */
        dsd_picture_info dsc_picture;
    };

    /**
     * Decodes a packet, or drains, and delivers at most one picture in memory of the stock. For a codec that has one.
     *
     * @param utp_packet as in process(); without bytes nothing is decoded
     * @param ilp_key a number of the packet's, not negative, by which its picture is known
     * @param dsp_out set when there is a picture
     * @return a sum of natives::PictureResult
     */
    int32_t decode(std::span<uint8_t> utp_packet, int32_t imp_flags, int64_t ilp_key, dsd_delivery &dsp_out);
    /** Java has closed the pictures in these blocks of the stock. */
    void close_pictures(std::span<const int64_t> ailp_slots);
    /** Null without the option "pooled_pictures". */
    c_picture_stock *stock() noexcept { return dsc_stock.get(); }

    /** Keeps the layout of the newest picture buffer for export_dst_format. */
    void remember_layout(const dsd_picture_layout &dsp_layout) noexcept;

    /** Memory of the kind that the picture needs. Throws as the constructors of the buffers do. */
    std::unique_ptr<ca_ffmpeg_buffer> allocate_picture(int32_t imp_width, int32_t imp_height, AVPixelFormat iep_format,
                                                       const dsd_picture_layout &dsp_layout);

    /**
     * Sets an option:
     * - "whole_packets": packets are not cut anywhere, and each picture comes with its own packet. One call of FFmpeg's
     *   decoder uses a packet up, whatever it consumed.
     * - "direct_buffers": pictures lie in direct buffers (c_direct_buffer) instead of arrays, and do not change until
     *   Java releases them.
     * - "native_format": pictures lie in direct buffers in the decoder's own pixel format; no model is chosen.
     * - "pooled_pictures": the same in memory of a stock, for decode() instead of process().
     * - "threads": how many threads decode; more than one needs "pooled_pictures", which stands before it.
     * - "color_range", "colorspace", "color_trc", "color_primaries", "chroma_sample_location", "field_order": what the
     *   container says of the pictures, as FFmpeg's numbers; they hold where the compressed video says nothing.
     * - "damage_is_error": decoders report damage, as far as they notice it, instead of guessing what is missing.
     *
     * @throws c_ffmpeg_exception on an open codec, for another name or value, or when this FFmpeg lacks what the option
     *         needs
     */
    void set_option(std::string_view strp_name, int64_t ilp_value);
    bool native_format() const noexcept { return bc_native_format; }
    bool takes_direct_buffers() const noexcept { return bc_direct_buffers || bc_native_format; }

    /** The chosen model and the newest picture buffer, laid out as PictureLayout; null before a model is chosen. */
    jintArray export_dst_format(JNIEnv *adsp_env);

    /** Memory for the packet of the next process() call. */
    c_padded_bytes &input() noexcept { return dsc_input; }

private:
    // video_decoding.cpp
    bool decode_packet(std::span<uint8_t> utp_data, int32_t imp_flags, int64_t ilp_timestamp);
    void drain(int32_t imp_flags, int64_t ilp_timestamp);
    void queue_picture(std::unique_ptr<c_avframe> dsp_frame, int32_t imp_flags, int64_t ilp_timestamp);
    /** The decoder's picture as Java takes it: in this format, in memory that no other picture uses, and top-down. */
    dsd_decoded_picture make_deliverable(std::unique_ptr<c_avframe> dsp_frame, AVPixelFormat iep_format);
    /** Whether Java gets the V plane first. */
    bool swaps_chroma();
    int32_t deliver_picture(int32_t imp_flags, dsd_out_params &dsp_out);
    int32_t deliver_from_stock(dsd_delivery &dsp_out);

    void set_whole_packets(bool bp_whole) noexcept;
    void make_stock();
    void set_threads(int64_t ilp_threads);
    bool has_threads() const noexcept { return imc_threads > 1; }

    // Pictures and decoder release their buffers on destruction, so the members that this needs stand before them.
    std::unique_ptr<c_vformat> dsc_vformat;
    std::vector<std::unique_ptr<c_colormodel>> dsc_dst_formats;
    int32_t imc_dst_format_idx = -1;
    bool bc_dst_format_changed = false;
    c_avcodec dsc_codec;
    std::unique_ptr<c_picture_stock> dsc_stock;
    int32_t imc_threads = 1;
    c_avcodec_ctx dsc_codec_ctx;
    bool bc_whole_packets = false;
    bool bc_direct_buffers = false;
    bool bc_native_format = false;
    c_picture_queue dsc_pictures;
    c_picture_maker dsc_picture_maker;
    c_padded_bytes dsc_input;
    c_start_code_guard dsc_start_code_guard; // for a decoder that takes packets cut anywhere
    int32_t imc_frame_count = 0;
    int32_t imc_got_picture = 0;
    std::array<int32_t, 4> aimc_linesizes{};
    int32_t imc_scanheight = 0;
};
