/**
 * @file
 * Every function of the newer FFmpeg that the bridge calls, each once: X(result, name, parameters). All majors have all
 * of them.
 */
#pragma once

#include "bridge/real/types.h"

#include <cstdarg>

struct AVCodecTag; // a table of FFmpeg's, for its own functions only

// clang-format off
#define BRIDGE_AVUTIL_FUNCTIONS(X)                                                                                     \
    X(unsigned int, avutil_version, (void))                                                                            \
    X(const char *, av_version_info, (void))                                                                           \
    X(const char *, avutil_configuration, (void))                                                                      \
    X(const char *, avutil_license, (void))                                                                            \
    X(void *, av_malloc, (size_t))                                                                                     \
    X(void, av_max_alloc, (size_t))                                                                                    \
    X(void *, av_mallocz, (size_t))                                                                                    \
    X(void, av_freep, (void *))                                                                                        \
    X(void, av_log_set_level, (int))                                                                                   \
    X(void, av_log_set_callback, (void (*)(void *, int, const char *, va_list)))                                       \
    X(void, av_log_default_callback, (void *, int, const char *, va_list))                                             \
    X(int, av_strerror, (int, char *, size_t))                                                                         \
    X(int64_t, av_rescale_rnd, (int64_t, int64_t, int64_t, AVRounding))                                                \
    X(void, av_md5_sum, (uint8_t *, const uint8_t *, size_t))                                                          \
    X(frame *, av_frame_alloc, (void))                                                                                 \
    X(void, av_frame_free, (frame **))                                                                                 \
    X(void, av_frame_unref, (frame *))                                                                                 \
    X(int, av_frame_get_buffer, (frame *, int))                                                                        \
    X(int, av_frame_copy, (frame *, const frame *))                                                                    \
    X(int, av_frame_copy_props, (frame *, const frame *))                                                              \
    X(AVBufferRef *, av_buffer_create, (uint8_t *, size_t, void (*)(void *, uint8_t *), void *, int))                  \
    X(AVBufferRef *, av_buffer_alloc, (size_t))                                                                        \
    X(AVBufferRef *, av_buffer_ref, (const AVBufferRef *))                                                             \
    X(void, av_buffer_unref, (AVBufferRef **))                                                                         \
    X(void *, av_buffer_get_opaque, (const AVBufferRef *))                                                             \
    X(int, av_buffer_get_ref_count, (const AVBufferRef *))                                                             \
    X(int, av_image_fill_linesizes, (int *, int, int))                                                                 \
    X(int, av_image_fill_pointers, (uint8_t **, int, int, uint8_t *, const int *))                                     \
    X(int, av_image_get_buffer_size, (int, int, int, int))                                                             \
    X(void, av_image_copy, (uint8_t **, const int *, const uint8_t **, const int *, int, int, int))                    \
    X(int, av_samples_get_buffer_size, (int *, int, int, AVSampleFormat, int))                                         \
    X(int, av_samples_fill_arrays, (uint8_t **, int *, const uint8_t *, int, int, AVSampleFormat, int))                \
    X(int, av_get_bytes_per_sample, (AVSampleFormat))                                                                  \
    X(int, av_sample_fmt_is_planar, (AVSampleFormat))                                                                  \
    X(const char *, av_get_sample_fmt_name, (AVSampleFormat))                                                          \
    X(int, av_get_pix_fmt, (const char *))                                                                             \
    X(const char *, av_get_pix_fmt_name, (int))                                                                        \
    X(int, av_opt_set, (void *, const char *, const char *, int))                                                      \
    X(int, av_opt_set_int, (void *, const char *, int64_t, int))                                                       \
    X(int, av_opt_set_sample_fmt, (void *, const char *, AVSampleFormat, int))                                         \
    X(int, av_opt_set_chlayout, (void *, const char *, const channel_layout *, int))                                   \
    X(int, av_dict_set, (AVDictionary **, const char *, const char *, int))                                            \
    X(AVDictionaryEntry *, av_dict_get, (const AVDictionary *, const char *, const AVDictionaryEntry *, int))          \
    X(const char *, av_color_range_name, (int))                                                                        \
    X(const char *, av_color_space_name, (int))                                                                        \
    X(const char *, av_color_transfer_name, (int))                                                                     \
    X(const char *, av_color_primaries_name, (int))                                                                    \
    X(const char *, av_chroma_location_name, (int))                                                                    \
    X(int, av_dict_copy, (AVDictionary **, const AVDictionary *, int))                                                 \
    X(void, av_dict_free, (AVDictionary **))                                                                           \
    X(int, av_channel_layout_from_mask, (channel_layout *, uint64_t))                                                  \
    X(void, av_channel_layout_default, (channel_layout *, int))                                                        \
    X(void, av_channel_layout_uninit, (channel_layout *))                                                              \
    X(int, av_channel_layout_copy, (channel_layout *, const channel_layout *))                                         \
    X(int, av_channel_layout_describe, (const channel_layout *, char *, size_t))

