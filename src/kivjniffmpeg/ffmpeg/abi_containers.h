/**
 * @file
 * What the library knows of the structures of libavformat 56, under the same rules as in abi.h.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <cstddef>
#include <cstdint>

// Used through pointers only.
struct AVOutputFormat;

/** A part of the medium that has a name. */
struct AVChapter
{
    int id;
    AVRational time_base;
    int64_t start;
    int64_t end;
    AVDictionary *metadata;
};

/** Streams that belong together, such as those of one station; front part only. */
struct AVProgram
{
    int id;
    uint8_t autc_gap0[12];
    unsigned int *stream_index;
    unsigned int nb_stream_indexes;
    AVDictionary *metadata;
    int program_num;
    int pmt_pid;
    int pcr_pid;
};

/** A buffered source of bytes; front part only, FFmpeg allocates it. */
struct AVIOContext
{
    const AVClass *av_class;
    unsigned char *buffer;
    uint8_t autc_gap0[128];
    int seekable;
};

/** One registered container reader. The library makes changed copies of it, so the size is pinned too. */
struct AVInputFormat
{
    const char *name;
    const char *long_name;
    int flags;
    uint8_t autc_gap0[68];
    int (*read_packet)(AVFormatContext *, AVPacket *);
    uint8_t autc_tail[72];
};

/**
 * One stream of a container; front part only. The number of entries in its index is private to libavformat, and at the
 * same place in 2.5 to 2.8.
 */
struct AVStream
{
    int index;
    int id;
    AVCodecContext *codec;
    void *priv_data;
    uint8_t autc_gap0[24];
    AVRational time_base;
    int64_t start_time;
    int64_t duration;
    int64_t nb_frames;
    int disposition;
    int discard;
    AVRational sample_aspect_ratio;
    AVDictionary *metadata;
    AVRational avg_frame_rate;
    AVPacket attached_pic;
    uint8_t autc_gap2[264];
    int nb_index_entries;
};

/** What FFmpeg asks, while it waits or looks at streams, whether it should give up. */
struct AVIOInterruptCB
{
    int (*callback)(void *);
    void *opaque;
};

/** One opened container; front part only, FFmpeg allocates it. */
struct AVFormatContext
{
    uint8_t autc_gap0[8];
    AVInputFormat *iformat;
    uint8_t autc_gap1[8];
    void *priv_data;
    AVIOContext *pb;
    uint8_t autc_gap2[4];
    uint32_t nb_streams;
    AVStream **streams;
    uint8_t autc_gap3[1024];
    int64_t start_time;
    int64_t duration;
    int bit_rate;
    uint8_t autc_gap4[8];
    int flags;
    uint8_t autc_gap5[20];
    unsigned int nb_programs;
    AVProgram **programs;
    uint8_t autc_gap6[20];
    unsigned int nb_chapters;
    AVChapter **chapters;
    AVDictionary *metadata;
    uint8_t autc_gap7[16];
    AVIOInterruptCB interrupt_callback;
};

/**
 * What FFmpeg's AVI reader keeps in AVStream::priv_data; front part only. The structure is private to the reader
 * (avidec.c), and it is the same in 2.5 to 2.8.
 */
struct AVIStream
{
    uint8_t autc_gap0[20]; // the frame's offset in 64 bits, then three integers of 32
    uint32_t scale;        /**< the unit of time of the stream's header: scale / rate seconds */
    uint32_t rate;
};

/** One track of a Matroska file. Private to its reader (matroskadec.c), and the same in 2.5 to 2.8, as is the size. */
struct MatroskaTrack
{
    uint8_t autc_gap0[16];
    uint64_t type;
    uint8_t autc_gap1[280];
    AVStream *stream; /**< null for a track that names no codec */
    uint8_t autc_tail[24];
};
inline constexpr uint64_t MATROSKA_TRACK_TYPE_SUBTITLE = 0x11;

/** The tracks of a Matroska file: a list of FFmpeg's reader. */
struct MatroskaTracks
{
    int nb_elem;
    MatroskaTrack *elem;
};

