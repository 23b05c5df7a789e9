// Orders that write containers.

#include "worker/bytes.h"
#include "worker/orders.h"
#include "worker/remote_channel.h"

#include <natives/WorkerOrder.h>

#include <string>
#include <utility>

namespace WorkerOrder = natives::WorkerOrder;

namespace
{

void open(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    const bool bl_seekable = dsp_order.take<int32_t>() != 0;
    const std::string strl_format = dsp_order.take_text();
    const std::string strl_codec = dsp_order.take_text();
    c_mediawriter::values aill_sound{};
    dsp_order.take_all(std::span<int64_t>(aill_sound));
    const auto utl_extradata = dsp_order.take_bytes();
    dsp_place.dsc_writer.reset();
    dsp_place.dsc_writer =
        std::make_unique<c_mediawriter>(&dsp_place.dsc_ffmpeg, std::make_unique<c_remote_sink>(dsp_place.dsc_lane),
                                        bl_seekable, strl_format, strl_codec, aill_sound, utl_extradata);
}

void write(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    c_mediawriter &dsl_writer = require(dsp_place.dsc_writer);
    const auto ill_time = dsp_order.take<int64_t>();
    const auto ill_duration = dsp_order.take<int64_t>();
    c_padded_bytes dsl_padded;
    dsl_writer.write(padded_copy(dsl_padded, dsp_order.take_bytes()), ill_time, ill_duration);
}

void finish(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    require(dsp_place.dsc_writer).finish(dsp_order.take_bytes());
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::WRITER_OPEN, open},
    {WorkerOrder::WRITER_WRITE, write},
    {WorkerOrder::WRITER_FINISH, finish},
};

} // namespace

std::span<const dsd_order_work> writer_orders() noexcept
{
    return s_orders;
}
