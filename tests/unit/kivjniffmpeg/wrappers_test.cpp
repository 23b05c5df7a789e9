// The owners of FFmpeg's objects and the frame buffers, with the real libraries.

#include "kivjniffmpeg/codec_context.h"
#include "kivjniffmpeg/frame.h"
#include "kivjniffmpeg/native_buffer.h"
#include "kivjniffmpeg/packet.h"
#include "kivjniffmpeg/padded_bytes.h"
#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <new>
#include <numeric>

using testing::Each;
using testing::ElementsAre;

namespace
{

std::string message_of(const std::function<void()> &dsp_operation)
{
    try {
        dsp_operation();
    } catch (const c_ffmpeg_exception &dsl_exception) {
        return dsl_exception.what();
    }
    return "";
}

class wrappers : public testing::Test
{
protected:
    wrappers() { load_ffmpeg(); }
};

void set_bytes(c_avpacket &dsp_packet, std::vector<uint8_t> &utp_bytes)
{
    dsp_packet.set_data(utp_bytes.data());
    dsp_packet.set_size(static_cast<int>(utp_bytes.size()));
}

TEST_F(wrappers, packet_is_consumed_from_the_front)
{
    std::vector<uint8_t> utl_bytes{1, 2, 3, 4};
    c_avpacket dsl_packet;
    EXPECT_EQ(dsl_packet.data(), nullptr);
    set_bytes(dsl_packet, utl_bytes);
    dsl_packet.inc_read_ptr(3);
    EXPECT_EQ(*dsl_packet.data(), 4);
    EXPECT_EQ(dsl_packet.size(), 1);
    dsl_packet.inc_read_ptr(2);
    EXPECT_EQ(dsl_packet.data(), nullptr);
    EXPECT_EQ(dsl_packet.size(), 0);
}

TEST_F(wrappers, packet_merges_into_memory_of_its_own_with_padding)
{
    std::vector<uint8_t> utl_first{1, 2, 3};
    std::vector<uint8_t> utl_second{4, 5};
    c_avpacket dsl_packet;
    c_avpacket dsl_first;
    c_avpacket dsl_second;
    set_bytes(dsl_first, utl_first);
    set_bytes(dsl_second, utl_second);
    dsl_packet.merge(dsl_first); // into an empty one
    dsl_packet.inc_read_ptr(1);  // data now lies inside of the memory that the next merge replaces
    dsl_packet.merge(dsl_second);
    dsl_packet.merge(c_avpacket());
    EXPECT_THAT(std::vector<uint8_t>(dsl_packet.data(), dsl_packet.data() + dsl_packet.size()),
                ElementsAre(2, 3, 4, 5));
    EXPECT_THAT(std::vector<uint8_t>(dsl_packet.data() + dsl_packet.size(),
                                     dsl_packet.data() + dsl_packet.size() + FF_INPUT_BUFFER_PADDING_SIZE),
                Each(0));
    EXPECT_EQ(dsl_second.size(), 2);
    dsl_second.set_size(INT_MAX - 10);
    EXPECT_THROW(dsl_packet.merge(dsl_second), std::bad_alloc);
    EXPECT_EQ(dsl_packet.size(), 4);
    dsl_second.set_size(0);
}

TEST_F(wrappers, input_memory_has_zeroed_padding_each_time)
{
    c_padded_bytes dsl_input;
    for (const size_t uml_size : {100U, 10U, 60U, 0U}) {
        const auto utl_room = dsl_input.prepare(uml_size);
        ASSERT_EQ(utl_room.size(), uml_size);
        std::ranges::fill(utl_room, uint8_t{0xFF});
        EXPECT_THAT(std::span<const uint8_t>(utl_room.data() + uml_size, FF_INPUT_BUFFER_PADDING_SIZE), Each(0));
    }
}

TEST_F(wrappers, codec_look_up_and_context)
{
    EXPECT_EQ(message_of([] { c_avcodec(static_cast<AVCodecID>(987654), true); }),
              "no decoder found for id=987654 in line 495");
    EXPECT_EQ(message_of([] { c_avcodec(AV_CODEC_ID_INDEO3, false); }), "no encoder found for id=29 in line 498");
    const c_avcodec dsl_mp2(static_cast<AVCodecID>(AV_CODEC_ID_MP3 - 1), false);
    EXPECT_TRUE(dsl_mp2.supports_sample_format(AV_SAMPLE_FMT_S16));
    EXPECT_FALSE(dsl_mp2.supports_sample_format(AV_SAMPLE_FMT_NONE));
    const c_avcodec dsl_decoder(AV_CODEC_ID_MPEG4, true);
    EXPECT_FALSE(dsl_decoder.supports_sample_format(AV_SAMPLE_FMT_S16)) << "there is no list";
    EXPECT_STREQ(dsl_decoder.display_name(), "MPEG-4 part 2");
    c_avcodec_ctx dsl_context(dsl_decoder);
    EXPECT_EQ(dsl_context->strict_std_compliance, FF_COMPLIANCE_EXPERIMENTAL);
    const std::vector<uint8_t> utl_extradata{9, 8, 7};
    dsl_context.set_extradata(utl_extradata);
    EXPECT_EQ(dsl_context->extradata_size, 3);
    EXPECT_THAT(std::span<const uint8_t>(dsl_context->extradata + 3, FF_INPUT_BUFFER_PADDING_SIZE), Each(0));
    dsl_context->pix_fmt = AV_PIX_FMT_YUV420P;
    {
        const c_avcodec_ctx_resetter dsl_resetter(dsl_context.context());
        dsl_context->pix_fmt = AV_PIX_FMT_BGRA;
    }
    EXPECT_EQ(dsl_context->pix_fmt, AV_PIX_FMT_YUV420P);
}

TEST_F(wrappers, frame_tells_and_takes_samples)
{
    c_avframe dsl_frame;
    std::vector<uint8_t> utl_samples(400);
    dsl_frame->nb_samples = 100;
    dsl_frame->format = AV_SAMPLE_FMT_FLTP;
    dsl_frame->channels = 1;
    dsl_frame->sample_rate = 8000;
    dsl_frame.set_samples(1, AV_SAMPLE_FMT_FLTP, utl_samples.data(), 400, 1);
    EXPECT_EQ(dsl_frame->data[0], utl_samples.data());
    const auto message = message_of([&] { dsl_frame.set_samples(1, AV_SAMPLE_FMT_FLTP, utl_samples.data(), 399, 1); });
    EXPECT_EQ(message, "Could not setup audio frame error=-22 bufsize=399 nb_samples=100 in line 1424");
    const auto dsl_format = dsl_frame.audio_format();
    EXPECT_EQ(dsl_format->sample_format(), AV_SAMPLE_FMT_FLTP);
    EXPECT_EQ(dsl_format->to_string(),
              " format_tag=0x3 channels=1 sample_rate=8000 bytes_per_second=32000 frame_size=4 "
              "bits_per_sample=32 specific_hdr_size=0");
    dsl_frame.reset();
    EXPECT_EQ(dsl_frame->nb_samples, 0);
    EXPECT_EQ(message_of([&] { ffmpeg_get_framebuffer(dsl_frame); }),
              "NULL pointer in AVFrame::ffmpeg_buffer in line 1471");
}

/** Memory whose data does not begin at its start. */
class c_offset_buffer final : public ca_ffmpeg_buffer
{
public:
    c_offset_buffer(uint8_t *autp_memory, int32_t imp_offset, int32_t imp_size)
    {
        set_memory(autp_memory, autp_memory + imp_offset, imp_size);
    }
    void release() override {}
    void commit() override {}
};

TEST_F(wrappers, frame_buffer_copies_and_tells_plane_offsets)
{
    std::vector<uint8_t> utl_memory(64);
    std::iota(utl_memory.begin(), utl_memory.end(), uint8_t{0});
    c_offset_buffer dsl_buffer(utl_memory.data(), 8, 10);
    EXPECT_EQ(dsl_buffer.data_offset(), 8);
    std::vector<uint8_t> utl_copy(10, 0xEE);
    EXPECT_FALSE(dsl_buffer.copy_to(utl_copy.data(), 9));
    EXPECT_THAT(utl_copy, Each(0xEE));
    EXPECT_TRUE(dsl_buffer.copy_to(utl_copy.data(), 10));
    EXPECT_EQ(utl_copy[0], 16) << "data and offset are both added, deliberately";
    dsl_buffer.set_data_size(-1); // compared unsigned
    EXPECT_FALSE(dsl_buffer.copy_to(utl_copy.data(), 10));
    EXPECT_EQ(message_of([&] { dsl_buffer.copy_to(nullptr, 10); }), "dst buffer == NULL in line 1304");
    dsl_buffer.set_plane_offsets({0, 100, 200, 300});
    EXPECT_EQ(dsl_buffer.get_plane_offset(3), 300);
    EXPECT_EQ(message_of([&] { dsl_buffer.get_plane_offset(4); }),
              "index out of bounds in get_plane_offset in line 1317");
    EXPECT_NE(dsl_buffer.reference_word(), 0);
}

TEST_F(wrappers, last_reference_frees_and_counts_by_kind)
{
    const auto alive = [] {
        return std::pair(g_buffer_statistics.vbuffers.load(), g_buffer_statistics.abuffers.load());
    };
    const auto dsl_before = alive();
    const std::pair<ie_statistics_kind, std::pair<int, int>> dsl_kinds[] = {
        {ie_statistics_none, {0, 0}}, {ie_statistics_video, {1, 0}}, {ie_statistics_audio, {0, 1}}};
    for (const auto &[dsl_kind, dsl_counted] : dsl_kinds) {
        auto *adsl_buffer = new c_native_buffer(1000, 128);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(adsl_buffer->data()) % 128, 0U);
        EXPECT_EQ(adsl_buffer->reference_count(), 0);
        adsl_buffer->set_statistics_kind(dsl_kind);
        c_avframe dsl_frame;
        dsl_frame->opaque = adsl_buffer;
        c_framebuffer_reference dsl_first = ffmpeg_get_framebuffer(dsl_frame);
        c_framebuffer_reference dsl_second = ffmpeg_get_framebuffer(dsl_frame);
        EXPECT_EQ(adsl_buffer->reference_count(), 2);
        dsl_first = std::move(dsl_second);
        EXPECT_EQ(adsl_buffer->reference_count(), 1);
        EXPECT_EQ(alive(), std::pair(dsl_before.first + dsl_counted.first, dsl_before.second + dsl_counted.second));
        ffmpeg_release_framebuffer(dsl_first.pass_on());
        EXPECT_EQ(alive(), dsl_before);
    }
    ffmpeg_release_framebuffer(nullptr);
    EXPECT_THROW(c_native_buffer(-1, 64), std::bad_alloc);
}

} // namespace
