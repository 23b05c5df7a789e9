// Orders that read containers.

#include "kivjniffmpeg/containers/media_metadata.h"
#include "kivjniffmpeg/containers/packet_fields.h"
#include "kivjniffmpeg/ffmpeg/logged_errors.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "worker/orders.h"
#include "worker/remote_channel.h"

#include <natives/ReaderInfo.h>
#include <natives/SeekFlags.h>
#include <natives/WorkerOrder.h>
#include <natives/c_mediareader_source.h>
#include <natives/c_metadata_ffmpeg.h>

#include <atomic>
#include <optional>
#include <string>
#include <utility>

namespace WorkerOrder = natives::WorkerOrder;
namespace c_mediareader_source = natives::c_mediareader_source;
namespace c_metadata_ffmpeg = natives::c_metadata_ffmpeg;

namespace
{

template <class T> std::span<const T> list_of(std::span<const T> dsp_values)
{
    return dsp_values;
}

void put_tags(const AVFormatContext &dsp_container, int32_t imp_kind, int32_t imp_first, c_message_writer &dsp_results)
{
    dsp_results.put_all(list_of<uint8_t>(media_metadata::tags(dsp_container, imp_kind, imp_first)));
}

template <class LIST> void put_list_or_none(const std::optional<LIST> &dsp_list, c_message_writer &dsp_results)
{
    if (dsp_list)
        dsp_results.put_all(list_of<int64_t>(*dsp_list));
    else
        dsp_results.put_none();
}

void put_stream(c_mediareader &dsp_reader, int32_t imp_index, c_message_writer &dsp_results)
{
    AVStream &dsl_stream = dsp_reader.stream_at(imp_index);
    dsp_results.put_all(std::span<const int64_t>(dsp_reader.stream_info(imp_index)));
    dsp_results.put_text(dsp_reader.codec_name(imp_index));
    dsp_results.put_all(dsp_reader.extradata(imp_index));
    for (const std::string &strl_name : media_metadata::names(dsl_stream))
        dsp_results.put_text(strl_name);
    put_list_or_none(media_metadata::light(dsl_stream), dsp_results);
    put_list_or_none(media_metadata::side_data(dsl_stream), dsp_results);
}

/** All that a reader is asked for when it has been opened. */
void put_description(c_mediareader &dsp_reader, c_message_writer &dsp_results)
{
    const auto aill_info = dsp_reader.info();
    const AVFormatContext &dsl_container = dsp_reader.container();
    dsp_results.put_all(std::span<const int64_t>(aill_info));
    dsp_results.put_text(dsp_reader.format_name());
    dsp_results.put_all(list_of<int64_t>(media_metadata::chapters(dsl_container)));
    dsp_results.put_all(list_of<int64_t>(media_metadata::programs(dsl_container)));
    for (const int32_t iml_kind : {c_metadata_ffmpeg::CONTAINER, c_metadata_ffmpeg::STREAMS,
                                   c_metadata_ffmpeg::CHAPTERS, c_metadata_ffmpeg::PROGRAMS})
        put_tags(dsl_container, iml_kind, 0, dsp_results);
    for (int64_t ill_stream = 0; ill_stream < aill_info[natives::ReaderInfo::STREAMS]; ++ill_stream)
        put_stream(dsp_reader, static_cast<int32_t>(ill_stream), dsp_results);
}

void open(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    const auto iml_source = dsp_order.take<int32_t>();
    const auto iel_access =
        iml_source == c_mediareader_source::FORWARD ? ie_access::ie_forward : ie_access::ie_anywhere;
    const bool bl_file = iml_source == c_mediareader_source::FILE;
    c_reader_limits::values aill_limits{};
    dsp_order.take_all(std::span<int64_t>(aill_limits));
    dsp_place.dsc_reader.reset();
    dsp_place.dsc_reader = std::make_unique<c_mediareader>(
        &dsp_place.dsc_ffmpeg, std::make_unique<c_remote_source>(dsp_place.dsc_lane, bl_file), iel_access, aill_limits);
    put_description(*dsp_place.dsc_reader, dsp_results);
}

void stream(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    put_stream(require(dsp_place.dsc_reader), dsp_order.take<int32_t>(), dsp_results);
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
    put_tags(require(dsp_place.dsc_reader).container(), iml_kind, dsp_order.take<int32_t>(), dsp_results);
}

void picture(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    dsp_results.put_all(media_metadata::picture(require(dsp_place.dsc_reader).stream_at(dsp_order.take<int32_t>())));
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::READER_OPEN, open}, {WorkerOrder::READER_STREAM, stream}, {WorkerOrder::READER_READ, read},
    {WorkerOrder::READER_SEEK, seek}, {WorkerOrder::READER_TAGS, tags},     {WorkerOrder::READER_PICTURE, picture},
};

} // namespace

std::span<const dsd_order_work> reader_orders() noexcept
{
    return s_orders;
}
