/**
 * @file
 * What the library knows of FFmpeg's structures for codecs, pictures and sound. Containers are in abi_containers.h and
 * constants in abi_constants.h; nothing else of FFmpeg is known.
 *
 * FFmpeg is opened at run time, and the build does not need its headers. So this file declares what the library uses of
 * libavcodec 56, libavformat 56, libavutil 54, libswresample 1 and libswscale 3 on x86-64. A structure has the fields
 * that are used, with gaps in between. The offsets hold for FFmpeg 2.5 to 2.8; the assertions below pin them, and the
 * tests compare them with the option tables of the loaded libraries.
 *
 * The names are FFmpeg's own.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi_constants.h"

#include <cstddef>
#include <cstdint>

// Used through pointers only.
struct AVBufferRef;
struct AVDictionary;
struct AVPacketSideData;
struct SwrContext;
struct SwsContext;
struct SwsFilter;

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVOption;

/** A fraction; a rate or a time base. */
struct AVRational
{
    int num;
    int den;
};

/** FFmpeg's description of the options of an object. */
struct AVClass
{
    const char *class_name;
    uint8_t autc_gap0[8];
    const AVOption *option;
    uint8_t autc_tail[56];
};

/** One option and the offset of its value in the object. The tests check the offsets of this header against it. */
struct AVOption
{
    const char *name;
    uint8_t autc_gap0[8];
    int offset;
    uint8_t autc_tail[44];
};

/** The front of the data that accompanies a frame; owned by the frame. */
struct AVFrameSideData
{
    int type;
    uint8_t *data;
    int size;
};

/** One decoded picture or block of samples. Allocated by FFmpeg. */
struct AVFrame
{
    uint8_t *data[8];
    int linesize[8];
    uint8_t **extended_data;
    int width;
    int height;
    int nb_samples;
    int format;
    int key_frame;
    int pict_type;
    uint8_t *base[8];
    AVRational sample_aspect_ratio;
    int64_t pts;
    int64_t pkt_pts;
    int64_t pkt_dts;
    uint8_t autc_gap1[12];
    int reference;
    uint8_t autc_gap2[72];
    void *opaque;
    uint8_t autc_gap3[64];
    int type;
    uint8_t autc_gap4[4];
    int interlaced_frame;
    int top_field_first;
    uint8_t autc_gap5[16];
    int64_t reordered_opaque;
    uint8_t autc_gap6[28];
    int sample_rate;
    uint64_t channel_layout;
    AVBufferRef *buf[8];
    AVBufferRef **extended_buf;
    int nb_extended_buf;
    AVFrameSideData **side_data;
    int nb_side_data;
    int flags;
    int color_range;
    int color_primaries;
    int color_trc;
    int colorspace;
    uint8_t autc_gap9[44];
    int channels;
    uint8_t autc_tail[16];
};

/** Data that accompanies a packet's bytes. */
struct AVPacketSideData
{
    uint8_t *data;
    int size;
    int type;
};

/** One compressed packet. The library allocates it with av_malloc, so the size is pinned too. */
struct AVPacket
{
    AVBufferRef *buf;
    int64_t pts;
    int64_t dts;
    uint8_t *data;
    int size;
    int stream_index;
    int flags;
    AVPacketSideData *side_data;
    int side_data_elems;
    int duration;
    uint8_t autc_gap0[16];
    int64_t pos;
    uint8_t autc_tail[8];
};

/** One registered decoder or encoder; owned by FFmpeg, never freed. */
struct AVCodec
{
    const char *name;
    const char *long_name;
    AVMediaType type;
    AVCodecID id;
    int capabilities;
    uint8_t autc_gap0[28];
    const AVSampleFormat *sample_fmts;
};

