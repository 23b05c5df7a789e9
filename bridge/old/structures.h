/**
 * @file
 * Whole structures of the 56 line, which callers see and the bridge makes. The fields have FFmpeg's names.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi_containers.h"

namespace bridge::old
{

/**
 * The front of the 56 line's AVIOContext, as far as it matters to callers, who free the buffer and the object with
 * av_freep. So the object can own nothing else: FFmpeg's own AVIOContext exists while FFmpeg reads.
 */
struct dsd_source
{
    const void *av_class;
    unsigned char *buffer;
    int buffer_size;
    unsigned char *buf_ptr;
    unsigned char *buf_end;
    void *opaque;
    int (*read_packet)(void *, uint8_t *, int);
    int (*write_packet)(void *, uint8_t *, int);
    int64_t (*seek)(void *, int64_t, int);
    int64_t pos;
    int must_flush;
    int eof_reached;
    int write_flag;
    uint8_t autc_gap0[52];
    int seekable;
};
static_assert(offsetof(dsd_source, buffer) == offsetof(AVIOContext, buffer));
static_assert(offsetof(dsd_source, seekable) == offsetof(AVIOContext, seekable));

/** One row of a class's table of options: AVOption with all its fields. */
struct dsd_option
{
    const char *name;
    const char *help;
    int offset;
    int type;
    int64_t default_value;
    double min;
    double max;
    int flags;
    const char *unit;
};
static_assert(sizeof(dsd_option) == sizeof(AVOption));
static_assert(offsetof(dsd_option, offset) == offsetof(AVOption, offset));

} // namespace bridge::old
