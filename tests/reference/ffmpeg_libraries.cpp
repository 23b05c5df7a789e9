#include "ffmpeg_libraries.h"

#include <dlfcn.h>

#include <stdexcept>

namespace
{

void *open_library(const std::string &strp_directory, const char *strp_file)
{
    void *avl_handle = dlopen((strp_directory + "/" + strp_file).c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (avl_handle == nullptr)
        throw std::runtime_error(dlerror());
    return avl_handle;
}

template <class T> void look_up(T *&dsp_function, void *avp_library, const char *strp_name)
{
    dsp_function = reinterpret_cast<T *>(dlsym(avp_library, strp_name));
    if (dsp_function == nullptr)
        throw std::runtime_error(std::string("no function ") + strp_name);
}

} // namespace

void dsd_ffmpeg::load(const std::string &strp_directory)
{
    // In the order of their needs: the libraries have no run path and find each other as already opened.
    void *avl_avutil = open_library(strp_directory, "libavutil.so.54");
    open_library(strp_directory, "libswresample.so.1");
    void *avl_avcodec = open_library(strp_directory, "libavcodec.so.56");
    void *avl_avformat = open_library(strp_directory, "libavformat.so.56");
    void *avl_swscale = open_library(strp_directory, "libswscale.so.3");

#define LOOK_UP(library, name) look_up(name, avl_##library, #name)
    LOOK_UP(avformat, av_register_all);
    LOOK_UP(avformat, avformat_open_input);
    LOOK_UP(avformat, avformat_find_stream_info);
    LOOK_UP(avformat, av_read_frame);
    LOOK_UP(avformat, avformat_close_input);
    LOOK_UP(avcodec, avcodec_find_decoder);
    LOOK_UP(avcodec, avcodec_alloc_context3);
    LOOK_UP(avcodec, avcodec_open2);
    LOOK_UP(avcodec, avcodec_close);
    LOOK_UP(avcodec, avcodec_decode_video2);
    LOOK_UP(avcodec, avcodec_decode_audio4);
    LOOK_UP(avcodec, av_init_packet);
    LOOK_UP(avcodec, av_free_packet);
    LOOK_UP(avutil, av_frame_alloc);
    LOOK_UP(avutil, av_frame_free);
    LOOK_UP(avutil, av_mallocz);
    LOOK_UP(avutil, av_freep);
    LOOK_UP(avutil, av_log_set_level);
    LOOK_UP(avutil, av_md5_sum);
    LOOK_UP(avutil, av_strerror);
    LOOK_UP(avutil, av_get_sample_fmt_name);
    LOOK_UP(avutil, av_get_pix_fmt);
    LOOK_UP(avutil, av_get_pix_fmt_name);
    LOOK_UP(avutil, av_pix_fmt_desc_get);
    LOOK_UP(avutil, av_image_fill_linesizes);
    LOOK_UP(swscale, sws_getCachedContext);
    LOOK_UP(swscale, sws_freeContext);
    LOOK_UP(swscale, sws_scale);
#undef LOOK_UP
}
