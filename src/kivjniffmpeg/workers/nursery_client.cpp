#include "kivjniffmpeg/workers/nursery_client.h"

#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

using descriptors::is_readable;
using nursery_messages::dsd_report;
using nursery_messages::ie_kind;

namespace
{

/** Ends that nobody asks for are kept up to this number. */
constexpr size_t ul_most_ends = 1024;
constexpr int in_looks_for_end = 100;

[[noreturn]] void fail(int inp_error, const char *strp_what)
{
    throw std::system_error(inp_error, std::generic_category(), strp_what);
}

/**
 * What the process that makes workers finds in its environment: where libraries lie, and the time zone. And glibc gets large
 * pages for heaps where the system has them, because a worker is new and touches each page of its heap for the first time.
 */
class c_environment
{
public:
    c_environment()
    {
        for (const char *strl_name : {"LD_LIBRARY_PATH", "TZ"})
            if (const char *strl_value = std::getenv(strl_name); strl_value != nullptr)
                strc_entries.push_back(std::string(strl_name) + "=" + strl_value);
        strc_entries.emplace_back("GLIBC_TUNABLES=glibc.malloc.hugetlb=1");
        for (std::string &strl_entry : strc_entries)
            astrc_entries.push_back(strl_entry.data());
        astrc_entries.push_back(nullptr);
    }

