#include "support/real_ffmpeg.h"

#include "kivjniffmpeg/library_context.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

std::string ffmpeg_directory()
{
    const char *strl_directory = std::getenv("KIV_FFMPEG_DIR");
    if (strl_directory == nullptr)
        throw std::runtime_error("KIV_FFMPEG_DIR must name the directory with the five FFmpeg libraries");
    return strl_directory;
}

void load_ffmpeg()
{
    static std::once_flag dsl_once;
    std::call_once(dsl_once, [] {
        const std::string strl_directory = ffmpeg_directory();
        // The libraries have no run path: what the others need is opened first, as Java does.
        for (const char *strl_file : {"libavutil.so.54", "libswresample.so.1"})
            if (dlopen((strl_directory + "/" + strl_file).c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr)
                throw std::runtime_error(dlerror());
        c_ffmpeg::static_init();
        ffmpeg_loader::load(strl_directory.c_str());
        g_avcodec.avcodec_register_all();
        g_avformat.av_register_all();
        constexpr int inl_quiet = -8;
        g_avutil.av_log_set_level(inl_quiet);
    });
}

void *ffmpeg_symbol(void *avp_library, const char *strp_name)
{
    void *avl_symbol = dlsym(avp_library, strp_name);
    if (avl_symbol == nullptr)
        throw std::runtime_error(std::string("no function ") + strp_name);
    return avl_symbol;
}

dsd_flat_color flat_color(size_t ump_picture)
{
    const auto utl_step = static_cast<uint8_t>(ump_picture * 5);
    return {static_cast<uint8_t>(60 + utl_step), static_cast<uint8_t>(90 + utl_step),
            static_cast<uint8_t>(200 - utl_step)};
}

std::vector<std::vector<uint8_t>> encode_flat_pictures(int inp_width, int inp_height, size_t ump_count)
{
    load_ffmpeg();
    const auto encode = ffmpeg_function<int(AVCodecContext *, AVPacket *, const AVFrame *, int *)>(
        g_avcodec.avc_handle, "avcodec_encode_video2");
    const AVCodec *adsl_codec = g_avcodec.avcodec_find_encoder(AV_CODEC_ID_MPEG2VIDEO);
    AVCodecContext *adsl_context = g_avcodec.avcodec_alloc_context3(adsl_codec);
    adsl_context->width = inp_width;
    adsl_context->height = inp_height;
    adsl_context->pix_fmt = AV_PIX_FMT_YUV420P;
    adsl_context->time_base = {1, 25};
    adsl_context->bit_rate = 20000000;
    g_avutil.av_opt_set_int(adsl_context, "g", 1, 0);
    if (g_avcodec.avcodec_open2(adsl_context, adsl_codec, nullptr) < 0)
        throw std::runtime_error("the MPEG-2 encoder does not open");

    AVFrame *adsl_frame = g_avcodec.avcodec_alloc_frame();
    adsl_frame->width = inp_width;
    adsl_frame->height = inp_height;
    adsl_frame->format = AV_PIX_FMT_YUV420P;
    const int inl_line = (inp_width + 63) / 64 * 64;
    std::vector<uint8_t> utl_planes[3];
    for (std::vector<uint8_t> &utl_plane : utl_planes)
        utl_plane.resize(static_cast<size_t>(inl_line) * static_cast<size_t>(inp_height + 32));
    for (size_t uml_plane = 0; uml_plane < 3; ++uml_plane) {
        adsl_frame->data[uml_plane] = utl_planes[uml_plane].data();
        adsl_frame->linesize[uml_plane] = inl_line;
    }
    std::vector<std::vector<uint8_t>> utl_packets;
    AVPacket dsl_packet{};
    for (size_t uml_picture = 0; utl_packets.size() < ump_count; ++uml_picture) {
        const dsd_flat_color dsl_color = flat_color(uml_picture);
        std::ranges::fill(utl_planes[0], dsl_color.utc_y);
        std::ranges::fill(utl_planes[1], dsl_color.utc_u);
        std::ranges::fill(utl_planes[2], dsl_color.utc_v);
        adsl_frame->pts = static_cast<int64_t>(uml_picture);
        g_avcodec.av_init_packet(&dsl_packet);
        dsl_packet.data = nullptr;
        dsl_packet.size = 0;
        int inl_got_packet = 0;
        const AVFrame *adsl_input = uml_picture < ump_count ? adsl_frame : nullptr; // afterwards what the encoder keeps
        if (encode(adsl_context, &dsl_packet, adsl_input, &inl_got_packet) < 0)
            throw std::runtime_error("the MPEG-2 encoder fails");
        if (inl_got_packet != 0)
            utl_packets.emplace_back(dsl_packet.data, dsl_packet.data + dsl_packet.size);
        g_avcodec.av_free_packet(&dsl_packet);
    }
    g_avcodec.avcodec_close(adsl_context);
    g_avutil.av_freep(&adsl_context);
    g_avutil.av_freep(&adsl_frame);
    return utl_packets;
}
