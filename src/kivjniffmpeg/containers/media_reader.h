/** @file The container reader behind a Java handle. */
#pragma once

#include "kivjniffmpeg/containers/guarded_demuxer.h"
#include "kivjniffmpeg/containers/media_source.h"
#include "kivjniffmpeg/containers/reader_limits.h"
#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/format_context.h"
#include "kivjniffmpeg/ffmpeg/packet.h"

#include <natives/ReaderInfo.h>
#include <natives/StreamFields.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>

/**
 * Opens a container of a fixed list, known_formats, from a source of bytes, and reads its packets.
 *
 * Used by one thread at a time. Every function that reads may ask the source, and throws what the source ends with.
 *
 * The bytes are not trusted. Nothing in them makes the process open a file or a connection:
 * - No format of the list is a playlist, a session description or a list of pictures. FFmpeg probes all formats that it
 *   knows, so that it recognises such a file, which is refused before its reader runs.
 * - An MP4 or MOV track may refer to another file: see c_avformat_ctx::open_input.
 * - A subtitle packet of an AVI may hold a file of any format, which FFmpeg opens in memory. An empty list of formats
 *   forbids this. It is set once the outer reader is open, because the outer format must not be on the list.
 * - The other readers of the list open nothing.
 *
 * Nor does FFmpeg parse or decode more than it must: see undecoded_codecs, c_guarded_demuxer and c_reader_limits.
 */
class c_mediareader
{
public:
    /**
     * @param adsp_ffmpeg the reader holds a reference to it
     * @param dsp_source not null
     * @param iep_access how the source can be read
     * @param ailp_limits what opening may cost, laid out as ReaderLimitFields
     * @throws c_ffmpeg_exception when the bytes are no such container, or when a limit is exceeded
     */
    c_mediareader(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<ca_byte_source> dsp_source, ie_access iep_access,
                  const c_reader_limits::values &ailp_limits);
    ~c_mediareader() = default;
    c_mediareader(const c_mediareader &) = delete;
    c_mediareader &operator=(const c_mediareader &) = delete;

    c_ffmpeg *get_ffmpeg() const noexcept { return dsc_ffmpeg.get(); }

    /** What is known of the container, laid out as ReaderInfo. */
    std::array<int64_t, natives::ReaderInfo::SIZE> info() const noexcept;
    /** FFmpeg's short name. */
    const char *format_name() const noexcept;

    /** FFmpeg's container, until the next call that reads. */
    const AVFormatContext &container() const noexcept { return *dsc_format.context(); }
    /** FFmpeg's stream. @throws c_ffmpeg_exception for an index out of range */
    AVStream &stream_at(int32_t imp_index) const;

    /** What is known of a stream, laid out as StreamFields. @throws c_ffmpeg_exception for an index out of range */
    std::array<int64_t, natives::StreamFields::SIZE> stream_info(int32_t imp_index) const;
    /** FFmpeg's short name. @throws c_ffmpeg_exception for an index out of range */
    const char *codec_name(int32_t imp_index) const;
    /** Extradata, valid until the next call that reads. @throws c_ffmpeg_exception for an index out of range */
    std::span<const uint8_t> extradata(int32_t imp_index) const;

    /**
     * Reads the next packet into @p dsp_packet, which must be empty. A palette in its side data is merged into the
     * bytes, because most containers store it nowhere else.
     *
     * @return false at the end
     * @throws c_ffmpeg_exception when reading fails
     */
    bool read(c_avpacket &dsp_packet);

    /**
     * @param imp_stream the stream in whose time base the time is; -1 for microseconds
     * @param imp_flags AVSEEK_FLAG_BACKWARD, AVSEEK_FLAG_BYTE and AVSEEK_FLAG_ANY
     * @throws c_ffmpeg_exception when the container cannot seek there, or when FFmpeg would die of it
     */
    void seek(int32_t imp_stream, int64_t ilp_time, int32_t imp_flags);

private:
    AVInputFormat *probe() const;
    void forbid_nested_formats() const;
    void restrict_codecs() const;
    void examine_streams();
    static int is_interrupted(void *avp_reader) noexcept;
    bool has_exact_time_bases() const noexcept;
    bool has_subtitles_without_stream() const noexcept;

    c_ffmpeg_reference dsc_ffmpeg;
    c_reader_limits dsc_limits;
    c_guarded_demuxer dsc_demuxer; // outlives the format context, as does the source, which it reads
    c_mediasource dsc_source;
    c_avformat_ctx dsc_format;
};
