/**
 * @file
 * The two decoders of the reference program, and FFmpeg for them: its functions, looked up without the library's own
 * loader, and owners of its objects. A mistake of the library must not repeat itself here.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/symbols.h"

#include <iostream>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#define REFERENCE_FUNCTIONS(X)                                                                                         \
    KIV_AVCODEC_SYMBOLS(X)                                                                                             \
    KIV_AVFORMAT_SYMBOLS(X)                                                                                            \
    KIV_AVFORMAT_EXTENSIONS(X)                                                                                         \
    KIV_AVUTIL_SYMBOLS(X)                                                                                              \
    KIV_AVUTIL_EXTENSIONS(X)                                                                                           \
    KIV_SWSCALE_SYMBOLS(X)                                                                                             \
    X(void, avcodec_free_context, (AVCodecContext **))                                                                 \
    X(AVFrame *, av_frame_alloc, (void))                                                                               \
    X(void, av_frame_free, (AVFrame **))                                                                               \
    X(int, av_frame_get_buffer, (AVFrame *, int))                                                                      \
    X(void *, av_mallocz, (size_t))                                                                                    \
    X(void, av_md5_sum, (uint8_t *, const uint8_t *, int))                                                             \
    X(const char *, av_get_sample_fmt_name, (AVSampleFormat))                                                          \
    X(AVPixelFormat, av_get_pix_fmt, (const char *))

namespace ffmpeg
{

#define DECLARE(result, name, parameters) inline result(*name) parameters = nullptr;
REFERENCE_FUNCTIONS(DECLARE)
#undef DECLARE

/** Opens the libraries of a directory; they stay open. @throws std::runtime_error with the loader's reason */
void load(const std::string &strp_directory);

template <auto &FREE> struct dsd_free
{
    template <class T> void operator()(T *adsp_object) const { FREE(&adsp_object); }
};
using format_ptr = std::unique_ptr<AVFormatContext, dsd_free<avformat_close_input>>;
using context_ptr = std::unique_ptr<AVCodecContext, dsd_free<avcodec_free_context>>;
using frame_ptr = std::unique_ptr<AVFrame, dsd_free<av_frame_free>>;

/** @throws std::runtime_error with FFmpeg's text when the result is an error */
int check(int inp_result, const std::string &strp_what);

/** @throws std::runtime_error when there is none */
template <class T> T *existing(T *adsp_object, const std::string &strp_what)
{
    return adsp_object != nullptr ? adsp_object : throw std::runtime_error("no " + strp_what);
}

format_ptr open_file(const std::string &strp_path);

/** A decoder set up from the description of a stream, not the demuxer's own one. @param inp_flags CODEC_FLAG_... */
context_ptr open_decoder(AVCodecID iep_codec, const AVCodecContext &dsp_stream, int inp_flags);

/** A packet without timestamps. The bytes stay the caller's. */
AVPacket packet_of(uint8_t *autp_bytes, size_t ulp_size);

/** Calls @p visit with every packet of a stream; of all streams, when the index is -1. */
template <class T> void for_each_packet(AVFormatContext &dsp_file, int inp_stream, T visit)
{
    AVPacket dsl_packet = packet_of(nullptr, 0);
    while (av_read_frame(&dsp_file, &dsl_packet) >= 0) {
        if (inp_stream < 0 || inp_stream == dsl_packet.stream_index)
            visit(static_cast<const AVPacket &>(dsl_packet));
        av_free_packet(&dsl_packet);
    }
}

} // namespace ffmpeg

using bytes = std::vector<uint8_t>;

inline constexpr int in_idle_calls = 100; /**< a decoder that consumes and gives nothing so often is stuck */

/** 32 lower-case hexadecimal digits. */
std::string md5_of(std::span<const uint8_t> utp_bytes);

/** Prints a line of values with tabs in between. */
template <class... T> void print(const char *strp_kind, const T &...dsp_values)
{
    std::cout << strp_kind;
    ((std::cout << '\t' << dsp_values), ...);
    std::cout << '\n';
}

/** Every option with its value; that of a flag is "" or "1", and "none" stands for no name. */
using options = std::map<std::string, std::string>;

/** Decodes one stream of a file and prints what comes of it. @throws std::runtime_error */
void decode_video(AVFormatContext &dsp_file, const AVStream &dsp_stream, AVCodecID iep_codec,
                  const options &dsp_options);
void decode_sound(AVFormatContext &dsp_file, const AVStream &dsp_stream, AVCodecID iep_codec,
                  const options &dsp_options);
