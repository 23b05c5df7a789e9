/** @file The turns of a lane, on the side of the caller. */
#pragma once

#include "kivjniffmpeg/workers/nursery_client.h"

#include <chrono>
#include <cstdint>

namespace lane_turn
{

/** How waiting for a turn ended. */
enum class ie_end : int32_t
{
    ie_answered, /**< the turn is the caller's */
    ie_ended,    /**< the worker has ended */
    ie_silent,   /**< it made no progress for too long */
    ie_lied,     /**< the turn is a number that follows on none */
};

/** @throws std::out_of_range when there is no such lane */
void check(const c_worker &dsp_worker, int32_t imp_lane);

/** Makes the turn the worker's. What the caller wrote before is seen by the worker. @pre the lane was checked */
void give(const c_worker &dsp_worker, int32_t imp_lane, uint32_t ump_turn) noexcept;

/**
 * Waits until a turn that was given is followed by the next one. What the worker wrote before is seen then.
 *
 * @param dsp_longest the longest time in which the worker's number of progress stays the same
 * @pre the lane was checked
 */
ie_end take(const c_worker &dsp_worker, int32_t imp_lane, uint32_t ump_turn,
            std::chrono::milliseconds dsp_longest) noexcept;

} // namespace lane_turn
