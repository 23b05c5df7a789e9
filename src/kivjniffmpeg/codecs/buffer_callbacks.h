/**
 * @file
 * The callbacks through which FFmpeg gets the memory of every frame.
 *
 * FFmpeg calls them on the thread that decodes, flushes or closes, inside those calls; they find Java through the
 * environment registered for that thread. The _nothrow functions are what a context is given: nothing escapes them.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/codec_context.h"

/**
 * Provides memory for the frame: for a picture whose format is the chosen colour model's a Java array, otherwise native
 * memory. Stores the buffer in the frame's opaque, with one reference on the frame's behalf.
 *
 * @return 0; -1 when the picture cannot be laid out; -2 for a medium that is neither picture nor sound
 * @throws c_ffmpeg_exception and others when memory cannot be had; nothing is left behind then
 */
int avcodec_custom_get_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic);

/**
 * Drops the frame's reference to its buffer and clears the frame's planes.
 *
 * @throws std::runtime_error for a frame whose memory came from elsewhere
 */
void avcodec_custom_release_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic);

/**
 * FFmpeg never calls it since it counts references itself. A picture that still has its buffer keeps it, one without
 * gets one.
 *
 * @throws c_ffmpeg_exception for null arguments and for sound
 */
int avcodec_custom_reget_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic);

/** As avcodec_custom_get_buffer; an exception becomes an error line and -1. */
int avcodec_custom_get_buffer_nothrow(AVCodecContext *adsp_s, AVFrame *adsp_pic);
/** As avcodec_custom_release_buffer; an exception becomes an error line. */
void avcodec_custom_release_buffer_nothrow(AVCodecContext *adsp_s, AVFrame *adsp_pic);
/** As avcodec_custom_reget_buffer; an exception becomes an error line and -1. */
int avcodec_custom_reget_buffer_nothrow(AVCodecContext *adsp_s, AVFrame *adsp_pic);

/** What every codec context of the library is given. */
inline constexpr dsd_buffer_callbacks ds_buffer_callbacks{
    avcodec_custom_get_buffer_nothrow, avcodec_custom_release_buffer_nothrow, avcodec_custom_reget_buffer_nothrow};
