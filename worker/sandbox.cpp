#include "worker/sandbox.h"

#include "worker/syscall_filter.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <system_error>

namespace sandbox
{

namespace
{

/** The kernel's landlock_ruleset_attr, of which older headers have the first field only. */
struct dsd_landlock_rules
{
    uint64_t ulc_files;
    uint64_t ulc_network;
    uint64_t ulc_scopes;
};

/** What a version of Landlock can forbid. Everything that is named and not allowed for a place is forbidden. */
struct dsd_landlock_version
{
    int inc_version;
    dsd_landlock_rules dsc_rules;
    size_t ulc_size; // of the fields that the version knows
};

constexpr dsd_landlock_version s_landlock_versions[] = {
    {6, {(1U << 16) - 1, 3, 3}, 24}, // abstract sockets and signals
    {5, {(1U << 16) - 1, 3, 0}, 16}, // ioctl of devices
    {4, {(1U << 15) - 1, 3, 0}, 16}, // TCP
    {3, {(1U << 15) - 1, 0, 0}, 8},  // truncate
    {2, {(1U << 14) - 1, 0, 0}, 8},  // links across directories
    {1, {(1U << 13) - 1, 0, 0}, 8},
};

/**
 * A sanitizer maps terabytes, makes system calls of its own and writes what it finds: in its builds a process keeps
 * standard error, and there are neither limits of memory and files nor a filter.
 */
constexpr bool b_sanitized = KIV_SANITIZED != 0;

constexpr uint32_t um_create_ruleset_version = 1; // LANDLOCK_CREATE_RULESET_VERSION

[[noreturn]] void fail(const char *strp_what)
{
    throw std::system_error(errno, std::generic_category(), strp_what);
}

/** Closes all descriptors but the channel and standard error, which nobody reads from now on. */
void close_descriptors(int inp_channel)
{
    const int inl_nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (!b_sanitized && (inl_nothing < 0 || dup2(inl_nothing, STDERR_FILENO) < 0))
        fail("standard error cannot be closed");
    const auto unl_channel = static_cast<unsigned>(inp_channel);
    constexpr auto un_first = static_cast<unsigned>(STDERR_FILENO + 1);
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    if ((unl_channel > un_first && syscall(SYS_close_range, un_first, unl_channel - 1, 0) != 0) ||
        syscall(SYS_close_range, unl_channel + 1, ~0U, 0) != 0)
        fail("descriptors cannot be closed");
}

/** Forbids all files, connections and signals. @return the version that does so; 0 for none */
int32_t forbid_files() noexcept
{
    const auto inl_version =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, nullptr, size_t{0}, um_create_ruleset_version));
    for (const dsd_landlock_version &dsl_known : s_landlock_versions) {
        if (dsl_known.inc_version > inl_version)
            continue;
        const auto inl_rules =
            static_cast<int>(syscall(SYS_landlock_create_ruleset, &dsl_known.dsc_rules, dsl_known.ulc_size, 0));
        if (inl_rules < 0)
            return 0;
        const bool bl_held = syscall(SYS_landlock_restrict_self, inl_rules, 0) == 0;
        close(inl_rules);
        return bl_held ? inl_version : 0;
    }
    return 0;
}

bool limit(int inp_resource, rlim_t ulp_soft, rlim_t ulp_hard) noexcept
{
    rlimit dsl_limit{};
    if (getrlimit(static_cast<__rlimit_resource_t>(inp_resource), &dsl_limit) != 0)
        return false;
    dsl_limit.rlim_cur = std::min(dsl_limit.rlim_max, ulp_soft);
    dsl_limit.rlim_max = std::min(dsl_limit.rlim_max, ulp_hard);
    return setrlimit(static_cast<__rlimit_resource_t>(inp_resource), &dsl_limit) == 0;
}

/** What the process has now, in bytes: all of its address space, and its private data. */
struct dsd_memory
{
    uint64_t ulc_all = 0;
    uint64_t ulc_data = 0;
};

dsd_memory memory_in_use()
{
    uint64_t aull_pages[6]{}; // size, resident, shared, text, library, data
    std::ifstream dsl_pages("/proc/self/statm");
    for (uint64_t &ull_pages : aull_pages)
        dsl_pages >> ull_pages;
    const auto ull_page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    return {aull_pages[0] * ull_page, aull_pages[5] * ull_page};
}

