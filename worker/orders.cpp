#include "worker/orders.h"

#include "jni/exceptions.h"

#include <natives/WorkerAnswer.h>
#include <natives/WorkerOrder.h>

#include <algorithm>
#include <array>
#include <exception>
#include <new>
#include <stdexcept>

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

void do_order(dsd_workplace &dsp_place, c_lane::dsd_order &dsp_order)
{
    const dsd_order_work *adsl_work = find(dsp_order.imc_kind);
    if (adsl_work == nullptr)
        throw std::logic_error("no such order");
    c_message_writer dsl_results;
    adsl_work->do_it(dsp_place, dsp_order.dsc_message, dsl_results);
    dsp_place.dsc_lane.finish(std::move(dsl_results));
}

/** Reports the exception that is being handled, of the kind that natives throw. */
void report_failure(c_lane &dsp_lane)
{
    try {
        throw;
    } catch (const c_channel_failed &dsl_exception) {
        dsp_lane.fail(WorkerAnswer::CHANNEL, dsl_exception.what());
    } catch (const c_ffmpeg_exception &dsl_exception) {
        dsp_lane.fail(WorkerAnswer::RUNTIME, dsl_exception.what());
    } catch (const std::bad_alloc &) {
        dsp_lane.fail(WorkerAnswer::MEMORY, "thrown from native code");
    } catch (const std::exception &dsl_exception) {
        dsp_lane.fail(WorkerAnswer::ERROR, dsl_exception.what());
    } catch (...) {
        dsp_lane.fail(WorkerAnswer::ERROR, nullptr);
    }
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
            report_failure(dsp_place.dsc_lane);
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