/** The state of one decoder or encoder. Front part only: the rest differs between releases. FFmpeg allocates it. */
struct AVCodecContext
{
    const AVClass *av_class;
    uint8_t autc_gap0[4];
    AVMediaType codec_type;
    const AVCodec *codec;
    uint8_t autc_gap1[32];
    AVCodecID codec_id;
    uint32_t codec_tag;
    uint8_t autc_gap2[24];
    void *opaque;
    int bit_rate;
    uint8_t autc_gap3[12];
    int flags;
    int flags2;
    uint8_t *extradata;
    int extradata_size;
    AVRational time_base;
    uint8_t autc_gap4[4];
    int delay;
    int width;
    int height;
    int coded_width;
    int coded_height;
    uint8_t autc_gap5[4];
    AVPixelFormat pix_fmt;
    uint8_t autc_gap6[40];
    int has_b_frames; /**< pictures that wait for others in a decoder */
    uint8_t autc_gap18[48];
    AVRational sample_aspect_ratio;
    uint8_t autc_gap7[144];
    int refs;
    uint8_t autc_gap19[16];
    int color_primaries;
    int color_trc;
    int colorspace;
    int color_range;
    int chroma_sample_location;
    uint8_t autc_gap17[4];
    int field_order;
    int sample_rate;
    int channels;
    AVSampleFormat sample_fmt;
    int frame_size;
    uint8_t autc_gap8[4];
    int block_align;
    uint8_t autc_gap9[8];
    uint64_t channel_layout;
    uint64_t request_channel_layout;
    uint8_t autc_gap10[4];
    AVSampleFormat request_sample_fmt;
    int (*get_buffer)(AVCodecContext *, AVFrame *);
    void (*release_buffer)(AVCodecContext *, AVFrame *);
    int (*reget_buffer)(AVCodecContext *, AVFrame *);
    int (*get_buffer2)(AVCodecContext *, AVFrame *, int);
    int refcounted_frames;
    uint8_t autc_gap11[208];
    int strict_std_compliance;
    uint8_t autc_gap12[12];
    int err_recognition;
    int64_t reordered_opaque;
    uint8_t autc_gap13[88];
    int bits_per_coded_sample;
    int bits_per_raw_sample;
    uint8_t autc_gap14[16];
    int thread_count;
    int thread_type;
    int active_thread_type;
    int thread_safe_callbacks;
    uint8_t autc_gap15[28];
    int profile;
    int level;
    uint8_t autc_gap20[48];
    int initial_padding;
};

/** What is known of a codec without a decoder for it; front part only. */
struct AVCodecDescriptor
{
    AVCodecID id;
    AVMediaType type;
    const char *name;
    const char *long_name;
};

/** One tag. Both texts end with a zero, and are UTF-8 unless the file lies. */
struct AVDictionaryEntry
{
    char *key;
    char *value;
};

/** The screen that a film was made on; side data of newer FFmpegs' streams. */
struct AVMasteringDisplayMetadata
{
    AVRational display_primaries[3][2];
    AVRational white_point[2];
    AVRational min_luminance;
    AVRational max_luminance;
    int has_primaries;
    int has_luminance;
};

/** How bright a film's pictures become; side data of newer FFmpegs' streams. */
struct AVContentLightMetadata
{
    unsigned int MaxCLL;
    unsigned int MaxFALL;
};

/** The buffer that a stream was coded for; side data of newer FFmpegs' streams. */
struct AVCPBProperties
{
    int64_t max_bitrate;
    int64_t min_bitrate;
    int64_t avg_bitrate;
    int64_t buffer_size; /**< in bits */
    uint64_t vbv_delay;  /**< in periods of 27 MHz; all ones when unknown */
};

/** By how much players change the volume. */
struct AVReplayGain
{
    int32_t track_gain;  /**< in hundred-thousandths of a decibel; INT32_MIN when unknown */
    uint32_t track_peak; /**< of 100,000; 0 when unknown */
    int32_t album_gain;
    uint32_t album_peak;
};

/** How a picture holds those of two eyes: what all FFmpegs have of it, and what FFmpeg 7.1 and newer have besides. */
struct AVStereo3D
{
    int type;
    int flags;
};
struct AVStereo3DOf71
{
    AVStereo3D dsc_common;
    int view;
    int primary_eye;
    uint32_t baseline; /**< between the eyes, in micrometres */
    AVRational horizontal_disparity_adjustment;
    AVRational horizontal_field_of_view;
};