bool set_limits(const dsd_limits &dsp_limits, const dsd_memory &dsp_now) noexcept
{
    bool bl_all = !b_sanitized;
    // Stacks of threads and arenas of malloc take addresses that are never used, so only data is limited tightly.
    const rlim_t ull_data = dsp_now.ulc_data + dsp_limits.ulc_memory;
    const rlim_t ull_addresses = dsp_now.ulc_all + 2 * dsp_limits.ulc_memory + (rlim_t{4} << 30U);
    if (!b_sanitized) {
        bl_all &= limit(RLIMIT_DATA, ull_data, ull_data);
        bl_all &= limit(RLIMIT_AS, ull_addresses, ull_addresses);
        bl_all &= limit(RLIMIT_FSIZE, 0, 0);
        bl_all &= limit(RLIMIT_NOFILE, 0, 0);
    }
    if (dsp_limits.umc_processor_seconds != 0)
        bl_all &= limit(RLIMIT_CPU, dsp_limits.umc_processor_seconds, rlim_t{dsp_limits.umc_processor_seconds} + 1);
    for (const auto iel_resource :
         {RLIMIT_CORE, RLIMIT_MEMLOCK, RLIMIT_MSGQUEUE, RLIMIT_NICE, RLIMIT_RTPRIO, RLIMIT_SIGPENDING, RLIMIT_LOCKS})
        bl_all &= limit(iel_resource, 0, 0);
    return bl_all;
}

bool die_with(pid_t inp_parent)
{
    const bool bl_held = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0;
    if (getppid() != inp_parent) // it died before the line above
        throw std::system_error(ESRCH, std::generic_category(), "the parent is gone");
    return bl_held;
}

} // namespace

uint32_t leave_namespaces() noexcept
{
    constexpr std::array ainl_namespaces{CLONE_NEWNET, CLONE_NEWIPC, CLONE_NEWUTS, CLONE_NEWNS, CLONE_NEWCGROUP};
    static constinit uint32_t uml_held = 0; // a process that is forked later has it too
    if (uml_held != 0)
        return uml_held;
    // A user without rights gets the others inside a user namespace only. Root may be forbidden that one, or all.
    uml_held = unshare(CLONE_NEWUSER) == 0 ? uint32_t{CLONE_NEWUSER} : 0;
    for (const int inl_namespace : ainl_namespaces)
        if (unshare(inl_namespace) == 0)
            uml_held |= static_cast<uint32_t>(inl_namespace);
    return uml_held;
}

dsd_held enter(int inp_channel, pid_t inp_parent, const dsd_limits &dsp_limits)
{
    const dsd_memory dsl_now = memory_in_use();
    dsd_held dsl_held{};
    close_descriptors(inp_channel);
    dsl_held.umc_namespaces = leave_namespaces();
    dsl_held.bc_no_new_privileges = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
    dsl_held.imc_landlock = forbid_files();
    dsl_held.bc_limits = set_limits(dsp_limits, dsl_now);
    dsl_held.bc_not_dumpable = prctl(PR_SET_DUMPABLE, 0) == 0;
    // Last of these: a new user namespace and a process that cannot be dumped reset the signal.
    dsl_held.bc_dies_with_parent = die_with(inp_parent);
    dsl_held.bc_filter = !b_sanitized && syscall_filter::install(inp_channel) == 0;
    return dsl_held;
}

std::string describe(const dsd_held &dsp_held)
{
    std::string strl_words;
    const auto say = [&](bool bp_held, const std::string &strp_what) {
        strl_words += (strl_words.empty() ? "" : ", ") + std::string(bp_held ? "" : "no ") + strp_what;
    };
    say(dsp_held.bc_filter, "filter of system calls");
    say(dsp_held.imc_landlock != 0,
        dsp_held.imc_landlock != 0 ? "Landlock " + std::to_string(dsp_held.imc_landlock) : "Landlock");
    say(dsp_held.umc_namespaces != 0, "namespaces");
    say(dsp_held.bc_limits, "limits");
    say(dsp_held.bc_no_new_privileges, "lock of privileges");
    say(dsp_held.bc_not_dumpable, "protection from debuggers");
    say(dsp_held.bc_dies_with_parent, "death with its parent");
    return strl_words;
}

} // namespace sandbox
