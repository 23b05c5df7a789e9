/** @file What video and audio codecs have in common. */
#pragma once

#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/abi.h"

#include <natives/ProcessFlags.h>

#include <atomic>
#include <cstdint>
#include <string>

class c_avcodec;
class c_avcodec_ctx;
class c_trace;
class ca_ffmpeg_buffer;

/** Flag of a processing call without data: the stream ends, and the codec is drained. */
inline constexpr int32_t im_flag_drain = natives::ProcessFlags::DRAIN;
/** Flag of a processing call of a decoder of sound: the data is a whole packet. */
inline constexpr int32_t im_flag_whole_packet = natives::ProcessFlags::WHOLE_PACKET;

/** The two words of a timestamp. The low one is signed: with its top bit set the high word becomes all ones. */
inline int64_t timestamp_of(int32_t imp_low, int32_t imp_high) noexcept
{
    return int64_t{imp_low} | static_cast<int64_t>(static_cast<uint64_t>(imp_high) << 32);
}

/** Detects a decoder that makes no progress. */
class c_decoder_progress
{
public:
    /** @param inp_unconsumed_limit results in a row for which nothing need be consumed */
    explicit c_decoder_progress(int inp_unconsumed_limit = 256) noexcept : inc_unconsumed_limit(inp_unconsumed_limit) {}

    /** Counts one more call. @return whether the packet has to be dropped */
    bool is_stuck(int inp_consumed, bool bp_got_something) noexcept
    {
        inc_idle = inp_consumed > 0 || bp_got_something ? 0 : inc_idle + 1;
        inc_unconsumed = inp_consumed > 0 ? 0 : inc_unconsumed + 1;
        return inc_idle > in_idle_limit || inc_unconsumed > inc_unconsumed_limit;
    }

private:
    static constexpr int in_idle_limit = 32; // calls in a row that neither consume nor return anything

    int inc_unconsumed_limit;
    int inc_idle = 0;
    int inc_unconsumed = 0;
};

/**
 * A codec behind a Java handle. It keeps its library context alive. Used by one thread at a time.
 */
class c_codec
{
public:
    /** A description of a picture, for codecs that deliver direct buffers. */
    struct dsd_picture_info
    {
        int32_t imc_width;              /**< pixels that are shown */
        int32_t imc_height;             /**< pixels that are shown */
        int32_t imc_pixel_format;       /**< FFmpeg's number */
        int32_t imc_key_frame;          /**< 1 for a picture that is decoded without others */
        int32_t imc_picture_type;       /**< FFmpeg's number: 1 intra, 2 predicted, 3 bidirectional, ... */
        int32_t imc_interlaced;         /**< one of Interlacing */
        int32_t aimc_linesizes[4];      /**< bytes from one line to the next, by plane */
        int32_t imc_aspect_numerator;   /**< width of a pixel; 0 when unknown */
        int32_t imc_aspect_denominator; /**< height of a pixel */
        int32_t imc_color_range;        /**< FFmpeg's number: 1 limited, 2 full */
        int32_t imc_colorspace;         /**< FFmpeg's number */
        int32_t imc_color_primaries;    /**< FFmpeg's number */
        int32_t imc_color_transfer;     /**< FFmpeg's number */
    };

    /** What one processing call reports; all zero before the call. */
    struct dsd_out_params
    {
        int32_t aimc_plane_offsets[4]; /**< bytes from the first plane to each plane */
        int32_t imc_processed_len;     /**< audio: input bytes consumed */
        int32_t imc_data_offset;       /**< bytes from the start of the buffer's memory to its data */
        int32_t imc_data_size;         /**< bytes of data */
        int32_t imc_flags;             /**< the flags of the call */
        int64_t ilc_timestamp;         /**< of the picture or block that is delivered */
        int32_t imc_buffer_word;       /**< opaque and not 0 when there is a buffer */
        dsd_picture_info dsc_picture;  /**< of the picture that is delivered */
        ca_ffmpeg_buffer *adsc_buffer; /**< the picture's memory with one reference, which the caller owns; or null */
    };

    virtual ~c_codec();
    c_codec(const c_codec &) = delete;
    c_codec &operator=(const c_codec &) = delete;

    /** Opens a codec that is not open. @return false when FFmpeg refuses */
    virtual bool open() = 0;
    virtual bool close() = 0;
    /** Drops all waiting output and flushes the codec. The chosen colour model stays. */
    virtual bool reset() = 0;
    virtual const std::string &get_name();

    c_ffmpeg *get_ffmpeg() const noexcept { return dsc_ffmpeg.get(); }
    /** For the buffers of samples. */
    c_spare_memory &spare_memory() noexcept { return dsc_spare_memory; }
    bool is_open() const noexcept { return bc_open; }

    /** Has the frames counted that FFmpeg begins. @param aump_counter valid as long as the codec; null for none */
    void count_frames_in(uint32_t *aump_counter) noexcept { aumc_frames = aump_counter; }
    /** FFmpeg begins a frame. Called on any of its threads. */
    void count_frame() const noexcept
    {
        if (aumc_frames != nullptr)
            std::atomic_ref(*aumc_frames).fetch_add(1, std::memory_order_relaxed);
    }

protected:
    static constexpr int in_error_not_open = AVERROR(EINVAL);

    /** Throws a c_jniexception when a Java exception is pending: of a callback or of the receiver of trace lines. */
    static void throw_if_pending();

    c_codec(c_ffmpeg *adsp_ffmpeg, std::string strp_name);

    /** Opens the context. A failure is reported in a line of @p dsp_trace. */
    bool open_in_ffmpeg(c_avcodec_ctx &dsp_context, const c_avcodec &dsp_codec, const c_trace &dsp_trace);
    void close_in_ffmpeg(c_avcodec_ctx &dsp_context);

private:
    c_ffmpeg_reference dsc_ffmpeg;
    std::string strc_name;
    c_spare_memory dsc_spare_memory;
    bool bc_open = false;
    uint32_t *aumc_frames = nullptr;
};
