#include "worker/orders.h"

#include "jni/exceptions.h"

#include <natives/WorkerAnswer.h>
#include <natives/WorkerOrder.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace WorkerAnswer = natives::WorkerAnswer;

namespace
{

const dsd_order_work *find(int32_t imp_order) noexcept
{
    for (const auto dsl_orders : std::array{reader_orders(), splitter_orders(), video_orders(), sound_orders(),
                                            writer_orders(), process_orders()})
        if (const auto dsl_found = std::ranges::find(dsl_orders, imp_order, &dsd_order_work::imc_order);
            dsl_found != dsl_orders.end())
            return &*dsl_found;
    return nullptr;
}

/** Does what one order wants. */
void do_work(dsd_workplace &dsp_place, int32_t imp_kind, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    const dsd_order_work *adsl_work = find(imp_kind);
    if (adsl_work == nullptr)
        throw std::logic_error("no such order");
    adsl_work->do_it(dsp_place, dsp_order, dsp_results);
}

/** An order's failure: one of WorkerAnswer's, and a text or null. */
struct dsd_failure
{
    int32_t imc_kind;
    std::optional<std::string> strc_text;
};

/** The exception that is being handled, of the kind that natives throw. */
dsd_failure current_failure()
{
    try {
        throw;
    } catch (const c_channel_failed &dsl_exception) {
        return {WorkerAnswer::CHANNEL, dsl_exception.what()};
    } catch (const c_ffmpeg_exception &dsl_exception) {
        return {WorkerAnswer::RUNTIME, dsl_exception.what()};
    } catch (const std::bad_alloc &) {
        return {WorkerAnswer::MEMORY, "thrown from native code"};
    } catch (const std::exception &dsl_exception) {
        return {WorkerAnswer::ERROR, dsl_exception.what()};
    } catch (...) {
        return {WorkerAnswer::ERROR, {}};
    }
}

const char *text_of(const dsd_failure &dsp_failure) noexcept
{
    return dsp_failure.strc_text ? dsp_failure.strc_text->c_str() : nullptr;
}

/** Whether the orders behind one with these results wait: there is none, or its first number has one of the bits. */
bool stops(std::span<const uint8_t> utp_results, uint32_t ump_bits)
{
    if (utp_results.size() < sizeof ump_bits)
        return true;
    uint32_t uml_first = 0;
    std::memcpy(&uml_first, utp_results.data(), sizeof uml_first);
    return (uml_first & ump_bits) != 0;
}

/** Does orders one after the other, and puts an answer for each that was done or failed. */
void do_several(dsd_workplace &dsp_place, c_message_reader &dsp_orders, c_message_writer &dsp_results)
{
    const auto uml_bits = dsp_orders.take<uint32_t>();
    const auto ull_most = static_cast<size_t>(std::max(dsp_orders.take<int32_t>(), 0));
    const bool bl_behind_others = dsp_orders.take<int32_t>() != 0;
    if (bl_behind_others && dsp_place.bc_stopped)
        return;
    bool bl_goes_on = true;
    while (bl_goes_on && !dsp_orders.empty() && dsp_results.bytes().size() < ull_most) {
        const auto iml_kind = dsp_orders.take<int32_t>();
        c_message_reader dsl_message(dsp_orders.take_bytes());
        dsp_place.dsc_lane.count_order();
        const size_t ull_before = dsp_results.bytes().size();
        try {
            dsp_results.put(int32_t{WorkerAnswer::DONE});
            const size_t ull_results = dsp_results.begin_list();
            do_work(dsp_place, iml_kind, dsl_message, dsp_results);
            dsp_results.end_list(ull_results);
            bl_goes_on = !stops(dsp_results.bytes().subspan(ull_results), uml_bits);
        } catch (...) {
            const dsd_failure dsl_failure = current_failure();
            dsp_results.clear(ull_before);
            dsp_results.put(int32_t{WorkerAnswer::FAILED});
            const size_t ull_results = dsp_results.begin_list();
            dsp_results.put(dsl_failure.imc_kind);
            dsp_results.put_text(text_of(dsl_failure));
            dsp_results.end_list(ull_results);
            bl_goes_on = false;
        }
        dsp_place.dsc_lane.leave(dsp_results.bytes());
        std::atomic_ref(dsp_place.dsc_lane.progress()).fetch_add(1, std::memory_order_relaxed);
    }
    dsp_place.bc_stopped = !bl_goes_on || !dsp_orders.empty();
}

void do_order(dsd_workplace &dsp_place, c_lane::dsd_order &dsp_order)
{
    c_message_writer &dsl_results = dsp_place.dsc_results;
    dsl_results.begin_anew();
    if (dsp_order.imc_kind == natives::WorkerOrder::SEVERAL)
        do_several(dsp_place, dsp_order.dsc_message, dsl_results);
    else
        do_work(dsp_place, dsp_order.imc_kind, dsp_order.dsc_message, dsl_results);
    dsp_place.dsc_lane.finish(dsl_results);
}

/** Does what the lane is told until it ends. */
void do_orders(dsd_workplace &dsp_place)
{
    for (;;) {
        c_lane::dsd_order dsl_order = dsp_place.dsc_lane.wait_for_order();
        if (dsl_order.imc_kind == natives::WorkerOrder::END)
            return;
        try {
            do_order(dsp_place, dsl_order);
        } catch (...) {
            const dsd_failure dsl_failure = current_failure();
            dsp_place.dsc_lane.fail(dsl_failure.imc_kind, text_of(dsl_failure));
        }
    }
}

} // namespace

c_coded_stream take_stream(c_message_reader &dsp_order)
{
    c_coded_stream::values aill_values{};
    dsp_order.take_all(std::span<int64_t>(aill_values));
    const auto utl_extradata = dsp_order.take_bytes();
    return {aill_values, {utl_extradata.begin(), utl_extradata.end()}};
}

void serve(c_ffmpeg &dsp_ffmpeg, const c_shared_memory &dsp_memory, int32_t imp_lane)
{
    c_lane dsl_lane(dsp_memory, imp_lane);
    dsd_workplace dsl_place{dsp_ffmpeg, dsp_memory, dsl_lane};
    do_orders(dsl_place);
    dsl_place.clear();
    dsl_lane.finish({}); // what the lane made is gone, and the caller may use its memory again
}
