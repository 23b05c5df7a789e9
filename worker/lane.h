/** @file One place in the shared memory where orders arrive and answers leave. */
#pragma once

#include "worker/message.h"
#include "worker/shared_memory.h"

#include <natives/WorkerLane.h>

#include <cstdint>
#include <exception>
#include <span>
#include <vector>

/** The caller's source or sink failed; the caller knows why. */
class c_channel_failed : public std::exception
{
public:
    const char *what() const noexcept override { return "the channel failed"; }
};

/**
 * The worker's side of a lane. One thread uses it.
 *
 * Each half of a lane is a game of two: each side writes only while it is its turn, and then gives the turn away. The slots of
 * closed pictures are outside of the game. The worker does the orders in the two halves in turn. It trusts the caller, but not
 * its own arithmetic: what leaves the memory throws.
 */
class c_lane
{
public:
    c_lane(const c_shared_memory &dsp_memory, int32_t imp_lane);

    /** An order and its values, which stay until the next order. */
    struct dsd_order
    {
        int32_t imc_kind;
        c_message_reader dsc_message;
    };

    /** Waits for the next order. Values of one that did not fit are sent again here, when the caller asks for them. */
    dsd_order wait_for_order();

    /** Gives the results of an order. */
    void finish(const c_message_writer &dsp_results);
    /** Leaves the results of an order so far, for a caller whose worker ends before the rest is there. */
    void leave(std::span<const uint8_t> utp_results);
    /** Answers that the order failed. @param imp_failure a failure of WorkerAnswer. @param strp_text null for none */
    void fail(int32_t imp_failure, const char *strp_text);

    /**
     * Asks the caller for something in the midst of an order.
     *
     * @param imp_kind one of READ, SEEK, TOTAL and WRITE of WorkerAnswer
     * @return the caller's answer
     * @throws c_channel_failed when its source or sink failed
     */
    int64_t ask(int32_t imp_kind, const c_message_writer &dsp_values);

    /** One more order was taken, out of several that came together. */
    void count_order() noexcept { ++ulc_orders; }

    /** The number of the last order. */
    uint64_t order_number() const noexcept { return ulc_orders; }

    /** The block through which bytes of containers pass; empty without one. */
    std::span<uint8_t> block() const;

    /** Takes the slots of pictures that the caller has closed. @return how many there were */
    size_t take_closed(std::span<int64_t, natives::WorkerLane::MOST_CLOSED> ailp_slots) const noexcept;

    /** Counts what a long order gets done, for a caller that gives up on one that stands still. Any thread adds to it. */
    uint32_t &progress() const noexcept;

private:
    void give_turn(int32_t imp_kind, std::span<const uint8_t> utp_message, size_t ulp_left = 0);
    void turn_to_other_half() noexcept;
    void wait_for_turn();
    dsd_order take_turn(std::vector<uint8_t> &utp_values);
    template <class T> T read(int32_t imp_field) const noexcept; // of the half
    template <class T> void write(int32_t imp_field, T dsp_value) const noexcept;
    uint32_t &turn() const noexcept;
    uint32_t &number(int32_t imp_field) const noexcept; // of the lane
    size_t room() const noexcept;

    const c_shared_memory &dsc_memory;
    std::span<uint8_t> utc_lane;
    std::span<uint8_t> utc_half; // with the present order, or the next one
    uint64_t ulc_orders = 0;
    uint32_t umc_long_waits = 0;     // one after the other
    size_t ulc_left = 0;             // bytes of results that are in the area already
    std::vector<uint8_t> utc_values; // of the order
    c_message_writer dsc_results;    // of the last order, while the caller makes room for them
};
