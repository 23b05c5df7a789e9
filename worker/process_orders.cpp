// Orders for the whole process.

#include "kivjniffmpeg/codecs/allocation_limit.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "worker/orders.h"

#include <natives/WorkerOrder.h>

namespace WorkerOrder = natives::WorkerOrder;

namespace
{

void limit_allocations(dsd_workplace &, c_message_reader &dsp_order, c_message_writer &)
{
    allocation_limit::set(dsp_order.take<int64_t>());
}

void set_log_level(dsd_workplace &, c_message_reader &dsp_order, c_message_writer &)
{
    g_avutil.av_log_set_level(dsp_order.take<int32_t>());
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::ALLOCATION_LIMIT, limit_allocations},
    {WorkerOrder::LOG_LEVEL, set_log_level},
};

} // namespace

std::span<const dsd_order_work> process_orders() noexcept
{
    return s_orders;
}
