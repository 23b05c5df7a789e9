/**
 * @file
 * Every FFmpeg function that the library calls, each once: X(result, name, parameters).
 *
 * The functions of the five lists called SYMBOLS are resolved in this order, and the load fails if one is missing.
 * Those called EXTENSIONS are looked up afterwards; if one is missing, only the feature that needs it fails. Only the
 * bridge has functions that begin with kiv_bridge_.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi_containers.h"

#include <cstdarg>

// clang-format off
#define KIV_AVCODEC_SYMBOLS(X)                                                                                         \
    X(void, avcodec_register_all, (void))                                                                              \
    X(AVCodec *, avcodec_find_decoder, (AVCodecID))                                                                    \
    X(AVCodec *, avcodec_find_encoder, (AVCodecID))                                                                    \
    X(AVCodecContext *, avcodec_alloc_context3, (const AVCodec *))                                                     \
    X(int, avcodec_open2, (AVCodecContext *, const AVCodec *, AVDictionary **))                                        \
    X(int, avcodec_close, (AVCodecContext *))                                                                          \
    X(AVFrame *, avcodec_alloc_frame, (void))                                                                          \
    X(void, avcodec_get_frame_defaults, (AVFrame *))                                                                   \
    X(void, av_free_packet, (AVPacket *))                                                                              \
    X(void, av_init_packet, (AVPacket *))                                                                              \
    X(int, avcodec_decode_audio4, (AVCodecContext *, AVFrame *, int *, const AVPacket *))                              \
    X(int, avcodec_encode_audio2, (AVCodecContext *, AVPacket *, const AVFrame *, int *))                              \
    X(int, avcodec_decode_video2, (AVCodecContext *, AVFrame *, int *, const AVPacket *))                              \
    X(void, avcodec_flush_buffers, (AVCodecContext *))                                                                 \
    X(int, avpicture_get_size, (AVPixelFormat, int, int))                                                              \
    X(unsigned int, avcodec_pix_fmt_to_codec_tag, (AVPixelFormat))                                                     \
    X(void, avcodec_get_chroma_sub_sample, (AVPixelFormat, int *, int *))                                              \
    X(void, avcodec_align_dimensions2, (AVCodecContext *, int *, int *, int *))                                        \
    X(int, avcodec_fill_audio_frame, (AVFrame *, int, AVSampleFormat, const uint8_t *, int, int))

#define KIV_AVFORMAT_SYMBOLS(X)                                                                                        \
    X(void, av_register_all, (void))                                                                                   \
    X(AVFormatContext *, avformat_alloc_context, (void))                                                               \
    X(void, avformat_free_context, (AVFormatContext *))

#define KIV_SWRESAMPLE_SYMBOLS(X)                                                                                      \
    X(SwrContext *, swr_alloc, (void))                                                                                 \
    X(void, swr_free, (SwrContext **))                                                                                 \
    X(int, swr_init, (SwrContext *))                                                                                   \
    X(int64_t, swr_get_delay, (SwrContext *, int64_t))                                                                 \
    X(int, swr_convert, (SwrContext *, uint8_t **, int, const uint8_t **, int))

// av_pix_fmt_descriptors, the last symbol of this library, is data and is declared in c_avutil_table itself.
#define KIV_AVUTIL_SYMBOLS(X)                                                                                          \
    X(int, av_get_bytes_per_sample, (AVSampleFormat))                                                                  \
    X(int, av_sample_fmt_is_planar, (AVSampleFormat))                                                                  \
    X(void *, av_malloc, (size_t))                                                                                     \
    X(void, av_freep, (void *))                                                                                        \
    X(int64_t, av_rescale_rnd, (int64_t, int64_t, int64_t, AVRounding))                                                \
    X(const AVPixFmtDescriptor *, av_pix_fmt_desc_get, (AVPixelFormat))                                                \
    X(void, av_log_set_level, (int))                                                                                   \
    X(const char *, av_get_pix_fmt_name, (AVPixelFormat))                                                              \
    X(int, av_get_bits_per_pixel, (const AVPixFmtDescriptor *))                                                        \
    X(int, av_image_fill_linesizes, (int *, AVPixelFormat, int))                                                       \
    X(int, av_image_fill_pointers, (uint8_t **, AVPixelFormat, int, uint8_t *, const int *))                           \
    X(int, av_samples_get_buffer_size, (int *, int, int, AVSampleFormat, int))                                         \
    X(int, av_opt_set_int, (void *, const char *, int64_t, int))                                                       \
    X(int, av_opt_set_sample_fmt, (void *, const char *, AVSampleFormat, int))

#define KIV_SWSCALE_SYMBOLS(X)                                                                                         \
    X(SwsContext *, sws_getCachedContext, (SwsContext *, int, int, AVPixelFormat, int, int, AVPixelFormat, int,        \
                                           SwsFilter *, SwsFilter *, const double *))                                  \
    X(void, sws_freeContext, (SwsContext *))                                                                           \
    X(int, sws_init_context, (SwsContext *, SwsFilter *, SwsFilter *))                                                 \
    X(int, sws_scale, (SwsContext *, const uint8_t *const *, const int *, int, int, uint8_t *const *, const int *))

#define KIV_AVCODEC_EXTENSIONS(X)                                                                                      \
    X(const char *, avcodec_get_name, (AVCodecID))                                                                     \
    X(const AVCodecDescriptor *, avcodec_descriptor_get, (AVCodecID))                                                  \
    X(const char *, av_get_profile_name, (const AVCodec *, int))                                                       \
    X(int, av_get_bits_per_sample, (AVCodecID))                                                                        \
    X(AVCodec *, av_codec_next, (const AVCodec *))                                                                     \
    X(AVCodecParser *, av_parser_next, (const AVCodecParser *))                                                        \
    X(AVCodecParserContext *, av_parser_init, (int))                                                                   \
    X(int, av_parser_parse2, (AVCodecParserContext *, AVCodecContext *, uint8_t **, int *, const uint8_t *, int,       \
                              int64_t, int64_t, int64_t))                                                              \
    X(void, av_parser_close, (AVCodecParserContext *))                                                                 \
    X(uint8_t *, av_packet_new_side_data, (AVPacket *, int, int))

#define KIV_AVFORMAT_EXTENSIONS(X)                                                                                     \
    X(AVIOContext *, avio_alloc_context, (unsigned char *, int, int, void *, int (*)(void *, uint8_t *, int),          \
                                          int (*)(void *, uint8_t *, int), int64_t (*)(void *, int64_t, int)))         \
    X(int, av_probe_input_buffer2, (AVIOContext *, AVInputFormat **, const char *, void *, unsigned int,               \
                                    unsigned int))                                                                     \
    X(int, avformat_open_input, (AVFormatContext **, const char *, AVInputFormat *, AVDictionary **))                  \
    X(AVInputFormat *, av_find_input_format, (const char *))                                                           \
    X(int, avformat_find_stream_info, (AVFormatContext *, AVDictionary **))                                            \
    X(int, av_read_frame, (AVFormatContext *, AVPacket *))                                                             \
    X(int, av_seek_frame, (AVFormatContext *, int, int64_t, int))                                                      \
    X(uint8_t *, av_stream_get_side_data, (AVStream *, int, int *))                                                    \
    X(AVRational, av_stream_get_r_frame_rate, (const AVStream *))                                                      \
    X(void, avformat_close_input, (AVFormatContext **))                                                                \
    X(int, avformat_alloc_output_context2, (AVFormatContext **, AVOutputFormat *, const char *, const char *))         \
    X(AVStream *, avformat_new_stream, (AVFormatContext *, const AVCodec *))                                           \
    X(int, avformat_write_header, (AVFormatContext *, AVDictionary **))                                                \
    X(int, av_interleaved_write_frame, (AVFormatContext *, AVPacket *))                                                \
    X(int, av_write_trailer, (AVFormatContext *))                                                                      \
    X(int64_t, kiv_bridge_chapter_id, (const AVChapter *))

#define KIV_AVUTIL_EXTENSIONS(X)                                                                                       \
    X(void, av_frame_unref, (AVFrame *))                                                                               \
    X(int, av_buffer_get_ref_count, (const AVBufferRef *))                                                             \
    X(AVBufferRef *, av_buffer_create, (uint8_t *, int, void (*)(void *, uint8_t *), void *, int))                     \
    X(void, av_image_copy, (uint8_t *const *, const int *, const uint8_t *const *, const int *, AVPixelFormat, int,    \
                            int))                                                                                      \
    X(AVDictionaryEntry *, av_dict_get, (const AVDictionary *, const char *, const AVDictionaryEntry *, int))          \
    X(const char *, av_get_sample_fmt_name, (AVSampleFormat))                                                          \
    X(void, av_get_channel_layout_string, (char *, int, int, uint64_t))                                                \
    X(const char *, av_color_range_name, (int))                                                                        \
    X(const char *, av_color_space_name, (int))                                                                        \
    X(const char *, av_color_transfer_name, (int))                                                                     \
    X(const char *, av_color_primaries_name, (int))                                                                    \
    X(const char *, av_chroma_location_name, (int))                                                                    \
    X(int, av_strerror, (int, char *, size_t))                                                                         \
    X(int, av_opt_set, (void *, const char *, const char *, int))                                                      \
    X(void, av_max_alloc, (size_t))                                                                                    \
    X(void, av_log_set_callback, (void (*)(void *, int, const char *, va_list)))                                       \
    X(void, av_log_default_callback, (void *, int, const char *, va_list))                                             \
    X(const char *, av_version_info, (void))                                                                           \
    X(const char *, avutil_license, (void))                                                                            \
    X(const char *, kiv_bridge_description, (void))                                                                    \
    X(const char *, kiv_bridge_error, (void))

#define KIV_SWSCALE_EXTENSIONS(X)                                                                                      \
    X(const int *, sws_getCoefficients, (int))                                                                         \
    X(int, sws_getColorspaceDetails, (SwsContext *, int **, int *, int **, int *, int *, int *, int *))                \
    X(int, sws_setColorspaceDetails, (SwsContext *, const int *, int, const int *, int, int, int, int))
// clang-format on
