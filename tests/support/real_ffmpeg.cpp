#include "support/real_ffmpeg.h"

#include "kivjniffmpeg/context/library_context.h"

#include <dlfcn.h>

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