/** How a picture lies on a sphere; side data of newer FFmpegs' streams. Angles are in 65,536ths of a degree. */
struct AVSphericalMapping
{
    int projection;
    int32_t yaw;
    int32_t pitch;
    int32_t roll;
    uint32_t bound_left;
    uint32_t bound_top;
    uint32_t bound_right;
    uint32_t bound_bottom;
    uint32_t padding;
};

/** Where one component of a pixel format lies. Bit fields, the first one in the low bits. */
struct AVComponentDescriptor
{
    uint16_t plane : 2;
    uint16_t step_minus1 : 3; /**< bytes from one pixel to the next, less one */
    uint16_t offset_plus1 : 3;
    uint16_t shift : 3;
    uint16_t depth_minus1 : 4;
};

/** One pixel format; an element of the table av_pix_fmt_descriptors, so the size is pinned too. */
struct AVPixFmtDescriptor
{
    const char *name;
    uint8_t nb_components;
    uint8_t log2_chroma_w;
    uint8_t log2_chroma_h;
    uint8_t flags;
    AVComponentDescriptor comp[4];
    uint8_t autc_tail[12];
};

/** One registered parser of coded bytes; front part only. */
struct AVCodecParser
{
    AVCodecID codec_ids[5]; /**< the codecs that it parses; AV_CODEC_ID_NONE for an element that is not used */
};

/** The state of one parser; front part only, FFmpeg allocates it. */
struct AVCodecParserContext
{
    uint8_t autc_gap0[40];
    int pict_type;
    uint8_t autc_gap1[4];
    int64_t pts;
    int64_t dts;
    uint8_t autc_gap2[168];
    int key_frame; /**< 1 or 0; -1 when the parser does not know */
};

