#include "reference.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>

namespace ffmpeg
{

void load(const std::string &strp_directory)
{
    // In the order of their needs: the libraries have no run path and find each other as already opened.
    for (const char *strl_file :
         {"libavutil.so.54", "libswresample.so.1", "libavcodec.so.56", "libavformat.so.56", "libswscale.so.3"})
        if (dlopen((strp_directory + "/" + strl_file).c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr)
            throw std::runtime_error(dlerror());
#define LOOK_UP(result, name, parameters)                                                                              \
    name = reinterpret_cast<decltype(name)>(existing(dlsym(RTLD_DEFAULT, #name), "function " #name));
    REFERENCE_FUNCTIONS(LOOK_UP)
#undef LOOK_UP
    av_register_all();
    av_log_set_level(AV_LOG_ERROR);
}

int check(int inp_result, const std::string &strp_what)
{
    std::array<char, 128> byrl_text{};
    if (inp_result >= 0)
        return inp_result;
    av_strerror(inp_result, byrl_text.data(), byrl_text.size());
    throw std::runtime_error(strp_what + ": " + byrl_text.data());
}

format_ptr open_file(const std::string &strp_path)
{
    AVFormatContext *adsl_format = nullptr;
    check(avformat_open_input(&adsl_format, strp_path.c_str(), nullptr, nullptr), strp_path);
    format_ptr dsl_file(adsl_format);
    dsl_file->flags |= AVFMT_FLAG_KEEP_SIDE_DATA;
    check(avformat_find_stream_info(adsl_format, nullptr), strp_path);
    return dsl_file;
}

context_ptr open_decoder(AVCodecID iep_codec, const AVCodecContext &dsp_stream, int inp_flags)
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

AVPacket packet_of(uint8_t *autp_bytes, size_t ulp_size)
{
    AVPacket dsl_packet{};
    av_init_packet(&dsl_packet);
    dsl_packet.data = autp_bytes;
    dsl_packet.size = static_cast<int>(ulp_size);
    return dsl_packet;
}

} // namespace ffmpeg

std::string md5_of(std::span<const uint8_t> utp_bytes)
{
    std::array<uint8_t, 16> utl_sum{};
    ffmpeg::av_md5_sum(utl_sum.data(), utp_bytes.data(), static_cast<int>(utp_bytes.size()));
    std::string strl_digits;
    for (const uint8_t utl_byte : utl_sum)
        for (const int inl_digit : {utl_byte >> 4, utl_byte & 15})
            strl_digits += "0123456789abcdef"[inl_digit];
    return strl_digits;
}
