/** @file One container that is read or written: FFmpeg's, and the 56 line's picture of it. */
#pragma once

#include "bridge/avformat/source.h"
#include "bridge/real/ffmpeg.h"
#include "kivjniffmpeg/ffmpeg/abi_containers.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace bridge::avformat
{

/** A stream in the old layout. Owns its codec context. */
struct dsd_stream
{
    explicit dsd_stream(const real::dsd_ffmpeg &dsp_ffmpeg);
    ~dsd_stream();
    dsd_stream(const dsd_stream &) = delete;
    dsd_stream &operator=(const dsd_stream &) = delete;

    /** The bytes of a type of the 56 line's; they are FFmpeg's. Empty when there are none. */
    std::span<uint8_t> side_data(int inp_type) const noexcept;
    /** The rate at which all times of pictures can be told. */
    AVRational frame_rate() const noexcept;

    AVStream dsc_old{};
    uint8_t utc_tail[1024]{}; /**< more than the rest of the old structure, all zeroes */
    const real::dsd_ffmpeg &dsc_ffmpeg;
    const real::stream *adsc_real = nullptr; // null for a stream of the caller's
};

/** A chapter in the old layout. Owns its tags. */
struct dsd_chapter
{
    dsd_chapter(const real::dsd_ffmpeg &dsp_ffmpeg, const real::chapter &dsp_real);
    ~dsd_chapter();
    dsd_chapter(const dsd_chapter &) = delete;
    dsd_chapter &operator=(const dsd_chapter &) = delete;

    AVChapter dsc_old{};
    int64_t ilc_id; /**< of which the old layout has half */
    const real::dsd_ffmpeg &dsc_ffmpeg;
};

/** What callers see, with the whole size of the old structure. */
struct dsd_format_context
{
    AVFormatContext dsc_old{};
    uint8_t utc_tail[1448 - sizeof(AVFormatContext)]{};
};

/** Hangs on the caller's context, which it belongs to. One thread at a time. */
class c_container
{
public:
    /** @throws std::bad_alloc */
    explicit c_container(const real::dsd_ffmpeg &dsp_ffmpeg);
    ~c_container();
    c_container(const c_container &) = delete;
    c_container &operator=(const c_container &) = delete;

    AVFormatContext &context() noexcept { return dsc_context.dsc_old; }

    // As the functions of FFmpeg. Each returns 0 or an error, and may throw std::bad_alloc.
    int open(const char *strp_name, const real::input_format *adsp_format, AVDictionary **aadsp_options);
    int examine_streams();
    int read(AVPacket &dsp_packet);
    int seek(int inp_stream, int64_t ilp_time, int inp_flags);
    int set_option(const char *strp_name, const char *strp_value);
    AVStream &add_stream();

    // Writing, in writing.cpp. A container is either read or written.
    int open_output(const char *strp_format, const char *strp_name);
    int write_header(AVDictionary **aadsp_options);
    /** The packet is empty afterwards. */
    int write(AVPacket &dsp_packet);
    int write_trailer();

private:
    int add_real_stream(AVStream &dsp_stream);
    static int is_interrupted(void *avp_container) noexcept;
    void announce();
    void show_new_streams();
    void show();
    void show_chapters();
    void show_metadata();
    void show_stream(real::stream *adsp_from, AVStream &dsp_to);

    const real::dsd_ffmpeg &dsc_ffmpeg;
    dsd_format_context dsc_context;
    std::unique_ptr<c_real_source> dsc_source; // before the container, which reads from it until it is closed
    real::format_context *adsc_real = nullptr;
    bool bc_examining = false;
    bool bc_output = false;
    size_t ulc_shown = 0; // how many streams callers see as FFmpeg has them
    std::vector<std::unique_ptr<dsd_stream>> dsc_streams;
    std::vector<AVStream *> adsc_shown;
    std::vector<std::unique_ptr<dsd_chapter>> dsc_chapters;
    std::vector<AVChapter *> adsc_shown_chapters;
};

/** The container of a context that avformat_alloc_context or avformat_open_input made. */
c_container &container_of(AVFormatContext &dsp_context) noexcept;

} // namespace bridge::avformat
