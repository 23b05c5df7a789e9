// Memory that FFmpeg reads from: it reads beyond what it is told, so zeroes must follow.

#include "kivjniffmpeg/ffmpeg/codec_context.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <new>
#include <utility>

using namespace testing;

namespace
{

using input_memory = real_ffmpeg;

TEST_F(input_memory, packet_merges_into_memory_of_its_own_with_padding)
{
    uint8_t utl_bytes[] = {1, 2, 3, 4, 5};
    c_avpacket dsl_packet;
    c_avpacket dsl_first;
    dsl_first.set_data(utl_bytes);
    dsl_first.set_size(3);
    c_avpacket dsl_second;
    dsl_second.set_data(utl_bytes + 3);
    dsl_second.set_size(2);
    dsl_packet.merge(dsl_first); // into an empty one
    dsl_packet.inc_read_ptr(1);  // data now lies inside of the memory that the next merge replaces
    dsl_packet.merge(dsl_second);
    dsl_packet.merge(c_avpacket());
    ASSERT_EQ(dsl_packet.size(), 4);
    const std::span<const uint8_t> utl_merged(dsl_packet.data(), 4 + FF_INPUT_BUFFER_PADDING_SIZE);
    EXPECT_THAT(utl_merged.first(4), ElementsAre(2, 3, 4, 5));
    EXPECT_THAT(utl_merged.subspan(4), Each(0));
    dsl_second.set_size(INT_MAX - 10);
    EXPECT_THROW(dsl_packet.merge(dsl_second), std::bad_alloc);
    EXPECT_EQ(dsl_packet.size(), 4);
    dsl_second.set_size(0);
}

TEST_F(input_memory, padding_is_zeroed_each_time)
{
    c_padded_bytes dsl_input;
    for (const size_t uml_size : {100U, 10U, 60U, 0U}) {
        const auto utl_room = dsl_input.prepare(uml_size);
        ASSERT_EQ(utl_room.size(), uml_size);
        std::ranges::fill(utl_room, uint8_t{0xFF});
        EXPECT_THAT(std::span<const uint8_t>(utl_room.data() + uml_size, FF_INPUT_BUFFER_PADDING_SIZE), Each(0));
    }
}

TEST_F(input_memory, extradata_has_padding)
{
    const c_avcodec dsl_codec(AV_CODEC_ID_H264, true);
    c_avcodec_ctx dsl_context(dsl_codec, {});
    const auto allocate = std::exchange(g_avutil.av_malloc, [](size_t ulp_size) {
        return std::memset(ffmpeg_call<void *>("av_malloc", ulp_size), 0xFF, ulp_size);
    });
    dsl_context.set_extradata(std::vector<uint8_t>{1, 2, 3});
    g_avutil.av_malloc = allocate;
    const std::span<const uint8_t> utl_extradata(dsl_context->extradata, 3 + FF_INPUT_BUFFER_PADDING_SIZE);
    EXPECT_EQ(dsl_context->extradata_size, 3);
    EXPECT_THAT(utl_extradata.first(3), ElementsAre(1, 2, 3));
    EXPECT_THAT(utl_extradata.subspan(3), Each(0));
}

} // namespace
