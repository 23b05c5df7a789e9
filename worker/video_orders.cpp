// Orders that decode pictures.

#include "kivjniffmpeg/codecs/picture_call.h"
#include "kivjniffmpeg/formats/video_format.h"
#include "worker/bytes.h"
#include "worker/orders.h"

#include <natives/PictureCall.h>
#include <natives/WorkerLane.h>
#include <natives/WorkerOrder.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>

namespace PictureCall = natives::PictureCall;
namespace WorkerOrder = natives::WorkerOrder;

namespace
{

using slots = std::array<int64_t, natives::WorkerLane::MOST_CLOSED>;

void make(dsd_workplace &dsp_place, std::unique_ptr<c_vformat> dsp_format)
{
    dsp_place.dsc_video.reset();
    slots aill_of_other{};
    static_cast<void>(dsp_place.dsc_lane.take_closed(aill_of_other));
    dsp_place.ulc_closed = 0;
    auto dsl_codec = std::make_unique<c_videocodec>(&dsp_place.dsc_ffmpeg, std::move(dsp_format));
    dsl_codec->append_dst_format(std::make_unique<c_colormodel>());
    dsl_codec->set_option("pooled_pictures", 1);
    dsl_codec->stock()->keep_delivered(PictureCall::MOST_CLOSED);
    dsl_codec->count_frames_in(&dsp_place.dsc_lane.progress());
    dsp_place.dsc_video = std::move(dsl_codec);
}

void create(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    make(dsp_place, c_vformat::of_stream(take_stream(dsp_order)));
}

void create_of_subtype(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    const std::string strl_subtype = dsp_order.take_text();
    std::array<int32_t, natives::VideoFormatLayout::SIZE> aiml_values{};
    dsp_order.take_all(std::span<int32_t>(aiml_values));
    const auto utl_extradata = dsp_order.take_bytes();
    make(dsp_place, c_vformat::of_layout(strl_subtype, aiml_values, {utl_extradata.begin(), utl_extradata.end()}));
}

void set_option(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    const std::string strl_name = dsp_order.take_text();
    require(dsp_place.dsc_video).set_option(strl_name, dsp_order.take<int64_t>());
    dsp_results.put(int32_t{0}); // so that an order behind it is begun
}

void open(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    c_videocodec &dsl_codec = require(dsp_place.dsc_video);
    dsp_results.put(int32_t{dsl_codec.open() ? 1 : 0});
    dsp_results.put_text(dsl_codec.get_name());
}

/** The caller knows where its blocks are in the shared memory, and the decoder where in its own. */
void find_blocks(const c_shared_memory &dsp_memory, std::span<int64_t> ailp_call)
{
    const auto ull_count =
        static_cast<size_t>(std::clamp<int64_t>(ailp_call[PictureCall::STOCKED], 0, int64_t{PictureCall::MOST_BLOCKS}));
    for (size_t ull_block = 0; ull_block < ull_count; ++ull_block) {
        const auto ailp_block =
            ailp_call.subspan(PictureCall::BLOCKS + ull_block * PictureCall::BLOCK_SIZE, PictureCall::BLOCK_SIZE);
        const auto utl_block =
            dsp_memory.part(ailp_block[PictureCall::BLOCK_ADDRESS], ailp_block[PictureCall::BLOCK_BYTES]);
        dsp_memory.fetch_pages(utl_block);
        ailp_block[PictureCall::BLOCK_ADDRESS] = static_cast<int64_t>(reinterpret_cast<intptr_t>(utl_block.data()));
    }
}

/** Takes the memory of pictures that were closed since the order was given. */
void close_pictures(dsd_workplace &dsp_place, c_videocodec &dsp_codec)
{
    slots aill_slots{};
    const size_t ull_count = dsp_place.dsc_lane.take_closed(aill_slots);
    dsp_codec.close_pictures(std::span(aill_slots).first(ull_count));
    dsp_place.ulc_closed += ull_count;
}

void decode(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    c_videocodec &dsl_codec = require(dsp_place.dsc_video);
    const auto iml_flags = dsp_order.take<int32_t>();
    std::array<int64_t, PictureCall::SIZE> aill_call{};
    dsp_order.take_all(std::span<int64_t>(aill_call));
    const auto utl_packet = dsp_order.take_bytes();
    close_pictures(dsp_place, dsl_codec); // a block of the call may have the slot of one of these
    find_blocks(dsp_place.dsc_memory, aill_call);
    picture_call::add_blocks(dsl_codec, aill_call);
    const auto utl_input = utl_packet.empty() ? std::span<uint8_t>() : padded_copy(dsl_codec.input(), utl_packet);
    const int32_t iml_result = picture_call::decode(dsl_codec, utl_input, iml_flags, aill_call);
    aill_call[PictureCall::CLOSED] = static_cast<int64_t>(std::exchange(dsp_place.ulc_closed, 0));
    dsp_results.put(iml_result);
    dsp_results.put_all(std::span<const int64_t>(aill_call));
}

void reset(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    dsp_results.put(int32_t{require(dsp_place.dsc_video).reset() ? 1 : 0});
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::VIDEO_CREATE, create},     {WorkerOrder::VIDEO_CREATE_OF_SUBTYPE, create_of_subtype},
    {WorkerOrder::VIDEO_OPTION, set_option}, {WorkerOrder::VIDEO_OPEN, open},
    {WorkerOrder::VIDEO_DECODE, decode},     {WorkerOrder::VIDEO_RESET, reset},
};

} // namespace

std::span<const dsd_order_work> video_orders() noexcept
{
    return s_orders;
}
