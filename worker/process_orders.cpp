// Orders for a lane and for its process, whatever is read or decoded.

#include "kivjniffmpeg/codecs/allocation_limit.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "worker/orders.h"

#include <natives/WorkerOrder.h>

namespace WorkerOrder = natives::WorkerOrder;

namespace
{

void clear(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &)
{
    dsp_place.clear();
}

void limit_allocations(dsd_workplace &, c_message_reader &dsp_order, c_message_writer &)
{
    allocation_limit::set(dsp_order.take<int64_t>());
}

void set_log_level(dsd_workplace &, c_message_reader &dsp_order, c_message_writer &)
{
    g_avutil.av_log_set_level(dsp_order.take<int32_t>());
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::CLEAR, clear},
    {WorkerOrder::ALLOCATION_LIMIT, limit_allocations},
    {WorkerOrder::LOG_LEVEL, set_log_level},
};

} // namespace

std::span<const dsd_order_work> process_orders() noexcept
{
    return s_orders;
}
