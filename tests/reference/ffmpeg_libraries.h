/**
 * @file
 * FFmpeg's functions for the reference program, looked up without the library's own loader: a mistake there must not
 * repeat itself here.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <string>

/** Everything that the reference program calls. All pointers are set once load() has returned. */
struct dsd_ffmpeg
{
    void (*av_register_all)(void);
    int (*avformat_open_input)(AVFormatContext **, const char *, AVInputFormat *, AVDictionary **);
    int (*avformat_find_stream_info)(AVFormatContext *, AVDictionary **);
    int (*av_read_frame)(AVFormatContext *, AVPacket *);
    void (*avformat_close_input)(AVFormatContext **);

    AVCodec *(*avcodec_find_decoder)(AVCodecID);
    AVCodecContext *(*avcodec_alloc_context3)(const AVCodec *);
    int (*avcodec_open2)(AVCodecContext *, const AVCodec *, AVDictionary **);
    int (*avcodec_close)(AVCodecContext *);
    int (*avcodec_decode_video2)(AVCodecContext *, AVFrame *, int *, const AVPacket *);
    int (*avcodec_decode_audio4)(AVCodecContext *, AVFrame *, int *, const AVPacket *);
    void (*av_init_packet)(AVPacket *);
    void (*av_free_packet)(AVPacket *);

    AVFrame *(*av_frame_alloc)(void);
    void (*av_frame_free)(AVFrame **);
    void *(*av_mallocz)(size_t);
    void (*av_freep)(void *);
    void (*av_log_set_level)(int);
    void (*av_md5_sum)(uint8_t *, const uint8_t *, int);
    int (*av_strerror)(int, char *, size_t);
    const char *(*av_get_sample_fmt_name)(AVSampleFormat);
    AVPixelFormat (*av_get_pix_fmt)(const char *);
    const char *(*av_get_pix_fmt_name)(AVPixelFormat);
    const AVPixFmtDescriptor *(*av_pix_fmt_desc_get)(AVPixelFormat);
    int (*av_image_fill_linesizes)(int *, AVPixelFormat, int);

    SwsContext *(*sws_getCachedContext)(SwsContext *, int, int, AVPixelFormat, int, int, AVPixelFormat, int,
                                        SwsFilter *, SwsFilter *, const double *);
    void (*sws_freeContext)(SwsContext *);
    int (*sws_scale)(SwsContext *, const uint8_t *const *, const int *, int, int, uint8_t *const *, const int *);

    /** Opens the libraries of a directory; they stay open. @throws std::runtime_error with the loader's reason */
    void load(const std::string &strp_directory);
};
