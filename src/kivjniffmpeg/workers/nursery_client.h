/** @file Worker processes, as the process that uses them sees them. */
#pragma once

#include "kivjniffmpeg/workers/descriptors.h"
#include "kivjniffmpeg/workers/kept_memory.h"
#include "kivjniffmpeg/workers/nursery_messages.h"
#include "kivjniffmpeg/workers/sealed_memory.h"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

/** A process that decodes, and the memory that it shares. Nothing that it writes is to be believed. */
class c_worker
{
public:
    /** Made by c_nursery. */
    c_worker(c_descriptor dsp_channel, c_sealed_memory dsp_memory) noexcept;
    /** Kills the process. */
    ~c_worker();
    c_worker(const c_worker &) = delete;
    c_worker &operator=(const c_worker &) = delete;

    pid_t process() const noexcept { return inc_process; }
    /** The shared memory, which keeps its size. It is unmapped with this object. */
    std::span<std::byte> memory() const noexcept { return dsc_memory.bytes(); }
    /** What holds, in the worker's own words. */
    const std::string &held() const noexcept { return strc_held; }

    /** The process was made. */
    void start(pid_t inp_process, c_descriptor dsp_process) noexcept;
    /** Waits until the worker is behind its wall. @throws std::system_error when it ends before, or takes longer */
    void wait_until_ready(std::chrono::milliseconds dsp_longest = std::chrono::minutes(1));
    /** A lane is used from now on. @throws std::system_error when the worker has ended */
    void open_lane(int32_t imp_lane);
    /** Ends the process, whatever it does. */
    void kill() noexcept;
    bool has_ended() const noexcept;
    /** Of all threads of the process; the longest time when it has ended. */
    std::chrono::nanoseconds processor_time() const noexcept;
    /** Kills the process and closes the descriptors. The memory stays. @pre no other thread calls anything but kill */
    void close() noexcept;
    /**
     * As close(), and keeps the memory for another worker. Here zero bytes take its place.
     *
     * @param ulp_used bytes at its beginning that are kept
     * @return what is kept; none when the system has no addresses for it, and then the bytes here are zero, too
     */
    std::unique_ptr<c_kept_memory> close_and_keep(size_t ulp_used) noexcept;

private:
    std::mutex dsc_descriptors; // kill may come from any thread
    pid_t inc_process = -1;
    c_descriptor dsc_process;
    c_descriptor dsc_channel;
    c_sealed_memory dsc_memory;
    std::string strc_held;
};

/** The process that makes workers. Used by any thread. */
class c_nursery
{
public:
    /**
     * Starts the process and waits until FFmpeg is loaded.
     *
     * @param strp_program path of kivjniffmpeg-worker
     * @param strp_ffmpeg directory of the five libraries
     * @throws std::system_error when it cannot be started, or ends at once
     */
    c_nursery(const char *strp_program, const char *strp_ffmpeg);
    /** Ends the process, and with it all workers. */
    ~c_nursery();
    c_nursery(const c_nursery &) = delete;
    c_nursery &operator=(const c_nursery &) = delete;

    /**
     * Makes a worker.
     *
     * @param ulp_shared bytes of shared memory, which are taken from the machine when they are used
     * @param dsp_kept memory for it, if that is clear and of this size; may be none
     * @throws std::system_error when there is no process or no memory for it
     */
    std::unique_ptr<c_worker> make(const nursery_messages::dsd_start &dsp_limits, size_t ulp_shared,
                                   std::unique_ptr<c_kept_memory> dsp_kept = nullptr);

    /** How a worker ended; nothing as long as that is not known, or when hundreds of others have ended since. */
    std::optional<nursery_messages::dsd_report> end_of(pid_t inp_process);

    pid_t process() const noexcept { return inc_process; }
    /** Whether the process has ended by itself. */
    bool has_ended();

private:
    nursery_messages::dsd_report receive(c_descriptor *adsp_descriptor);
    void keep_reports();
    void keep(const nursery_messages::dsd_report &dsp_end);

    std::mutex dsc_mutex;
    pid_t inc_process = -1; // until the process was waited for
    c_descriptor dsc_socket;
    std::deque<nursery_messages::dsd_report> dsc_ends; // the last ones that nobody has asked for
};
