/** @file FFmpeg's objects for the reference program, with owners. */
#pragma once

#include "ffmpeg_libraries.h"

#include <memory>
#include <span>
#include <stdexcept>
#include <string>

/** The functions, once they are loaded. */
extern dsd_ffmpeg g_ffmpeg;

inline constexpr int s_idle_calls = 100; /**< a decoder that takes and gives nothing so often is stuck */

/** @throws std::runtime_error with FFmpeg's text for its error code */
[[noreturn]] void fail(const std::string &strp_what, int inp_error);

/** An opened file. */
class c_file
{
public:
    explicit c_file(const std::string &strp_path);
    ~c_file() { g_ffmpeg.avformat_close_input(&adsc_format); }
    c_file(const c_file &) = delete;
    c_file &operator=(const c_file &) = delete;

    std::span<AVStream *const> streams() const { return {adsc_format->streams, adsc_format->nb_streams}; }

    /** The stream to decode; @p inp_index -1 for the first of a kind. */
    const AVStream &stream(int inp_index, AVMediaType dsp_type) const
    {
        for (const AVStream *adsl_stream : streams()) {
            if (inp_index == adsl_stream->index || (inp_index < 0 && adsl_stream->codec->codec_type == dsp_type))
                return *adsl_stream;
        }
        throw std::runtime_error("no such stream");
    }

    /** Calls @p visit with every packet of the file. */
    template <class T> void for_each_packet(T visit)
    {
        AVPacket dsl_packet{};
        g_ffmpeg.av_init_packet(&dsl_packet);
        while (g_ffmpeg.av_read_frame(adsc_format, &dsl_packet) >= 0) {
            visit(static_cast<const AVPacket &>(dsl_packet));
            g_ffmpeg.av_free_packet(&dsl_packet);
        }
    }

private:
    AVFormatContext *adsc_format = nullptr;
};

struct dsd_delete_frame
{
    void operator()(AVFrame *adsp_frame) const { g_ffmpeg.av_frame_free(&adsp_frame); }
};
using frame_ptr = std::unique_ptr<AVFrame, dsd_delete_frame>;

struct dsd_delete_context
{
    void operator()(AVCodecContext *adsp_context) const
    {
        g_ffmpeg.avcodec_close(adsp_context);
        g_ffmpeg.av_freep(&adsp_context->extradata);
        g_ffmpeg.av_freep(&adsp_context);
    }
};
using context_ptr = std::unique_ptr<AVCodecContext, dsd_delete_context>;

/** @throws std::runtime_error when there is none */
const AVCodec &decoder_of(AVCodecID dsp_codec_id);

/** A closed decoder with the stream's extradata and coded bits. */
context_ptr new_context(const AVCodec &dsp_codec, const AVCodecContext &dsp_stream);

/** @throws std::runtime_error with FFmpeg's reason */
void open_codec(AVCodecContext &dsp_context, const AVCodec &dsp_codec);

/** FFmpeg's MD5 of a block as 32 lower-case hexadecimal digits; Java has the JDK's. */
std::string md5_of(std::span<const uint8_t> dsp_bytes);
