/**
 * @file
 * Opens FFmpeg's five libraries and keeps a table of functions for each. All calls of FFmpeg go through the tables.
 *
 * The tables are plain records in static storage, all null at first. ffmpeg_loader::load fills them once per process
 * with the library mutex held; afterwards they are only read, on any thread, without a lock. The libraries stay open
 * until the process ends.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/symbols.h"

#define KIV_DECLARE_FUNCTION(result, name, parameters) result(*name) parameters;

/** libavcodec.so.56 */
struct c_avcodec_table
{
    void *avc_handle;
    KIV_AVCODEC_SYMBOLS(KIV_DECLARE_FUNCTION)
    KIV_AVCODEC_EXTENSIONS(KIV_DECLARE_FUNCTION) // each may be null
};

/** libavformat.so.56 */
struct c_avformat_table
{
    void *avc_handle;
    KIV_AVFORMAT_SYMBOLS(KIV_DECLARE_FUNCTION)
    KIV_AVFORMAT_EXTENSIONS(KIV_DECLARE_FUNCTION) // each may be null
};

/** libswresample.so.1 */
struct c_swresample_table
{
    void *avc_handle;
    KIV_SWRESAMPLE_SYMBOLS(KIV_DECLARE_FUNCTION)
};

/** libavutil.so.54 */
struct c_avutil_table
{
    void *avc_handle;
    KIV_AVUTIL_SYMBOLS(KIV_DECLARE_FUNCTION)
    const AVPixFmtDescriptor *av_pix_fmt_descriptors;
    KIV_AVUTIL_EXTENSIONS(KIV_DECLARE_FUNCTION) // each may be null
};

/** libswscale.so.3 */
struct c_swscale_table
{
    void *avc_handle;
    KIV_SWSCALE_SYMBOLS(KIV_DECLARE_FUNCTION)
    KIV_SWSCALE_EXTENSIONS(KIV_DECLARE_FUNCTION) // each may be null
};

#undef KIV_DECLARE_FUNCTION

extern c_avcodec_table g_avcodec;
extern c_avformat_table g_avformat;
extern c_swresample_table g_swresample;
extern c_avutil_table g_avutil;
extern c_swscale_table g_swscale;

namespace ffmpeg_loader
{

/**
 * Opens the libraries and resolves their functions. Does nothing when that has succeeded before.
 *
 * A library is tried once per process. If it cannot be opened or lacks a function, every later call fails too, whatever
 * directory it names, and without a further message.
 *
 * @param strp_dir directory of the five files (UTF-8), or null for the dynamic linker's search. The joined path is cut
 *                 to 4095 bytes.
 * @throws kiv::jni::c_jniexception "failed to initialize ffmpeg", after one line about the cause on standard error
 * @pre the library mutex is held
 */
void load(const char *strp_dir);

} // namespace ffmpeg_loader
