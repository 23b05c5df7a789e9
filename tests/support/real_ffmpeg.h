/** @file The real FFmpeg libraries for a test, and streams made with their encoders. */
#pragma once

#include "kivjniffmpeg/ffmpeg_loader.h"

#include <cstdint>
#include <string>
#include <vector>

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

/** The grey and the colour of a picture of encode_flat_pictures(). */
struct dsd_flat_color
{
    uint8_t utc_y, utc_u, utc_v;
};
dsd_flat_color flat_color(size_t ump_picture);

/** An MPEG-2 stream of single-coloured pictures, each a key frame: one packet a picture, decoded to exactly its colour. */
std::vector<std::vector<uint8_t>> encode_flat_pictures(int inp_width, int inp_height, size_t ump_count);
