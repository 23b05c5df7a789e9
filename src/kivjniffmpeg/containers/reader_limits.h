/** @file What opening a container may cost. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi_containers.h"
#include "kivjniffmpeg/ffmpeg/format_context.h"

#include <natives/ReaderLimitFields.h>

#include <array>
#include <chrono>
#include <cstdint>

/**
 * Counts what FFmpeg does with one container, and stops it when a limit is exceeded.
 *
 * FFmpeg cannot be stopped at any time. It gets no more bytes and no more packets, and its readers then behave as at the
 * end of a file; a loop of FFmpeg's that asks for neither goes on. The limits hold until the container is open. Only the
 * limit of the streams holds afterwards too.
 */
class c_reader_limits
{
public:
    using values = std::array<int64_t, natives::ReaderLimitFields::SIZE>;

    /** The usual limits. */
    static values usual() noexcept;

    /**
     * Opening begins, on the calling thread.
     *
     * @param ailp_values laid out as ReaderLimitFields
     * @throws c_ffmpeg_exception when one is not positive
     */
    explicit c_reader_limits(const values &ailp_values);
    ~c_reader_limits() = default;
    c_reader_limits(const c_reader_limits &) = delete;
    c_reader_limits &operator=(const c_reader_limits &) = delete;

    /** Whether the container is still being opened. */
    bool is_opening() const noexcept { return bc_opening; }
    /** The container is open. */
    void end_opening() noexcept { bc_opening = false; }

    /** Java gave bytes. */
    void add_bytes(int64_t ilp_count) noexcept { ilc_bytes += ilp_count; }
    /** FFmpeg's reader made a packet. */
    void add_packet() noexcept { ++ilc_packets; }
    /** Whether FFmpeg has looked at enough packets. No fault of the container's. */
    bool has_enough_packets() const noexcept;

    /**
     * Looks at all limits. Once one is exceeded the answer stays.
     *
     * @param adsp_context the container; null as long as there is none
     * @return whether FFmpeg may go on
     */
    bool allow(const AVFormatContext *adsp_context) noexcept;

    /** Called whenever FFmpeg has returned. @throws c_ffmpeg_exception that names the limit that was exceeded */
    void check() const;

private:
    int exceeded(const AVFormatContext *adsp_context) const noexcept;
    bool takes_too_long() const noexcept;

    values ailc_values;
    std::chrono::steady_clock::time_point dsc_start;
    int64_t ilc_start; // processor time
    int64_t ilc_bytes = 0;
    int64_t ilc_packets = 0;
    bool bc_opening = true;
    int inc_exceeded = -1; // index of a limit
};
