/** @file The caller's side of a worker's lane, as simple as it can be: it believes everything. */
#pragma once

#include "worker/message.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

class c_worker;

/** A worker's failure. */
class c_order_failed : public std::runtime_error
{
public:
    c_order_failed(int32_t imp_failure, const std::string &strp_text)
        : std::runtime_error(strp_text), imc_failure(imp_failure)
    {
    }

    int32_t imc_failure; /**< a failure of WorkerAnswer */
};

/** The worker has ended, or does not answer. */
class c_worker_gone : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

class c_lane_client
{
public:
    /**
     * Opens the lane.
     *
     * @param ulp_area bytes of the area of messages
     * @param utp_film the bytes of the container that orders read
     */
    c_lane_client(c_worker &dsp_worker, int32_t imp_lane, size_t ulp_area, std::span<const uint8_t> utp_film);

    /** Gives an order and gets its results. @throws c_order_failed, c_worker_gone */
    c_message_reader order(int32_t imp_order, const c_message_writer &dsp_values = {});

    /** Gives an order in a lane that is set up anew, and does not look at its results. @throws c_worker_gone */
    int32_t kind_of_answer(int32_t imp_order);

    /** The same with values: numbers, texts and lists of numbers. */
    template <class... VALUES> c_message_reader order_of(int32_t imp_order, const VALUES &...dsp_values)
    {
        c_message_writer dsl_order;
        const auto put = [&](const auto &dsp_value) {
            if constexpr (std::is_arithmetic_v<std::decay_t<decltype(dsp_value)>>)
                dsl_order.put(dsp_value);
            else
                dsl_order.put_all(std::span<const typename std::decay_t<decltype(dsp_value)>::value_type>(dsp_value));
        };
        (put(dsp_values), ...);
        return order(imp_order, dsl_order);
    }

    /** Ends the lane and waits until it has ended. */
    void end();

    /** Tells the worker that the picture in a block is closed, at any time. */
    void close_picture(int32_t imp_slot);

    /** What orders have written into the sink. */
    const std::vector<uint8_t> &written() const noexcept { return utc_written; }
    /** What the worker has got done. */
    uint32_t progress() const;

    /** The shared memory behind the places of all lanes. */
    size_t blocks() const noexcept;

private:
    template <class T> T &field(int32_t imp_field) const; // of the lane
    template <class T> T &half(int32_t imp_field) const;  // of the half whose turn it is
    void give(int32_t imp_kind, const c_message_writer &dsp_values);
    c_message_reader take();
    void wait();
    void end_order(int32_t imp_answer);
    void set_up(size_t ulp_area) const;
    void reply(int32_t imp_kind, c_message_reader dsp_question);

    c_worker &dsc_worker;
    int32_t imc_lane;
    int32_t imc_half = 0;
    std::span<const uint8_t> utc_film;
    std::vector<uint8_t> utc_written;
    size_t ulc_position = 0;
};
