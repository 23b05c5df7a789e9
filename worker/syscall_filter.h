/** @file What the kernel does for a process that decodes, and nothing else. */
#pragma once

#include <cstdint>
#include <span>

namespace syscall_filter
{

/** What a call's arguments must be. */
enum class ie_condition : uint8_t
{
    ie_any,
    ie_on_channel,        /**< the first argument is the channel's descriptor */
    ie_on_standard_error, /**< the first argument is descriptor 2 */
    ie_not_executable,    /**< the third argument, the protection, does not hold PROT_EXEC */
    ie_anonymous,         /**< neither executable nor of a descriptor */
    ie_thread,            /**< the first argument creates a thread of this process */
    ie_own_process,       /**< the first argument is this process */
    ie_name_thread,       /**< the first argument is PR_SET_NAME */
    ie_missing,           /**< the call fails with ENOSYS, so that the C library takes an older one */
};

/** One call that the filter knows. */
struct dsd_call
{
    int inc_number;
    ie_condition iec_condition;
    const char *strc_name;
    const char *strc_reason;
};

/** All calls that the filter knows; docs/wall.md has the same list. Any other call ends the process with SIGSYS. */
std::span<const dsd_call> calls() noexcept;

/**
 * Puts the filter on the calling thread and on those that it creates. No thread can remove it.
 *
 * @param inp_channel the descriptor of the one socket
 * @return 0, or the errno of a kernel that has no filters
 * @throws std::bad_alloc
 * @pre the process has given up new privileges, and has one thread
 */
int install(int inp_channel);

} // namespace syscall_filter
