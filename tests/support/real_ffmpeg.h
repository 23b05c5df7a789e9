/** @file The real FFmpeg libraries for a test. */
#pragma once

#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

/** The directory that KIV_FFMPEG_DIR names, else that of the FFmpeg 2.8.1 that ./test has fetched. */
inline const char *ffmpeg_directory()
{
    const char *strl_directory = std::getenv("KIV_FFMPEG_DIR");
    return strl_directory != nullptr ? strl_directory : KIV_SOURCE_DIR "/../build/ffmpeg";
}

/** Opens FFmpeg through the library's loader, once per process. */
inline void load_ffmpeg()
{
    [[maybe_unused]] static const bool bl_once = [] {
        const char *strl_directory = ffmpeg_directory();
        // The libraries have no run path: what the others need is opened first, as Java does.
        for (const char *strl_file : {"/libavutil.so.54", "/libswresample.so.1"})
            if (dlopen((std::string(strl_directory) + strl_file).c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr)
                throw std::runtime_error(dlerror());
        c_ffmpeg::static_init();
        ffmpeg_loader::load(strl_directory);
        g_avcodec.avcodec_register_all();
        g_avformat.av_register_all();
        g_avutil.av_log_set_level(-8); // quiet
        return true;
    }();
}

/** A test for which FFmpeg is loaded. */
class real_ffmpeg : public testing::Test
{
protected:
    real_ffmpeg() { load_ffmpeg(); }
};

/** Calls a function that the library itself does not use. The arguments have exactly the types of its parameters. */
template <class RESULT, class... ARGUMENTS> RESULT ffmpeg_call(const char *strp_name, ARGUMENTS... dsp_arguments)
{
    void *avl_function = dlsym(RTLD_DEFAULT, strp_name);
    if (avl_function == nullptr)
        throw std::runtime_error(std::string("no function ") + strp_name);
    return reinterpret_cast<RESULT (*)(ARGUMENTS...)>(avl_function)(dsp_arguments...);
}