#define BRIDGE_AVCODEC_FUNCTIONS(X)                                                                                    \
    X(unsigned int, avcodec_version, (void))                                                                           \
    X(const codec *, av_codec_iterate, (void **))                                                                      \
    X(int, av_codec_is_decoder, (const codec *))                                                                       \
    X(const codec *, avcodec_find_decoder, (int))                                                                      \
    X(const codec *, avcodec_find_decoder_by_name, (const char *))                                                     \
    X(const codec *, avcodec_find_encoder, (int))                                                                      \
    X(int, av_get_bits_per_sample, (int))                                                                              \
    X(const char *, avcodec_profile_name, (int, int))                                                                  \
    X(const codec_descriptor *, avcodec_descriptor_get, (int))                                                         \
    X(const codec_descriptor *, avcodec_descriptor_get_by_name, (const char *))                                        \
    X(context *, avcodec_alloc_context3, (const codec *))                                                              \
    X(void, avcodec_free_context, (context **))                                                                        \
    X(int, avcodec_open2, (context *, const codec *, AVDictionary **))                                                 \
    X(int, avcodec_send_packet, (context *, const packet *))                                                           \
    X(int, avcodec_receive_frame, (context *, frame *))                                                                \
    X(int, avcodec_send_frame, (context *, const frame *))                                                             \
    X(int, avcodec_receive_packet, (context *, packet *))                                                              \
    X(void, avcodec_flush_buffers, (context *))                                                                        \
    X(void, avcodec_align_dimensions2, (context *, int *, int *, int *))                                               \
    X(int, avcodec_default_get_buffer2, (context *, frame *, int))                                                     \
    X(unsigned int, avcodec_pix_fmt_to_codec_tag, (int))                                                               \
    X(int, avcodec_parameters_to_context, (context *, const parameters *))                                             \
    X(int, avcodec_parameters_from_context, (parameters *, const context *))                                           \
    X(packet *, av_packet_alloc, (void))                                                                               \
    X(void, av_packet_free, (packet **))                                                                               \
    X(void, av_packet_unref, (packet *))                                                                               \
    X(int, av_new_packet, (packet *, int))                                                                             \
    X(uint8_t *, av_packet_new_side_data, (packet *, int, size_t))                                                     \
    X(const char *, av_packet_side_data_name, (int))                                                                   \
    X(parser *, av_parser_init, (int))                                                                                 \
    X(int, av_parser_parse2, (parser *, context *, uint8_t **, int *, const uint8_t *, int, int64_t, int64_t,          \
                              int64_t))                                                                                \
    X(void, av_parser_close, (parser *))

#define BRIDGE_AVFORMAT_FUNCTIONS(X)                                                                                   \
    X(unsigned int, avformat_version, (void))                                                                          \
    X(const input_format *, av_find_input_format, (const char *))                                                      \
    X(const AVCodecTag *, avformat_get_riff_audio_tags, (void))                                                        \
    X(const AVCodecTag *, avformat_get_riff_video_tags, (void))                                                        \
    X(int, av_codec_get_id, (const AVCodecTag *const *, unsigned int))                                                 \
    X(format_context *, avformat_alloc_context, (void))                                                                \
    X(void, avformat_free_context, (format_context *))                                                                 \
    X(io_context *, avio_alloc_context, (unsigned char *, int, int, void *, int (*)(void *, uint8_t *, int),           \
                                         int (*)(void *, uint8_t *, int), int64_t (*)(void *, int64_t, int)))          \
    X(void, avio_context_free, (io_context **))                                                                        \
    X(int, av_probe_input_buffer2, (io_context *, const input_format **, const char *, void *, unsigned int,           \
                                    unsigned int))                                                                     \
    X(int, avformat_open_input, (format_context **, const char *, const input_format *, AVDictionary **))              \
    X(int, avformat_find_stream_info, (format_context *, AVDictionary **))                                             \
    X(int, av_read_frame, (format_context *, packet *))                                                                \
    X(int, av_seek_frame, (format_context *, int, int64_t, int))                                                       \
    X(int, avformat_index_get_entries_count, (const stream *))                                                         \
    X(int, avformat_alloc_output_context2, (format_context **, const output_format *, const char *, const char *))     \
    X(stream *, avformat_new_stream, (format_context *, const codec *))                                                \
    X(int, avformat_write_header, (format_context *, AVDictionary **))                                                 \
    X(int, av_interleaved_write_frame, (format_context *, packet *))                                                   \
    X(int, av_write_trailer, (format_context *))                                                                       \
    X(void, avformat_close_input, (format_context **))

#define BRIDGE_SWRESAMPLE_FUNCTIONS(X)                                                                                 \
    X(unsigned int, swresample_version, (void))                                                                        \
    X(resampler *, swr_alloc, (void))                                                                                  \
    X(void, swr_free, (resampler **))                                                                                  \
    X(int, swr_init, (resampler *))                                                                                    \
    X(int64_t, swr_get_delay, (resampler *, int64_t))                                                                  \
    X(int, swr_convert, (resampler *, uint8_t **, int, const uint8_t **, int))

#define BRIDGE_SWSCALE_FUNCTIONS(X)                                                                                    \
    X(unsigned int, swscale_version, (void))                                                                           \
    X(scaler *, sws_getCachedContext, (scaler *, int, int, int, int, int, int, int, SwsFilter *, SwsFilter *,          \
                                       const double *))                                                                \
    X(void, sws_freeContext, (scaler *))                                                                               \
    X(int, sws_scale, (scaler *, const uint8_t *const *, const int *, int, int, uint8_t *const *, const int *))        \
    X(const int *, sws_getCoefficients, (int))                                                                         \
    X(int, sws_getColorspaceDetails, (scaler *, int **, int *, int **, int *, int *, int *, int *))                    \
    X(int, sws_setColorspaceDetails, (scaler *, const int *, int, const int *, int, int, int, int))
// clang-format on
