/** @file The real FFmpeg libraries for a test. */
#pragma once

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <string>

/** The directory that KIV_FFMPEG_DIR names. @throws std::runtime_error without one */
std::string ffmpeg_directory();

/** Opens FFmpeg through the library's loader and starts the library up, once per process. */
void load_ffmpeg();

/** A symbol of a loaded library that the library itself does not use. @throws std::runtime_error when there is none */
void *ffmpeg_symbol(void *avp_library, const char *strp_name);
template <class FUNCTION> FUNCTION *ffmpeg_function(void *avp_library, const char *strp_name)
{
    return reinterpret_cast<FUNCTION *>(ffmpeg_symbol(avp_library, strp_name));
}
