/** @file What the library and the nursery of workers say to each other, a record a packet of their socket. */
#pragma once

#include <cstdint>

namespace nursery_messages
{

/** The descriptor on which the nursery finds its socket. */
inline constexpr int in_socket = 3;

/** A worker's first message states what it has given up, or this and why it does not work. */
inline constexpr char byr_failed = '!';

/** To the nursery: a worker is wanted. With it come the worker's end of its socket, and its shared memory. */
struct dsd_start
{
    uint64_t ulc_memory;            /**< bytes that the worker may allocate */
    uint32_t umc_processor_seconds; /**< 0 for any */
    uint32_t umc_gap;
};

enum class ie_kind : int32_t
{
    ie_started, /**< the answer to dsd_start. With it comes a descriptor of the process */
    ie_failed,  /**< the answer to dsd_start when there is no process */
    ie_ended,   /**< a worker ended, at any time */
};

/** From the nursery. */
struct dsd_report
{
    ie_kind iec_kind;
    int32_t imc_process; /**< the process, or errno when it failed */
    int32_t imc_signal;  /**< the signal that ended it, or 0 */
    int32_t imc_status;  /**< the exit status when there was no signal */
};

} // namespace nursery_messages
