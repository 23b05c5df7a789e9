// Orders that read containers.

#include "kivjniffmpeg/containers/media_metadata.h"
#include "kivjniffmpeg/containers/packet_fields.h"
#include "kivjniffmpeg/ffmpeg/logged_errors.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "worker/orders.h"
#include "worker/remote_channel.h"

#include <natives/SeekFlags.h>
#include <natives/WorkerOrder.h>

#include <atomic>
#include <utility>

namespace WorkerOrder = natives::WorkerOrder;

namespace
{

template <class T> std::span<const T> list_of(std::span<const T> dsp_values)
{
    return dsp_values;
}

void open(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    const auto iel_access = dsp_order.take<int32_t>() == 0 ? ie_access::ie_anywhere : ie_access::ie_forward;
    c_reader_limits::values aill_limits{};
    dsp_order.take_all(std::span<int64_t>(aill_limits));
    dsp_place.dsc_reader.reset();
    dsp_place.dsc_reader = std::make_unique<c_mediareader>(
        &dsp_place.dsc_ffmpeg, std::make_unique<c_remote_source>(dsp_place.dsc_lane), iel_access, aill_limits);
}

void info(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    const c_mediareader &dsl_reader = require(dsp_place.dsc_reader);
    dsp_results.put_all(std::span<const int64_t>(dsl_reader.info()));
    dsp_results.put_text(dsl_reader.format_name());
}

void stream(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    const c_mediareader &dsl_reader = require(dsp_place.dsc_reader);
    const auto iml_index = dsp_order.take<int32_t>();
    dsp_results.put_all(std::span<const int64_t>(dsl_reader.stream_info(iml_index)));
    dsp_results.put_text(dsl_reader.codec_name(iml_index));
    dsp_results.put_all(dsl_reader.extradata(iml_index));
}

void read(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    c_mediareader &dsl_reader = require(dsp_place.dsc_reader);
    const auto iml_stream = dsp_order.take<int32_t>();
    c_avpacket dsl_packet;
    const int64_t ill_errors = logged_errors::of_this_thread();
    do {
        dsl_packet.free_payload();
        if (!dsl_reader.read(dsl_packet))
            return;
        std::atomic_ref(dsp_place.dsc_lane.progress()).fetch_add(1, std::memory_order_relaxed);
    } while (iml_stream >= 0 && dsl_packet.packet()->stream_index != iml_stream);
    auto aill_fields = packet_fields(*dsl_packet.packet());
    aill_fields[natives::PacketFields::ERRORS] = logged_errors::of_this_thread() - ill_errors;
    dsp_results.put_all(std::span<const int64_t>(aill_fields));
    dsp_results.put_all(std::span<const uint8_t>(dsl_packet.data(), static_cast<size_t>(dsl_packet.size())));
}

void seek(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    const auto iml_stream = dsp_order.take<int32_t>();
    const auto ill_time = dsp_order.take<int64_t>();
    require(dsp_place.dsc_reader).seek(iml_stream, ill_time, dsp_order.take<int32_t>());
}

void tags(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    const auto iml_kind = dsp_order.take<int32_t>();
    dsp_results.put_all(list_of<uint8_t>(
        media_metadata::tags(require(dsp_place.dsc_reader).container(), iml_kind, dsp_order.take<int32_t>())));
}

void chapters(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    dsp_results.put_all(list_of<int64_t>(media_metadata::chapters(require(dsp_place.dsc_reader).container())));
}

void programs(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    dsp_results.put_all(list_of<int64_t>(media_metadata::programs(require(dsp_place.dsc_reader).container())));
}

AVStream &stream_of(dsd_workplace &dsp_place, c_message_reader &dsp_order)
{
    return require(dsp_place.dsc_reader).stream_at(dsp_order.take<int32_t>());
}

void names(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    for (const std::string &strl_name : media_metadata::names(stream_of(dsp_place, dsp_order)))
        dsp_results.put_text(strl_name);
}

void light(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    if (const auto dsl_light = media_metadata::light(stream_of(dsp_place, dsp_order)))
        dsp_results.put_all(list_of<int64_t>(*dsl_light));
    else
        dsp_results.put_none();
}

void side_data(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    if (const auto dsl_data = media_metadata::side_data(stream_of(dsp_place, dsp_order)))
        dsp_results.put_all(list_of<int64_t>(*dsl_data));
    else
        dsp_results.put_none();
}

void picture(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    dsp_results.put_all(media_metadata::picture(stream_of(dsp_place, dsp_order)));
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::READER_OPEN, open},         {WorkerOrder::READER_INFO, info},
    {WorkerOrder::READER_STREAM, stream},     {WorkerOrder::READER_READ, read},
    {WorkerOrder::READER_SEEK, seek},         {WorkerOrder::READER_TAGS, tags},
    {WorkerOrder::READER_CHAPTERS, chapters}, {WorkerOrder::READER_PROGRAMS, programs},
    {WorkerOrder::READER_NAMES, names},       {WorkerOrder::READER_LIGHT, light},
    {WorkerOrder::READER_PICTURE, picture},   {WorkerOrder::READER_SIDE_DATA, side_data},
};

} // namespace

std::span<const dsd_order_work> reader_orders() noexcept
{
    return s_orders;
}
