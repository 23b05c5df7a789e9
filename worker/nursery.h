/** @file The process that makes workers. */
#pragma once

#include "worker/sandbox.h"

#include <sys/types.h>

/** What a worker does in its process. It does not return. The parameters are those of run_worker. */
using worker_life = void (*)(int inp_channel, int inp_memory, pid_t inp_parent, const sandbox::dsd_limits &dsp_limits);

/**
 * Loads FFmpeg and registers what it has.
 *
 * @param strp_ffmpeg directory of the five libraries
 * @throws std::exception when they cannot be loaded
 */
void load_ffmpeg(const char *strp_ffmpeg);

/**
 * Makes a worker whenever it is told to, and reports when one ends. FFmpeg is loaded before, once, so that a worker needs no
 * more time than a fork. No byte of any film is ever seen here.
 *
 * Returns when the process at the other end of the socket is gone; all workers are dead by then.
 *
 * @param inp_socket carries nursery_messages
 * @throws std::exception when the socket fails
 */
void run_nursery(int inp_socket, worker_life dsp_life);