    char *const *entries() noexcept { return astrc_entries.data(); }

private:
    std::vector<std::string> strc_entries;
    std::vector<char *> astrc_entries;
};

/** The attributes and actions of a spawn, which need a destructor. */
class c_spawn
{
public:
    c_spawn()
    {
        posix_spawnattr_init(&dsc_attributes);
        posix_spawn_file_actions_init(&dsc_actions);
        // A virtual machine's threads block signals, and its handlers are its own.
        sigset_t dsl_signals;
        sigemptyset(&dsl_signals);
        posix_spawnattr_setsigmask(&dsc_attributes, &dsl_signals);
        sigfillset(&dsl_signals);
        posix_spawnattr_setsigdefault(&dsc_attributes, &dsl_signals);
        // In a session of its own it has no terminal, and a Ctrl-C there is for the virtual machine alone.
        posix_spawnattr_setflags(&dsc_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    }
    ~c_spawn()
    {
        posix_spawn_file_actions_destroy(&dsc_actions);
        posix_spawnattr_destroy(&dsc_attributes);
    }
    c_spawn(const c_spawn &) = delete;
    c_spawn &operator=(const c_spawn &) = delete;

    pid_t start(const char *strp_program, const char *strp_argument, int inp_socket)
    {
        posix_spawn_file_actions_adddup2(&dsc_actions, inp_socket, nursery_messages::in_socket);
        // posix_spawn does not change them.
        const std::array<char *, 3> astrl_arguments{const_cast<char *>(strp_program), const_cast<char *>(strp_argument),
                                                    nullptr};
        c_environment dsl_environment;
        pid_t inl_process = -1;
        if (const int inl_error = posix_spawn(&inl_process, strp_program, &dsc_actions, &dsc_attributes,
                                              astrl_arguments.data(), dsl_environment.entries());
            inl_error != 0)
            fail(inl_error, strp_program);
        return inl_process;
    }

private:
    posix_spawnattr_t dsc_attributes{};
    posix_spawn_file_actions_t dsc_actions{};
};

} // namespace

c_worker::c_worker(c_descriptor dsp_channel, c_sealed_memory dsp_memory) noexcept
    : dsc_channel(std::move(dsp_channel)), dsc_memory(std::move(dsp_memory))
{
}

c_worker::~c_worker()
{
    close();
}

void c_worker::start(pid_t inp_process, c_descriptor dsp_process) noexcept
{
    inc_process = inp_process;
    dsc_process = std::move(dsp_process);
}

void c_worker::wait_until_ready(std::chrono::milliseconds dsp_longest)
{
    if (!is_readable(dsc_channel.get(), dsp_longest))
        fail(ETIMEDOUT, "the worker does not become ready");
    std::array<std::byte, 256> utl_room{};
    const auto dsl_received = descriptors::receive(dsc_channel.get(), utl_room);
    if (dsl_received.ulc_length == 0)
        fail(ECONNRESET, "the worker ended before it was ready");
    std::string strl_message(reinterpret_cast<const char *>(utl_room.data()), dsl_received.ulc_length);
    if (strl_message.front() == nursery_messages::byr_failed)
        throw std::runtime_error("the worker failed: " + strl_message.substr(1));
    strc_held = std::move(strl_message);
}

void c_worker::open_lane(int32_t imp_lane)
{
    descriptors::send(dsc_channel.get(), std::as_bytes(std::span(&imp_lane, 1)));
}

void c_worker::kill() noexcept
{
    const std::lock_guard dsl_lock(dsc_descriptors);
    if (dsc_process)
        syscall(SYS_pidfd_send_signal, dsc_process.get(), SIGKILL, nullptr, 0);
}

void c_worker::close() noexcept
{
    kill();
    const std::lock_guard dsl_lock(dsc_descriptors);
    dsc_process = c_descriptor();
    dsc_channel = c_descriptor();
    dsc_memory.close_descriptor();
}

std::unique_ptr<c_kept_memory> c_worker::close_and_keep(size_t ulp_used) noexcept
{
    kill();
    std::unique_ptr<c_kept_memory> dsl_kept;
    try {
        const std::lock_guard dsl_lock(dsc_descriptors);
        if (dsc_process && dsc_memory.descriptor() >= 0)
            dsl_kept = std::make_unique<c_kept_memory>(std::exchange(dsc_process, c_descriptor()),
                                                       dsc_memory.move_away(), ulp_used);
    } catch (const std::exception &) {
        // Without addresses for it nothing is kept.
    }
    close();
    if (dsl_kept == nullptr)
        c_sealed_memory::discard(memory());
    return dsl_kept;
}

bool c_worker::has_ended() const noexcept
{
    return !dsc_process || is_readable(dsc_process.get());
}

std::chrono::nanoseconds c_worker::processor_time() const noexcept
{
    clockid_t inl_clock{};
    timespec dsl_time{};
    if (clock_getcpuclockid(inc_process, &inl_clock) != 0 || clock_gettime(inl_clock, &dsl_time) != 0)
        return std::chrono::nanoseconds::max();
    return std::chrono::seconds(dsl_time.tv_sec) + std::chrono::nanoseconds(dsl_time.tv_nsec);
}

c_nursery::c_nursery(const char *strp_program, const char *strp_ffmpeg)
{
    auto [dsl_here, dsl_there] = descriptors::socket_pair();
    dsc_socket = std::move(dsl_here);
    inc_process = c_spawn().start(strp_program, strp_ffmpeg, dsl_there.get());
    dsl_there = c_descriptor(); // so that the end of the process closes the socket
    try {
        receive(nullptr);
    } catch (...) {
        waitpid(inc_process, nullptr, 0);
        throw;
    }
}

c_nursery::~c_nursery()
{
    dsc_socket = c_descriptor();
    if (inc_process > 0)
        waitpid(inc_process, nullptr, 0);
}

bool c_nursery::has_ended()
{
    const std::lock_guard dsl_lock(dsc_mutex);
    // Its socket is closed a moment before it can be waited for.
    for (int inl_look = 0; inc_process > 0 && inl_look < in_looks_for_end; ++inl_look) {
        if (waitpid(inc_process, nullptr, WNOHANG) == inc_process)
            inc_process = -1;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return inc_process < 0;
}

std::unique_ptr<c_worker> c_nursery::make(const nursery_messages::dsd_start &dsp_limits, size_t ulp_shared,
                                          std::unique_ptr<c_kept_memory> dsp_kept)
{
    const bool bl_again =
        dsp_kept != nullptr && dsp_kept->is_clear() && dsp_kept->memory().bytes().size() == ulp_shared;
    c_sealed_memory dsl_memory = bl_again ? std::move(dsp_kept->memory()) : c_sealed_memory(ulp_shared);
    const int inl_memory = dsl_memory.descriptor();
    auto [dsl_here, dsl_there] = descriptors::socket_pair();
    auto dsl_worker = std::make_unique<c_worker>(std::move(dsl_here), std::move(dsl_memory));
    const std::lock_guard dsl_lock(dsc_mutex);
    descriptors::send(dsc_socket.get(), std::as_bytes(std::span(&dsp_limits, 1)),
                      std::array{dsl_there.get(), inl_memory});
    c_descriptor dsl_process;
    const dsd_report dsl_report = receive(&dsl_process);
    if (dsl_report.iec_kind != ie_kind::ie_started || !dsl_process)
        fail(dsl_report.imc_process, "no process for a worker");
    std::erase_if(dsc_ends, [&](const dsd_report &dsp_end) { return dsp_end.imc_process == dsl_report.imc_process; });
    dsl_worker->start(dsl_report.imc_process, std::move(dsl_process));
    return dsl_worker;
}

/** The next report that is no worker's end; those are kept. The lock is held, or nobody else knows this object. */
dsd_report c_nursery::receive(c_descriptor *adsp_descriptor)
{
    for (;;) {
        dsd_report dsl_report{};
        auto dsl_received = descriptors::receive(dsc_socket.get(), std::as_writable_bytes(std::span(&dsl_report, 1)));
        if (dsl_received.ulc_length != sizeof dsl_report)
            fail(ECONNRESET, "the process that makes workers has ended");
        if (dsl_report.iec_kind == ie_kind::ie_ended) {
            keep(dsl_report);
            continue;
        }
        if (adsp_descriptor != nullptr)
            *adsp_descriptor = std::move(dsl_received.adsc_descriptors[0]);
        return dsl_report;
    }
}

void c_nursery::keep(const dsd_report &dsp_end)
{
    if (dsc_ends.size() == ul_most_ends)
        dsc_ends.pop_front();
    dsc_ends.push_back(dsp_end);
}

void c_nursery::keep_reports()
{
    while (is_readable(dsc_socket.get())) {
        dsd_report dsl_report{};
        if (descriptors::receive(dsc_socket.get(), std::as_writable_bytes(std::span(&dsl_report, 1))).ulc_length == 0)
            return;
        keep(dsl_report);
    }
}

std::optional<dsd_report> c_nursery::end_of(pid_t inp_process)
{
    const std::lock_guard dsl_lock(dsc_mutex);
    keep_reports();
    const auto dsl_found = std::ranges::find(dsc_ends, inp_process, &dsd_report::imc_process);
    if (dsl_found == dsc_ends.end())
        return {};
    const dsd_report dsl_report = *dsl_found;
    dsc_ends.erase(dsl_found);
    return dsl_report;
}
