/**
 * @file
 * The callbacks that FFmpeg calls to get and release the memory of every frame.
 *
 * FFmpeg calls them while it decodes, flushes or closes, on the thread of that call. They reach Java through the
 * environment registered for the thread. A context gets the _nothrow functions, which let no exception out.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/codec_context.h"

/**
 * Provides memory for the frame: Java's for a picture in the format that Java takes, otherwise native memory. Stores
 * the buffer in the frame's opaque, with one reference for the frame.
 *
 * @return 0; -1 when the picture cannot be laid out; -2 when the codec is neither video nor audio
 * @throws c_ffmpeg_exception and others when there is no memory; the frame has no buffer then
 */
int avcodec_custom_get_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic);

/**
 * Releases the frame's reference to its buffer and clears its planes.
 *
 * @throws std::runtime_error for a frame whose memory is not from these callbacks
 */
void avcodec_custom_release_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic);

/**
 * Keeps the picture's buffer, or provides one when there is none. FFmpeg 2.5 to 2.8 do not call it.
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

/**
 * Provides memory of the codec's stock. Unlike the others it is called on any thread, and never calls Java.
 *
 * @return 0 or an FFmpeg error
 */
int avcodec_stock_get_buffer2_nothrow(AVCodecContext *adsp_s, AVFrame *adsp_pic, int inp_flags);

/** The callbacks of every codec context. */
inline constexpr dsd_buffer_callbacks ds_buffer_callbacks{
    avcodec_custom_get_buffer_nothrow, avcodec_custom_release_buffer_nothrow, avcodec_custom_reget_buffer_nothrow};
