#include "support/real_ffmpeg.h"

#include "kivjniffmpeg/context/library_context.h"

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

void load_ffmpeg()
{
    [[maybe_unused]] static const bool bl_once = [] {
        const char *strl_directory = std::getenv("KIV_FFMPEG_DIR");
        if (strl_directory == nullptr)
            throw std::runtime_error("KIV_FFMPEG_DIR must name the directory with the five FFmpeg libraries");
        // The libraries have no run path: what the others need is opened first, as Java does.
        for (const char *strl_file : {"/libavutil.so.54", "/libswresample.so.1"})
            if (dlopen((std::string(strl_directory) + strl_file).c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr)
                throw std::runtime_error(dlerror());
        c_ffmpeg::static_init();
        ffmpeg_loader::load(strl_directory);
        g_avcodec.avcodec_register_all();
        g_avformat.av_register_all();
        constexpr int in_quiet = -8;
        g_avutil.av_log_set_level(in_quiet);
        return true;
    }();
}

void *ffmpeg_symbol(const char *strp_name)
{
    void *avl_symbol = dlsym(RTLD_DEFAULT, strp_name);
    return avl_symbol != nullptr ? avl_symbol : throw std::runtime_error(std::string("no function ") + strp_name);
}
