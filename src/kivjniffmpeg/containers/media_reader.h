/** @file A container that is being read: its streams and packets. */
#pragma once

#include "kivjniffmpeg/containers/media_source.h"
#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/format_context.h"
#include "kivjniffmpeg/ffmpeg/packet.h"

#include <jni.h>
#include <natives/ReaderInfo.h>
#include <natives/StreamFields.h>

#include <array>
#include <cstdint>
#include <span>

/**
 * Opens what a Java source reads, if it is one of the plain containers, and hands out its packets.
 *
 * One thread at a time. Every function that reads may call Java; what Java throws there is pending when the function
 * throws kiv::jni::c_jniexception.
 *
 * The bytes are not trusted. Nothing in them makes the process open a file or a connection:
 * - Only the formats of a fixed list are read, none of which is a playlist, a description of a session, or a list of
 *   pictures. The format is guessed by FFmpeg over all it knows, so that such a file is recognised, and refused before
 *   its reader runs.
 * - An MP4 or MOV track may refer to another file: see c_avformat_ctx::open_input.
 * - A subtitle packet of an AVI may hold a file of any format, which is opened in memory with an empty name: forbidden by
 *   an empty list of formats, set as soon as the outer reader, which must not be on it, has been opened.
 * - The other readers of the list open nothing but memory of their own.
 */
class c_mediareader
{
public:
    /**
     * @param adsp_ffmpeg kept by a reference of its own
     * @param avop_source a c_mediareader_source
     * @throws c_ffmpeg_exception when the bytes are no such container
     */
    c_mediareader(c_ffmpeg *adsp_ffmpeg, const kiv::jni::c_jnienv &dsp_env, jobject avop_source);
    ~c_mediareader() = default;
    c_mediareader(const c_mediareader &) = delete;
    c_mediareader &operator=(const c_mediareader &) = delete;

    c_ffmpeg *get_ffmpeg() const noexcept { return dsc_ffmpeg.get(); }

    /** The container, laid out as ReaderInfo. */
    std::array<int64_t, natives::ReaderInfo::SIZE> info() const noexcept;
    /** FFmpeg's short name. */
    const char *format_name() const noexcept;

    /** A stream, laid out as StreamFields. @throws c_ffmpeg_exception for an index out of range */
    std::array<int64_t, natives::StreamFields::SIZE> stream_info(int32_t imp_index) const;
    /** FFmpeg's short name. @throws c_ffmpeg_exception for an index out of range */
    const char *codec_name(int32_t imp_index) const;
    /** The stream's own bytes, valid until the next call that reads. @throws c_ffmpeg_exception for an index out of range */
    std::span<const uint8_t> extradata(int32_t imp_index) const;

    /**
     * Fills @p dsp_packet, which must be empty; false at the end. Behind the bytes there is the palette that comes with
     * them, if one does: decoders know it by its mark, and have no other from most containers.
     *
     * @throws c_ffmpeg_exception when reading fails
     */
    bool read(const kiv::jni::c_jnienv &dsp_env, c_avpacket &dsp_packet);

    /**
     * @param imp_stream the stream in whose time base the time is, -1 for microseconds
     * @param imp_flags AVSEEK_FLAG_BACKWARD and AVSEEK_FLAG_ANY
     * @throws c_ffmpeg_exception when the container cannot do it
     */
    void seek(const kiv::jni::c_jnienv &dsp_env, int32_t imp_stream, int64_t ilp_time, int32_t imp_flags);

private:
    AVInputFormat *probe(const kiv::jni::c_jnienv &dsp_env) const;
    void forbid_nested_formats() const;
    void examine_streams(const kiv::jni::c_jnienv &dsp_env) const;
    const AVStream &stream_at(int32_t imp_index) const;
    bool has_exact_time_bases() const noexcept;

    c_ffmpeg_reference dsc_ffmpeg;
    c_mediasource dsc_source; // outlives the format context, which reads it
    c_avformat_ctx dsc_format;
};
