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
    ie_silent,   /**< it made no progress for too long, or nothing else */
    ie_lied,     /**< the turn is a number that follows on none */
};

/** A half of a lane. */
struct dsd_half
{
    int32_t imc_lane;
    int32_t imc_half;
};

/** @throws std::out_of_range when there is no such lane */
void check(const c_worker &dsp_worker, int32_t imp_lane);

/** The half of a lane. @throws std::out_of_range when there is none */
dsd_half checked(const c_worker &dsp_worker, int32_t imp_lane, int32_t imp_half);

/** Makes the turn the worker's. What the caller wrote before is seen by the worker. @pre the half was checked */
void give(const c_worker &dsp_worker, dsd_half dsp_half, uint32_t ump_turn) noexcept;

/**
 * Waits until a turn that was given is followed by the next one. What the worker wrote before is seen then.
 *
 * @param bp_soon whether the thread looks some times before it sleeps
 * @param dsp_longest the longest time in which the worker's number of progress stays the same; the turn itself may take ten
 *     times as long
 * @pre the half was checked
 */
ie_end take(const c_worker &dsp_worker, dsd_half dsp_half, uint32_t ump_turn, bool bp_soon,
            std::chrono::milliseconds dsp_longest) noexcept;

} // namespace lane_turn
