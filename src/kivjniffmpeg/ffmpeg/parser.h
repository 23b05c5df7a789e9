/** @file FFmpeg's parser of one codec, which cuts bytes into packets. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"
#include "kivjniffmpeg/ffmpeg/codec_context.h"

#include <cstdint>
#include <span>

/** Owns an AVCodecParserContext and the codec context that it fills with what it learns. */
class c_avparser
{
public:
    /** @throws c_ffmpeg_exception when FFmpeg has no parser for the codec. @throws std::bad_alloc */
    explicit c_avparser(const c_avcodec &dsp_codec);
    ~c_avparser();
    c_avparser(const c_avparser &) = delete;
    c_avparser &operator=(const c_avparser &) = delete;

    /**
     * Parses up to the end of a packet.
     *
     * @param utp_bytes followed by ul_input_padding zeroed bytes; empty at the end of the stream
     * @param ilp_pts of the first packet that begins in these bytes, or AV_NOPTS_VALUE
     * @param utp_packet receives the packet, in the parser's memory or in that of the bytes until the next call; or nothing
     * @return how many bytes were used
     * @throws c_ffmpeg_exception when FFmpeg fails
     */
    size_t parse(std::span<const uint8_t> utp_bytes, int64_t ilp_pts, int64_t ilp_dts,
                 std::span<const uint8_t> &utp_packet);

    /** What is known of the last packet. */
    const AVCodecParserContext &state() const noexcept { return *adsc_parser; }
    /** What is known of the stream. */
    const AVCodecContext &stream() const { return *dsc_context.context(); }

private:
    c_avcodec_ctx dsc_context;
    AVCodecParserContext *adsc_parser;
};
