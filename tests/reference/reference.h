/**
 * @file
 * The two decoders of the reference program, and FFmpeg for them: its functions, looked up without the library's own
 * loader, and owners of its objects. A mistake of the library must not repeat itself here.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/symbols.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
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
    X(AVPixelFormat, av_get_pix_fmt, (const char *))

namespace ffmpeg
{

#define DECLARE(result, name, parameters) inline result(*name) parameters = nullptr;
REFERENCE_FUNCTIONS(DECLARE)
#undef DECLARE

/** @throws std::runtime_error when there is none */
template <class T> T *existing(T *adsp_object, const std::string &strp_what)
{
    return adsp_object != nullptr ? adsp_object : throw std::runtime_error("no " + strp_what);
}

/** Opens the libraries of a directory; they stay open. @throws std::runtime_error with the loader's reason */
inline void load(const std::string &strp_directory)
{
    // In the order of their needs: the libraries have no run path and find each other as already opened.
    for (const char *strl_file :
         {"libavutil.so.54", "libswresample.so.1", "libavcodec.so.56", "libavformat.so.56", "libswscale.so.3"})
        if (dlopen((strp_directory + "/" + strl_file).c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr)
            throw std::runtime_error(dlerror());
#define LOOK_UP(result, name, parameters)                                                                              \
    name = reinterpret_cast<decltype(name)>(dlsym(RTLD_DEFAULT, #name));                                               \
    if (!std::string_view(#name).starts_with("kiv_bridge_"))                                                           \
        existing(name, "function " #name);
    REFERENCE_FUNCTIONS(LOOK_UP)
#undef LOOK_UP
    av_register_all();
    av_log_set_level(AV_LOG_ERROR);
}

template <auto &FREE> struct dsd_free
{
    template <class T> void operator()(T *adsp_object) const { FREE(&adsp_object); }
};
using format_ptr = std::unique_ptr<AVFormatContext, dsd_free<avformat_close_input>>;
using context_ptr = std::unique_ptr<AVCodecContext, dsd_free<avcodec_free_context>>;
using frame_ptr = std::unique_ptr<AVFrame, dsd_free<av_frame_free>>;

/** @throws std::runtime_error with FFmpeg's text when the result is an error */
inline int check(int inp_result, const std::string &strp_what)
{
    std::array<char, 128> byrl_text{};
    if (inp_result >= 0)
        return inp_result;
    av_strerror(inp_result, byrl_text.data(), byrl_text.size());
    throw std::runtime_error(strp_what + ": " + byrl_text.data());
}

inline format_ptr open_file(const std::string &strp_path)
{
    AVFormatContext *adsl_format = nullptr;
    check(avformat_open_input(&adsl_format, strp_path.c_str(), nullptr, nullptr), strp_path);
    format_ptr dsl_file(adsl_format);
    dsl_file->flags |= AVFMT_FLAG_KEEP_SIDE_DATA;
    check(avformat_find_stream_info(adsl_format, nullptr), strp_path);
    return dsl_file;
}

/** A decoder set up from the description of a stream, not the demuxer's own one. @param inp_flags CODEC_FLAG_... */
inline context_ptr open_decoder(AVCodecID iep_codec, const AVCodecContext &dsp_stream, int inp_flags)
{
    const AVCodec *adsl_codec = existing(avcodec_find_decoder(iep_codec), "decoder");
    context_ptr dsl_context(existing(avcodec_alloc_context3(adsl_codec), "memory"));
    const auto ull_size = static_cast<size_t>(dsp_stream.extradata_size);
    dsl_context->extradata =
        static_cast<uint8_t *>(existing(av_mallocz(ull_size + FF_INPUT_BUFFER_PADDING_SIZE), "memory"));
    std::copy_n(dsp_stream.extradata, ull_size, dsl_context->extradata);
    dsl_context->extradata_size = dsp_stream.extradata_size;
    dsl_context->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    dsl_context->bits_per_coded_sample = dsp_stream.bits_per_coded_sample;
    dsl_context->flags |= inp_flags;
    dsl_context->width = dsp_stream.width;
    dsl_context->height = dsp_stream.height;
    if (dsp_stream.codec_type == AVMEDIA_TYPE_AUDIO) {
        dsl_context->channels = dsp_stream.channels;
        dsl_context->sample_rate = dsp_stream.sample_rate;
        dsl_context->block_align = dsp_stream.block_align;
        dsl_context->bit_rate = dsp_stream.bit_rate;
        dsl_context->request_sample_fmt = AV_SAMPLE_FMT_S16;
        if (dsp_stream.channels <= 2)
            dsl_context->request_channel_layout = dsp_stream.channels == 1 ? 0x4 : 0x3; // no other one matters
    }
    check(avcodec_open2(dsl_context.get(), adsl_codec, nullptr), "avcodec_open2");
    return dsl_context;
}

/** A packet without timestamps. The bytes stay the caller's. */
inline AVPacket packet_of(uint8_t *autp_bytes, size_t ulp_size)
{
    AVPacket dsl_packet{};
    av_init_packet(&dsl_packet);
    dsl_packet.data = autp_bytes;
    dsl_packet.size = static_cast<int>(ulp_size);
    return dsl_packet;
}

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
inline std::string md5_of(std::span<const uint8_t> utp_bytes)
{
    std::array<uint8_t, 16> utl_sum{};
    ffmpeg::av_md5_sum(utl_sum.data(), utp_bytes.data(), static_cast<int>(utp_bytes.size()));
    std::string strl_digits;
    for (const uint8_t utl_byte : utl_sum)
        for (const int inl_digit : {utl_byte >> 4, utl_byte & 15})
            strl_digits += "0123456789abcdef"[inl_digit];
    return strl_digits;
}

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
