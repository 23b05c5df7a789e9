// Orders that decode pictures.

#include "kivjniffmpeg/codecs/picture_call.h"
#include "kivjniffmpeg/formats/coded_stream.h"
#include "worker/orders.h"

#include <natives/PictureCall.h>
#include <natives/WorkerOrder.h>

#include <algorithm>
#include <array>
#include <vector>

namespace PictureCall = natives::PictureCall;
namespace WorkerOrder = natives::WorkerOrder;

namespace
{

void create(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    c_coded_stream::values aill_values{};
    dsp_order.take_all(std::span<int64_t>(aill_values));
    const auto utl_extradata = dsp_order.take_bytes();
    dsp_place.dsc_video.reset();
    auto dsl_codec = std::make_unique<c_videocodec>(
        &dsp_place.dsc_ffmpeg, c_vformat::of_stream(c_coded_stream(
                                   aill_values, std::vector<uint8_t>(utl_extradata.begin(), utl_extradata.end()))));
    dsl_codec->append_dst_format(std::make_unique<c_colormodel>());
    dsl_codec->set_option("pooled_pictures", 1);
    dsp_place.dsc_video = std::move(dsl_codec);
}

void set_option(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    const std::string strl_name = dsp_order.take_text();
    require(dsp_place.dsc_video).set_option(strl_name, dsp_order.take<int64_t>());
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
        ailp_block[PictureCall::BLOCK_ADDRESS] = static_cast<int64_t>(reinterpret_cast<intptr_t>(utl_block.data()));
    }
}

void decode(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    c_videocodec &dsl_codec = require(dsp_place.dsc_video);
    const auto iml_flags = dsp_order.take<int32_t>();
    std::array<int64_t, PictureCall::SIZE> aill_call{};
    dsp_order.take_all(std::span<int64_t>(aill_call));
    const auto utl_packet = dsp_order.take_bytes();
    find_blocks(dsp_place.dsc_memory, aill_call);
    std::span<uint8_t> utl_input;
    if (!utl_packet.empty()) {
        utl_input = dsl_codec.input().prepare(utl_packet.size());
        std::ranges::copy(utl_packet, utl_input.begin());
    }
    const int32_t iml_result = picture_call::decode(dsl_codec, utl_input, iml_flags, aill_call);
    dsp_results.put(iml_result);
    dsp_results.put_all(std::span<const int64_t>(aill_call));
}

void reset(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    dsp_results.put(int32_t{require(dsp_place.dsc_video).reset() ? 1 : 0});
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::VIDEO_CREATE, create}, {WorkerOrder::VIDEO_OPTION, set_option}, {WorkerOrder::VIDEO_OPEN, open},
    {WorkerOrder::VIDEO_DECODE, decode}, {WorkerOrder::VIDEO_RESET, reset},
};

} // namespace

std::span<const dsd_order_work> video_orders() noexcept
{
    return s_orders;
}