// The layout of the binaries. A gap of a wrong size above does not compile.
static_assert(offsetof(AVRational, num) == 0);
static_assert(offsetof(AVRational, den) == 4);
static_assert(sizeof(AVRational) == 8);
static_assert(offsetof(AVClass, class_name) == 0);
static_assert(offsetof(AVClass, option) == 16);
static_assert(sizeof(AVClass) == 80);
static_assert(offsetof(AVOption, name) == 0);
static_assert(offsetof(AVOption, offset) == 16);
static_assert(sizeof(AVOption) == 64);
static_assert(offsetof(AVFrame, data) == 0);
static_assert(offsetof(AVFrame, linesize) == 64);
static_assert(offsetof(AVFrame, extended_data) == 96);
static_assert(offsetof(AVFrame, width) == 104);
static_assert(offsetof(AVFrame, height) == 108);
static_assert(offsetof(AVFrame, nb_samples) == 112);
static_assert(offsetof(AVFrame, format) == 116);
static_assert(offsetof(AVFrame, key_frame) == 120);
static_assert(offsetof(AVFrame, pict_type) == 124);
static_assert(offsetof(AVFrame, base) == 128);
static_assert(offsetof(AVFrame, sample_aspect_ratio) == 192);
static_assert(offsetof(AVFrame, pts) == 200);
static_assert(offsetof(AVFrame, pkt_pts) == 208);
static_assert(offsetof(AVFrame, pkt_dts) == 216);
static_assert(offsetof(AVFrame, reference) == 236);
static_assert(offsetof(AVFrame, opaque) == 312);
static_assert(offsetof(AVFrame, type) == 384);
static_assert(offsetof(AVFrame, interlaced_frame) == 392);
static_assert(offsetof(AVFrame, top_field_first) == 396);
static_assert(offsetof(AVFrame, reordered_opaque) == 416);
static_assert(offsetof(AVFrame, sample_rate) == 452);
static_assert(offsetof(AVFrame, channel_layout) == 456);
static_assert(offsetof(AVFrame, buf) == 464);
static_assert(offsetof(AVFrame, extended_buf) == 528);
static_assert(offsetof(AVFrame, nb_extended_buf) == 536);
static_assert(offsetof(AVFrame, side_data) == 544);
static_assert(offsetof(AVFrame, nb_side_data) == 552);
static_assert(offsetof(AVFrame, flags) == 556);
static_assert(offsetof(AVFrame, color_range) == 560);
static_assert(offsetof(AVFrame, color_primaries) == 564);
static_assert(offsetof(AVFrame, color_trc) == 568);
static_assert(offsetof(AVFrame, colorspace) == 572);
static_assert(offsetof(AVFrame, channels) == 620);
static_assert(sizeof(AVFrame) == 640);
static_assert(offsetof(AVFrameSideData, type) == 0);
static_assert(offsetof(AVFrameSideData, data) == 8);
static_assert(offsetof(AVFrameSideData, size) == 16);
static_assert(offsetof(AVPacketSideData, data) == 0);
static_assert(offsetof(AVPacketSideData, size) == 8);
static_assert(offsetof(AVPacketSideData, type) == 12);
static_assert(sizeof(AVPacketSideData) == 16);
static_assert(offsetof(AVPacket, buf) == 0);
static_assert(offsetof(AVPacket, pts) == 8);
static_assert(offsetof(AVPacket, dts) == 16);
static_assert(offsetof(AVPacket, data) == 24);
static_assert(offsetof(AVPacket, size) == 32);
static_assert(offsetof(AVPacket, stream_index) == 36);
static_assert(offsetof(AVPacket, flags) == 40);
static_assert(offsetof(AVPacket, side_data) == 48);
static_assert(offsetof(AVPacket, side_data_elems) == 56);
static_assert(offsetof(AVPacket, duration) == 60);
static_assert(offsetof(AVPacket, pos) == 80);
static_assert(sizeof(AVPacket) == 96);
static_assert(offsetof(AVCodec, name) == 0);
static_assert(offsetof(AVCodec, long_name) == 8);
static_assert(offsetof(AVCodec, type) == 16);
static_assert(offsetof(AVCodec, id) == 20);
static_assert(offsetof(AVCodec, capabilities) == 24);
static_assert(offsetof(AVCodec, sample_fmts) == 56);
static_assert(offsetof(AVCodecContext, av_class) == 0);
static_assert(offsetof(AVCodecContext, codec_type) == 12);
static_assert(offsetof(AVCodecContext, codec) == 16);
static_assert(offsetof(AVCodecContext, codec_id) == 56);
static_assert(offsetof(AVCodecContext, codec_tag) == 60);
static_assert(offsetof(AVCodecContext, opaque) == 88);
static_assert(offsetof(AVCodecContext, bit_rate) == 96);
static_assert(offsetof(AVCodecContext, flags) == 112);
static_assert(offsetof(AVCodecContext, flags2) == 116);
static_assert(offsetof(AVCodecContext, extradata) == 120);
static_assert(offsetof(AVCodecContext, extradata_size) == 128);
static_assert(offsetof(AVCodecContext, time_base) == 132);
static_assert(offsetof(AVCodecContext, delay) == 144);
static_assert(offsetof(AVCodecContext, width) == 148);
static_assert(offsetof(AVCodecContext, height) == 152);
static_assert(offsetof(AVCodecContext, coded_width) == 156);
static_assert(offsetof(AVCodecContext, coded_height) == 160);
static_assert(offsetof(AVCodecContext, pix_fmt) == 168);
static_assert(offsetof(AVCodecContext, has_b_frames) == 212);
static_assert(offsetof(AVCodecContext, sample_aspect_ratio) == 264);
static_assert(offsetof(AVCodecContext, refs) == 416);
static_assert(offsetof(AVCodecContext, color_primaries) == 436);
static_assert(offsetof(AVCodecContext, color_trc) == 440);
static_assert(offsetof(AVCodecContext, colorspace) == 444);
static_assert(offsetof(AVCodecContext, color_range) == 448);
static_assert(offsetof(AVCodecContext, chroma_sample_location) == 452);
static_assert(offsetof(AVCodecContext, field_order) == 460);
static_assert(offsetof(AVCodecContext, sample_rate) == 464);
static_assert(offsetof(AVCodecContext, channels) == 468);
static_assert(offsetof(AVCodecContext, sample_fmt) == 472);
static_assert(offsetof(AVCodecContext, frame_size) == 476);
static_assert(offsetof(AVCodecContext, block_align) == 484);
static_assert(offsetof(AVCodecContext, channel_layout) == 496);
static_assert(offsetof(AVCodecContext, request_channel_layout) == 504);
static_assert(offsetof(AVCodecContext, request_sample_fmt) == 516);
static_assert(offsetof(AVCodecContext, get_buffer) == 520);
static_assert(offsetof(AVCodecContext, release_buffer) == 528);
static_assert(offsetof(AVCodecContext, reget_buffer) == 536);
static_assert(offsetof(AVCodecContext, get_buffer2) == 544);
static_assert(offsetof(AVCodecContext, refcounted_frames) == 552);
static_assert(offsetof(AVCodecContext, strict_std_compliance) == 764);
static_assert(offsetof(AVCodecContext, err_recognition) == 780);
static_assert(offsetof(AVCodecContext, reordered_opaque) == 784);
static_assert(offsetof(AVCodecContext, bits_per_coded_sample) == 880);
static_assert(offsetof(AVCodecContext, bits_per_raw_sample) == 884);
static_assert(offsetof(AVCodecContext, thread_count) == 904);
static_assert(offsetof(AVCodecContext, thread_type) == 908);
static_assert(offsetof(AVCodecContext, active_thread_type) == 912);
static_assert(offsetof(AVCodecContext, thread_safe_callbacks) == 916);
static_assert(offsetof(AVCodecContext, profile) == 948);
static_assert(offsetof(AVCodecContext, level) == 952);
static_assert(offsetof(AVCodecContext, initial_padding) == 1004);
static_assert(offsetof(AVCodecDescriptor, id) == 0);
static_assert(offsetof(AVCodecDescriptor, type) == 4);
static_assert(offsetof(AVCodecDescriptor, name) == 8);
static_assert(offsetof(AVCodecDescriptor, long_name) == 16);
static_assert(offsetof(AVDictionaryEntry, key) == 0);
static_assert(offsetof(AVDictionaryEntry, value) == 8);
static_assert(sizeof(AVMasteringDisplayMetadata) == 88);
static_assert(sizeof(AVContentLightMetadata) == 8);
static_assert(sizeof(AVCPBProperties) == 40);
static_assert(sizeof(AVReplayGain) == 16);
static_assert(sizeof(AVStereo3D) == 8);
static_assert(sizeof(AVStereo3DOf71) == 36);
static_assert(offsetof(AVStereo3DOf71, horizontal_field_of_view) == 28);
static_assert(sizeof(AVSphericalMapping) == 36);
static_assert(sizeof(AVComponentDescriptor) == 2);
static_assert(offsetof(AVPixFmtDescriptor, name) == 0);
static_assert(offsetof(AVPixFmtDescriptor, nb_components) == 8);
static_assert(offsetof(AVPixFmtDescriptor, log2_chroma_w) == 9);
static_assert(offsetof(AVPixFmtDescriptor, log2_chroma_h) == 10);
static_assert(offsetof(AVPixFmtDescriptor, flags) == 11);
static_assert(offsetof(AVPixFmtDescriptor, comp) == 12);
static_assert(sizeof(AVPixFmtDescriptor) == 32);
static_assert(sizeof(AVCodecParser) == 20);
static_assert(offsetof(AVCodecParserContext, pict_type) == 40);
static_assert(offsetof(AVCodecParserContext, pts) == 48);
static_assert(offsetof(AVCodecParserContext, dts) == 56);
static_assert(offsetof(AVCodecParserContext, key_frame) == 232);
