/** @file The process that makes workers. */
#pragma once

/**
 * Makes a worker whenever it is told to, and reports when one ends. FFmpeg is loaded here, once, so that a worker needs no
 * more time than a fork. No byte of any film is ever seen here.
 *
 * Returns when the process at the other end of the socket is gone; all workers are dead by then.
 *
 * @param inp_socket carries nursery_messages
 * @param strp_ffmpeg directory of the five libraries
 * @throws std::exception when FFmpeg cannot be loaded, or the socket fails
 */
void run_nursery(int inp_socket, const char *strp_ffmpeg);
