// Real decoding through the exported functions on a fake virtual machine, which checks every JNI call.

#include "kivjniffmpeg/buffer_statistics.h"
#include "kivjniffmpeg/four_character_code.h"
#include "kivjniffmpeg/video_codec.h"
#include "support/java_side.h"
#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

using testing::AnyOf;

namespace
{

constexpr int32_t im_i420 = make_four_character_code("I420");
constexpr int32_t im_yuy2 = make_four_character_code("YUY2");
constexpr int32_t im_rgb = 0;

class video_codec : public testing::Test
{
protected:
    ~video_codec() override { EXPECT_EQ(g_buffer_statistics.vbuffers, inc_vbuffers) << "buffers are left"; }

    int inc_vbuffers = g_buffer_statistics.vbuffers;
    c_java_side dsc_side;
};

/** The distinct bytes of the first plane: one, if it is flat. */
std::set<int> greys(const dsd_processed &dsp_picture, int inp_width, int inp_height)
{
    std::vector<jint> aiml_model(16);
    std::ranges::copy(dsp_picture.dsc_model->utc_bytes, reinterpret_cast<uint8_t *>(aiml_model.data()));
    const jint iml_start = dsp_picture.aimc_params[6] + dsp_picture.aimc_params[7];
    std::set<int> inl_bytes;
    for (int inl_line = 0; inl_line < inp_height; ++inl_line)
        for (int inl_column = 0; inl_column < inp_width; ++inl_column)
            inl_bytes.insert(dsp_picture.dsc_array->utc_bytes.at(
                static_cast<size_t>(iml_start + inl_line * aiml_model[2] + inl_column)));
    return inl_bytes;
}

// As the interface has it without options: packets may be cut anywhere, also in the middle of a start code. FFmpeg's own
// handling of that writes through a null pointer where a new sequence begins.
TEST_F(video_codec, packets_cut_anywhere_give_the_same_pictures)
{
    std::vector<uint8_t> utl_stream;
    for (const int inl_width : {48, 80, 48})
        for (const auto &utl_packet : encode_flat_pictures(inl_width, 32, 3))
            utl_stream.insert(utl_stream.end(), utl_packet.begin(), utl_packet.end());
    std::vector<int> inl_greys_of_whole;
    for (const size_t uml_piece : {100000U, 1U, 2U, 3U, 5U, 7U, 64U, 1000U}) {
        SCOPED_TRACE(uml_piece);
        c_java_decoder dsl_decoder(dsc_side, 48, 32, {{im_i420, 12}});
        ASSERT_TRUE(dsl_decoder.open());
        std::vector<int> inl_greys;
        for (size_t uml_at = 0; uml_at < utl_stream.size(); uml_at += uml_piece) {
            const auto utl_rest = std::span<const uint8_t>(utl_stream).subspan(uml_at);
            auto dsl_processed = dsl_decoder.process(utl_rest.first(std::min(uml_piece, utl_rest.size())), 1);
            for (; dsl_processed.dsc_array != nullptr; dsl_processed = dsl_decoder.process({}, 1)) {
                const std::set<int> inl_bytes = greys(dsl_processed, 48, 32);
                EXPECT_EQ(inl_bytes.size(), 1U);
                inl_greys.push_back(*inl_bytes.begin());
            }
        }
        if (inl_greys_of_whole.empty())
            inl_greys_of_whole = inl_greys;
        EXPECT_EQ(inl_greys, inl_greys_of_whole);
    }
    EXPECT_GE(inl_greys_of_whole.size(), 5U); // a new size costs pictures that the decoder has not handed out yet
    EXPECT_EQ(inl_greys_of_whole.at(1), flat_color(1).utc_y);
}

// Packets that are damaged, cut anywhere, of another size than announced, with and without discontinuities.
TEST_F(video_codec, damage_never_crashes_or_leaks)
{
    std::mt19937 dsl_random(20240229);
    const auto any_of = [&](size_t ump_count) {
        return std::uniform_int_distribution<size_t>(0, ump_count - 1)(dsl_random);
    };
    const std::vector<std::vector<std::vector<uint8_t>>> utl_streams = {encode_flat_pictures(48, 32, 8),
                                                                        encode_flat_pictures(100, 70, 8)};
    for (int inl_round = 0; inl_round < 24; ++inl_round) {
        const std::pair<int32_t, int32_t> dsl_models[] = {{im_i420, 12}, {im_rgb, 32}, {im_yuy2, 16}};
        c_java_decoder dsl_decoder(dsc_side, 48, 32, {dsl_models[inl_round % 3]});
        if (inl_round % 2 == 0)
            dsl_decoder.whole_packets();
        ASSERT_TRUE(dsl_decoder.open());
        for (int inl_packet = 0; inl_packet < 25; ++inl_packet) {
            std::vector<uint8_t> utl_packet = utl_streams[any_of(4) == 0][any_of(8)];
            for (size_t uml_flips = any_of(4); uml_flips > 0; --uml_flips)
                utl_packet[any_of(utl_packet.size())] ^= static_cast<uint8_t>(1U << any_of(8));
            if (any_of(5) == 0)
                utl_packet.resize(1 + any_of(utl_packet.size()));
            dsc_side.iec_allocator = any_of(8) == 0 ? ie_allocator::refuses : ie_allocator::grants;
            const dsd_processed dsl_processed =
                dsl_decoder.process(utl_packet, inl_packet, any_of(6) == 0 ? im_flag_discontinuity : 0);
            EXPECT_THAT(dsl_processed.imc_result, AnyOf(0, 1, 2, 4, 8));
            EXPECT_EQ(dsl_decoder.env().take_pending(), "");
        }
        EXPECT_LT(dsl_decoder.env().umc_most_locals, 40U);
    }
}

// One context, several threads: codecs come and go while other contexts take and lose the log.
TEST_F(video_codec, threads_share_a_context)
{
    const auto utl_packets = encode_flat_pictures(48, 32, 3);
    std::vector<std::thread> dsl_threads;
    for (int inl_thread = 0; inl_thread < 3; ++inl_thread)
        dsl_threads.emplace_back([&, inl_thread] {
            for (int inl_round = 0; inl_round < 6; ++inl_round) {
                c_java_decoder dsl_decoder(dsc_side, 48, 32,
                                           {inl_thread == 0 ? std::pair(im_rgb, 32) : std::pair(im_i420, 12)});
                dsl_decoder.whole_packets();
                EXPECT_TRUE(dsl_decoder.open());
                int inl_pictures = 0;
                for (const auto &utl_packet : utl_packets)
                    inl_pictures += dsl_decoder.process(utl_packet, 0).dsc_array != nullptr;
                EXPECT_EQ(inl_pictures, 2) << "the last one waits in the decoder";
            }
        });
    for (int inl_round = 0; inl_round < 20; ++inl_round)
        dsc_side.open_and_close_another_context();
    for (std::thread &dsl_thread : dsl_threads)
        dsl_thread.join();
}

} // namespace
