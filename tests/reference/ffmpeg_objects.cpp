#include "ffmpeg_objects.h"

#include <array>
#include <cstring>
#include <new>

dsd_ffmpeg g_ffmpeg;

[[noreturn]] void fail(const std::string &strp_what, int inp_error)
{
    std::array<char, 128> byrl_text{};
    g_ffmpeg.av_strerror(inp_error, byrl_text.data(), byrl_text.size());
    throw std::runtime_error(strp_what + ": " + byrl_text.data());
}

c_file::c_file(const std::string &strp_path)
{
    if (const int inl_error = g_ffmpeg.avformat_open_input(&adsc_format, strp_path.c_str(), nullptr, nullptr);
        inl_error < 0)
        fail(strp_path, inl_error);
    adsc_format->flags |= AVFMT_FLAG_KEEP_SIDE_DATA;
    if (const int inl_error = g_ffmpeg.avformat_find_stream_info(adsc_format, nullptr); inl_error < 0) {
        g_ffmpeg.avformat_close_input(&adsc_format);
        fail(strp_path, inl_error);
    }
}

const AVCodec &decoder_of(AVCodecID dsp_codec_id)
{
    const AVCodec *adsl_codec = g_ffmpeg.avcodec_find_decoder(dsp_codec_id);
    if (adsl_codec == nullptr)
        throw std::runtime_error("no decoder");
    return *adsl_codec;
}

context_ptr new_context(const AVCodec &dsp_codec, const AVCodecContext &dsp_stream)
{
    context_ptr adsl_context(g_ffmpeg.avcodec_alloc_context3(&dsp_codec));
    if (adsl_context == nullptr)
        throw std::bad_alloc();
    adsl_context->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    adsl_context->bits_per_coded_sample = dsp_stream.bits_per_coded_sample;
    adsl_context->extradata = static_cast<uint8_t *>(
        g_ffmpeg.av_mallocz(static_cast<size_t>(dsp_stream.extradata_size) + FF_INPUT_BUFFER_PADDING_SIZE));
    if (adsl_context->extradata == nullptr)
        throw std::bad_alloc();
    if (dsp_stream.extradata_size > 0)
        std::memcpy(adsl_context->extradata, dsp_stream.extradata, static_cast<size_t>(dsp_stream.extradata_size));
    adsl_context->extradata_size = dsp_stream.extradata_size;
    return adsl_context;
}

void open_codec(AVCodecContext &dsp_context, const AVCodec &dsp_codec)
{
    if (const int inl_error = g_ffmpeg.avcodec_open2(&dsp_context, &dsp_codec, nullptr); inl_error < 0)
        fail("avcodec_open2", inl_error);
}

std::string md5_of(std::span<const uint8_t> dsp_bytes)
{
    std::array<uint8_t, 16> byrl_sum{};
    g_ffmpeg.av_md5_sum(byrl_sum.data(), dsp_bytes.data(), static_cast<int>(dsp_bytes.size()));
    std::string strl_digits;
    for (const uint8_t byl_byte : byrl_sum)
        for (const int inl_digit : {byl_byte >> 4, byl_byte & 15})
            strl_digits += "0123456789abcdef"[inl_digit];
    return strl_digits;
}
