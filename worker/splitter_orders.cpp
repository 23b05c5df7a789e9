// Orders that cut streams into packets.

#include "worker/bytes.h"
#include "worker/orders.h"

#include <natives/PacketFlags.h>
#include <natives/SplitterFields.h>
#include <natives/WorkerOrder.h>

#include <array>

namespace SplitterFields = natives::SplitterFields;
namespace WorkerOrder = natives::WorkerOrder;

namespace
{

void create(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    dsp_place.dsc_splitter = std::make_unique<c_packet_splitter>(&dsp_place.dsc_ffmpeg, dsp_order.take_text());
}

void split(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    c_packet_splitter &dsl_splitter = require(dsp_place.dsc_splitter);
    std::array<int64_t, SplitterFields::SIZE> aill_fields{};
    dsp_order.take_all(std::span<int64_t>(aill_fields));
    const auto utl_input = padded_copy(dsl_splitter.input(), dsp_order.take_bytes());
    const auto dsl_piece = dsl_splitter.split(utl_input, aill_fields[SplitterFields::PRESENTATION_TIME],
                                              aill_fields[SplitterFields::DECODING_TIME]);
    aill_fields[SplitterFields::USED] = static_cast<int64_t>(dsl_piece.ulc_used);
    aill_fields[SplitterFields::PRESENTATION_TIME] = dsl_splitter.state().pts;
    aill_fields[SplitterFields::DECODING_TIME] = dsl_splitter.state().dts;
    aill_fields[SplitterFields::FLAGS] = dsl_splitter.is_key() ? natives::PacketFlags::KEY : 0;
    dsp_results.put_all(std::span<const int64_t>(aill_fields));
    if (dsl_piece.utc_packet.empty())
        dsp_results.put_none();
    else
        dsp_results.put_all(dsl_piece.utc_packet);
}

void restart(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &)
{
    require(dsp_place.dsc_splitter).restart();
}

void stream(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    const c_packet_splitter &dsl_splitter = require(dsp_place.dsc_splitter);
    dsp_results.put_all(std::span<const int64_t>(dsl_splitter.stream_info()));
    dsp_results.put_text(dsl_splitter.codec_name());
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::SPLITTER_CREATE, create},
    {WorkerOrder::SPLITTER_SPLIT, split},
    {WorkerOrder::SPLITTER_RESTART, restart},
    {WorkerOrder::SPLITTER_STREAM, stream},
};

} // namespace

std::span<const dsd_order_work> splitter_orders() noexcept
{
    return s_orders;
}