/** Where FFmpeg's Matroska reader keeps its tracks in AVFormatContext::priv_data. From 2.7 on a pointer precedes all. */
inline constexpr size_t ul_matroska_tracks_of_2_5 = 336;
inline constexpr size_t ul_matroska_tracks_of_2_7 = 344;

// The layout of the binaries.
static_assert(offsetof(AVChapter, id) == 0);
static_assert(offsetof(AVChapter, time_base) == 4);
static_assert(offsetof(AVChapter, start) == 16);
static_assert(offsetof(AVChapter, end) == 24);
static_assert(offsetof(AVChapter, metadata) == 32);
static_assert(offsetof(AVProgram, id) == 0);
static_assert(offsetof(AVProgram, stream_index) == 16);
static_assert(offsetof(AVProgram, nb_stream_indexes) == 24);
static_assert(offsetof(AVProgram, metadata) == 32);
static_assert(offsetof(AVProgram, program_num) == 40);
static_assert(offsetof(AVProgram, pmt_pid) == 44);
static_assert(offsetof(AVProgram, pcr_pid) == 48);
static_assert(offsetof(AVIOContext, av_class) == 0);
static_assert(offsetof(AVIOContext, buffer) == 8);
static_assert(offsetof(AVIOContext, seekable) == 144);
static_assert(offsetof(AVInputFormat, name) == 0);
static_assert(offsetof(AVInputFormat, long_name) == 8);
static_assert(offsetof(AVInputFormat, flags) == 16);
static_assert(offsetof(AVInputFormat, read_packet) == 88);
static_assert(sizeof(AVInputFormat) == 168);
static_assert(offsetof(AVStream, index) == 0);
static_assert(offsetof(AVStream, id) == 4);
static_assert(offsetof(AVStream, codec) == 8);
static_assert(offsetof(AVStream, priv_data) == 16);
static_assert(offsetof(AVStream, time_base) == 48);
static_assert(offsetof(AVStream, start_time) == 56);
static_assert(offsetof(AVStream, duration) == 64);
static_assert(offsetof(AVStream, nb_frames) == 72);
static_assert(offsetof(AVStream, disposition) == 80);
static_assert(offsetof(AVStream, discard) == 84);
static_assert(offsetof(AVStream, sample_aspect_ratio) == 88);
static_assert(offsetof(AVStream, metadata) == 96);
static_assert(offsetof(AVStream, avg_frame_rate) == 104);
static_assert(offsetof(AVStream, attached_pic) == 112);
static_assert(offsetof(AVStream, nb_index_entries) == 472);
static_assert(offsetof(MatroskaTrack, type) == 16);
static_assert(offsetof(MatroskaTrack, stream) == 304);
static_assert(sizeof(MatroskaTrack) == 336);
static_assert(offsetof(AVIStream, scale) == 20);
static_assert(offsetof(AVIStream, rate) == 24);
static_assert(offsetof(AVFormatContext, iformat) == 8);
static_assert(offsetof(AVFormatContext, priv_data) == 24);
static_assert(offsetof(AVFormatContext, pb) == 32);
static_assert(offsetof(AVFormatContext, nb_streams) == 44);
static_assert(offsetof(AVFormatContext, streams) == 48);
static_assert(offsetof(AVFormatContext, start_time) == 1080);
static_assert(offsetof(AVFormatContext, duration) == 1088);
static_assert(offsetof(AVFormatContext, bit_rate) == 1096);
static_assert(offsetof(AVFormatContext, flags) == 1108);
static_assert(offsetof(AVFormatContext, nb_programs) == 1132);
static_assert(offsetof(AVFormatContext, programs) == 1136);
static_assert(offsetof(AVFormatContext, nb_chapters) == 1164);
static_assert(offsetof(AVFormatContext, chapters) == 1168);
static_assert(offsetof(AVFormatContext, metadata) == 1176);
static_assert(offsetof(AVFormatContext, interrupt_callback) == 1200);
