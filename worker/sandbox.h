/** @file Where a process gives up what decoding does not need. */
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace sandbox
{

/** What the process may use from now on. */
struct dsd_limits
{
    uint64_t ulc_memory;            /**< bytes beyond those that it has now, without shared memory */
    uint32_t umc_processor_seconds; /**< processor time of all its threads, from its start; 0 for any */
};

/** What holds. The kernel or the machine around it may lack some. */
struct dsd_held
{
    bool bc_no_new_privileges;
    bool bc_limits;
    bool bc_filter;
    int32_t imc_landlock;    /**< version of Landlock, 0 without */
    uint32_t umc_namespaces; /**< CLONE_NEWUSER and the like */
    bool bc_dies_with_parent;
    bool bc_not_dumpable;
};

/**
 * Moves into namespaces in which there is nothing, once; those that the kernel gives. Making them takes longer than a fork, so
 * that the process that makes workers does it for all of them: they have no system call by which they could meet there.
 *
 * @return CLONE_NEWUSER and the like
 * @pre the process has one thread
 */
uint32_t leave_namespaces() noexcept;

/**
 * Gives up all rights for good, in this order: descriptors, namespaces, files and the network (Landlock), limits,
 * privileges, and system calls. What the kernel lacks is left out, and the rest holds.
 *
 * @param inp_channel the one descriptor that stays beside standard error, which is moved to /dev/null
 * @param inp_parent the process with which this one dies
 * @return what holds
 * @throws std::system_error when a descriptor cannot be closed, or the parent is gone
 * @throws std::bad_alloc
 * @pre the process has one thread; libraries are loaded, because none can be opened afterwards
 */
dsd_held enter(int inp_channel, pid_t inp_parent, const dsd_limits &dsp_limits);

/** What holds in words, for a log line. */
std::string describe(const dsd_held &dsp_held);

} // namespace sandbox
