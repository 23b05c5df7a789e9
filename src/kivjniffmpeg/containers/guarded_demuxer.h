/** @file The hook between FFmpeg's reader of a container and what FFmpeg does with its packets. */
#pragma once

#include "kivjniffmpeg/containers/reader_limits.h"
#include "kivjniffmpeg/ffmpeg/abi_containers.h"

/**
 * Sees every packet before FFmpeg parses or decodes it, and so reaches streams that show up late.
 *
 * FFmpeg calls the reader of a format through a record of functions. The open container gets a copy of this record in
 * which one function is ours, so this object outlives the container.
 */
class c_guarded_demuxer
{
public:
    explicit c_guarded_demuxer(c_reader_limits &dsp_limits) : dsc_limits(dsp_limits) {}
    ~c_guarded_demuxer() = default;
    c_guarded_demuxer(const c_guarded_demuxer &) = delete;
    c_guarded_demuxer &operator=(const c_guarded_demuxer &) = delete;

    /** Guards an open container, its present streams first. */
    void install(AVFormatContext &dsp_context) noexcept;

private:
    struct dsd_format : AVInputFormat
    {
        c_guarded_demuxer *adsc_guard;
    };

    static int read_packet_nothrow(AVFormatContext *adsp_context, AVPacket *adsp_packet) noexcept;
    int read_packet(AVFormatContext &dsp_context, AVPacket &dsp_packet) noexcept;
    static void prepare(AVStream &dsp_stream) noexcept;

    c_reader_limits &dsc_limits;
    dsd_format dsc_format{};
    int (*dsc_original)(AVFormatContext *, AVPacket *) = nullptr;
};
