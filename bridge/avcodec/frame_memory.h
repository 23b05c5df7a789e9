/**
 * @file
 * The caller's memory for decoded frames: get_buffer and release_buffer of the 56 line behind FFmpeg's get_buffer2.
 */
#pragma once

#include "bridge/avcodec/state.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace bridge::avcodec
{

struct dsd_frame_memory;

/**
 * The records of one decoder's frames, which are used again: a frame of sound takes less time than making one. The
 * references to the memory share them, because they may outlive the decoder. Any thread may release the last reference.
 */
class c_frame_records
{
public:
    c_frame_records() noexcept;
    ~c_frame_records();
    c_frame_records(const c_frame_records &) = delete;
    c_frame_records &operator=(const c_frame_records &) = delete;

    /** @throws std::bad_alloc */
    dsd_frame_memory &take();
    void put_back(dsd_frame_memory &dsp_memory) noexcept;
    /** Whether the pointer, which may be any, is one of them. */
    bool has(const dsd_frame_memory *adsp_memory) const noexcept;

private:
    mutable std::mutex dsc_mutex;
    std::vector<std::unique_ptr<dsd_frame_memory>> dsc_all;
    std::vector<dsd_frame_memory *> dsc_free; // has room for all
};

/**
 * What get_buffer delivered for one frame, with copies of the context and of the frame as they were then. Exists until
 * nothing in FFmpeg refers to the memory; release_buffer gets the copies.
 */
struct dsd_frame_memory
{
    alignas(AVCodecContext) std::byte utc_context[old::ul_context_size];
    AVFrame dsc_frame;
    std::shared_ptr<c_frame_records> dsc_records; // while it is in use
};

/** Points a frame at the planes of a picture in the caller's memory. */
void point_at_picture(const real::dsd_ffmpeg &dsp_ffmpeg, const AVFrame &dsp_from, real::frame *adsp_to);

/** Asks the callbacks of one decoder for memory. */
class c_frame_memory
{
public:
    /** @param dsp_context the caller's, which owns this. @throws std::bad_alloc */
    c_frame_memory(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecContext &dsp_context);
    ~c_frame_memory() = default;
    c_frame_memory(const c_frame_memory &) = delete;
    c_frame_memory &operator=(const c_frame_memory &) = delete;

    /**
     * Calls get_buffer for a frame whose sizes and format are set, and lets the frame refer to the memory.
     *
     * @return 0 or an FFmpeg error
     * @throws std::bad_alloc
     */
    int get(const real::context *adsp_context, real::frame *adsp_frame, bool bp_reference);

    /** The memory that a frame refers to; null when get_buffer did not deliver it. */
    const dsd_frame_memory *find(const real::frame *adsp_frame) const noexcept;

private:
    const real::dsd_ffmpeg &dsc_ffmpeg;
    AVCodecContext &dsc_context;
    std::shared_ptr<c_frame_records> dsc_records;
    std::atomic<const dsd_frame_memory *> adsc_newest = nullptr; // mostly the one to be found
};

} // namespace bridge::avcodec
