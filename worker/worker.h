/** @file The life of one worker. */
#pragma once

#include "worker/sandbox.h"

#include <sys/types.h>

/**
 * Gives up all rights, says so on the channel, and then does what its lanes are told, a thread a lane. Runs in a process
 * that was forked for it, and never returns: the process ends when the other end of the channel is closed.
 *
 * Records of the channel: first a text to the caller, what holds; then, to the worker, numbers of lanes that are used
 * from now on, an int32_t each.
 *
 * @param inp_channel the worker's end
 * @param inp_memory the shared memory
 * @param inp_parent the process with which this one dies
 */
[[noreturn]] void run_worker(int inp_channel, int inp_memory, pid_t inp_parent, const sandbox::dsd_limits &dsp_limits);
