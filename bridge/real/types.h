/**
 * @file
 * The structures of the newer FFmpeg, libavcodec 59 to 62, which works behind the bridge.
 *
 * Those that are the same in all majors are declared; their offsets are measured like the others, and layout.cpp
 * compares them. The others are known by name only, and layout.h tells where their fields lie.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi_containers.h"

#include <cstdint>

namespace bridge::real
{

struct context;        // AVCodecContext
struct frame;          // AVFrame
struct parameters;     // AVCodecParameters
struct stream;         // AVStream
struct format_context; // AVFormatContext
struct output_format;  // AVOutputFormat
struct scaler;         // SwsContext
struct resampler;      // SwrContext

/** The front of AVBufferRef, the same in all lines. */
struct dsd_buffer
{
    void *buffer;
    uint8_t *data;
};
inline dsd_buffer &fields_of(AVBufferRef *adsp_buffer) noexcept
{
    return *reinterpret_cast<dsd_buffer *>(adsp_buffer);
}

using plane_pointers = uint8_t *[8];
using plane_sizes = int[8];
using buffer_pointers = AVBufferRef *[8];
using get_buffer2_function = int (*)(context *, frame *, int);

/** AVChannelLayout */
struct channel_layout
{
    int order;
    int nb_channels;
    uint64_t mask;
    void *opaque;
};
inline constexpr int in_order_unspecified = 0;
inline constexpr int in_order_native = 1;

/** The front of AVFrameSideData */
struct frame_side_data
{
    int type;
    uint8_t *data;
    size_t size;
};

/** AVPacketSideData */
struct packet_side_data
{
    uint8_t *data;
    size_t size;
    int type;
};

/** AVPacket; always allocated by FFmpeg. */
struct packet
{
    AVBufferRef *buf;
    int64_t pts;
    int64_t dts;
    uint8_t *data;
    int size;
    int stream_index;
    int flags;
    packet_side_data *side_data;
    int side_data_elems;
    int64_t duration;
    int64_t pos;
};

/** The front of AVCodec. */
struct codec
{
    const char *name;
    const char *long_name;
    int type;
    int id;
    int capabilities;
    uint8_t utc_max_lowres;
    const AVRational *supported_framerates;
    const int *pix_fmts;
    const int *supported_samplerates;
    const AVSampleFormat *sample_fmts;
};

/** The front of AVCodecDescriptor. */
struct codec_descriptor
{
    int id;
    int type;
    const char *name;
    const char *long_name;
    int props;
};

/** AVChapter */
struct chapter
{
    int64_t id;
    AVRational time_base;
    int64_t start;
    int64_t end;
    AVDictionary *metadata;
};

using program = AVProgram; // the same as in the 56 line

/** The front of AVCodecParserContext. */
struct parser
{
    uint8_t utc_gap0[40];
    int pict_type;
    int repeat_pict;
    int64_t pts;
    int64_t dts;
    uint8_t utc_gap1[168];
    int key_frame;
};

/** The front of AVInputFormat. */
struct input_format
{
    const char *name;
    const char *long_name;
    int flags;
};

/** The front of AVIOContext. */
struct io_context
{
    const void *av_class;
    unsigned char *buffer;
    int buffer_size;
    unsigned char *buf_ptr;
    unsigned char *buf_end;
    void *opaque;
    void *read_packet;
    void *write_packet;
    void *seek;
    int64_t pos;
    int eof_reached;
    int error;
    uint8_t autc_gap0[56];
    int seekable;
};

/** A pixel format as callers know it: AVPixFmtDescriptor with all its fields. */
struct dsd_pixel_format
{
    const char *name;
    uint8_t nb_components;
    uint8_t log2_chroma_w;
    uint8_t log2_chroma_h;
    uint8_t flags;
    AVComponentDescriptor comp[4];
    const char *alias;
};
static_assert(sizeof(dsd_pixel_format) == sizeof(AVPixFmtDescriptor));
static_assert(offsetof(dsd_pixel_format, comp) == offsetof(AVPixFmtDescriptor, comp));

inline constexpr int in_frame_flag_key = 1 << 1;
inline constexpr int in_frame_flag_interlaced = 1 << 3;
inline constexpr int in_frame_flag_top_field_first = 1 << 4;
inline constexpr int in_search_children = 1; /**< AV_OPT_SEARCH_CHILDREN */

} // namespace bridge::real
