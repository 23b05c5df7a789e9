/** @file The splitter behind a Java handle. */
#pragma once

#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/codec_context.h"
#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "kivjniffmpeg/ffmpeg/parser.h"

#include <natives/StreamFields.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

/** Cuts the bytes of a codec that needs no container into whole packets. Used by one thread at a time. */
class c_packet_splitter
{
public:
    /** Where one packet ended. */
    struct dsd_piece
    {
        size_t ulc_used = 0;                 /**< bytes that were taken */
        std::span<const uint8_t> utc_packet; /**< valid until the next call; empty when no packet ended */
    };

    /**
     * @param adsp_ffmpeg the splitter holds a reference to it
     * @param strp_codec FFmpeg's name
     * @throws c_ffmpeg_exception when the codec's bytes are not cut, or FFmpeg cannot do it
     */
    c_packet_splitter(c_ffmpeg *adsp_ffmpeg, const std::string &strp_codec);
    ~c_packet_splitter() = default;
    c_packet_splitter(const c_packet_splitter &) = delete;
    c_packet_splitter &operator=(const c_packet_splitter &) = delete;

    c_ffmpeg *get_ffmpeg() const noexcept { return dsc_ffmpeg.get(); }

    /** Memory for the bytes of the next split(). */
    c_padded_bytes &input() noexcept { return dsc_input; }

    /**
     * Takes bytes up to the end of a packet.
     *
     * @param utp_bytes in the memory of input(). None end the stream: each call then delivers another packet that was kept,
     *        and with none left the splitter begins anew
     * @param ilp_pts the times of the first packet that begins in these bytes, or AV_NOPTS_VALUE
     * @throws c_ffmpeg_exception when FFmpeg fails
     */
    dsd_piece split(std::span<const uint8_t> utp_bytes, int64_t ilp_pts, int64_t ilp_dts);

    /** Drops what it keeps and begins anew. */
    void restart();

    /** Times and flags of the last packet. */
    const AVCodecParserContext &state() const noexcept { return dsc_parser->state(); }
    bool is_key() const noexcept;

    /** What is known of the stream by now, laid out as StreamFields. */
    std::array<int64_t, natives::StreamFields::SIZE> stream_info() const;
    /** FFmpeg's short name. Parsers of MPEG learn from the bytes which of its codecs it is. */
    const char *codec_name() const;

private:
    void learn_sound(std::span<const uint8_t> utp_packet);
    const AVCodecContext &known() const;

    c_ffmpeg_reference dsc_ffmpeg;
    c_avcodec dsc_codec;
    c_padded_bytes dsc_input;
    std::unique_ptr<c_avparser> dsc_parser;
    std::unique_ptr<c_avcodec_ctx> dsc_sound; // of the decoder that has learned channels and rate
    int inc_idle = 0;                         // how often in a row nothing was used and no packet ended
};
