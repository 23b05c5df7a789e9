// Real decoding through the exported functions on a fake virtual machine, which checks every JNI call.

#include "kivjniffmpeg/buffer_statistics.h"
#include "kivjniffmpeg/four_character_code.h"
#include "kivjniffmpeg/video_codec.h"
#include "support/java_side.h"
#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <random>
#include <thread>

using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::StartsWith;

namespace
{

constexpr int32_t im_i420 = make_four_character_code("I420");
constexpr int32_t im_yv12 = make_four_character_code("YV12");
constexpr int32_t im_yuy2 = make_four_character_code("YUY2");
constexpr int32_t im_uyvy = make_four_character_code("UYVY");
constexpr int32_t im_rgb = 0;

class video_codec : public testing::Test
{
protected:
    ~video_codec() override { EXPECT_EQ(g_buffer_statistics.vbuffers, inc_vbuffers) << "buffers are left"; }

    /** Decodes whole packets; packet n has the timestamp n << 33. The decoder keeps the last picture to itself. */
    static std::vector<dsd_processed> decode(c_java_decoder &dsp_decoder,
                                             const std::vector<std::vector<uint8_t>> &utp_packets)
    {
        dsp_decoder.whole_packets();
        EXPECT_TRUE(dsp_decoder.open());
        std::vector<dsd_processed> dsl_pictures;
        for (size_t uml_packet = 0; uml_packet < utp_packets.size(); ++uml_packet) {
            auto dsl_processed = dsp_decoder.process(utp_packets[uml_packet], static_cast<int64_t>(uml_packet) << 33);
            EXPECT_EQ(dsp_decoder.env().take_pending(), "");
            if (dsl_processed.dsc_array != nullptr)
                dsl_pictures.push_back(std::move(dsl_processed));
            else
                EXPECT_EQ(dsl_processed.imc_result, 2);
        }
        return dsl_pictures;
    }

    int inc_vbuffers = g_buffer_statistics.vbuffers;
    c_java_side dsc_side;
};

/** The distinct bytes at every @p ump_step-th place of a plane of the picture: one, if it is flat. */
std::set<int> bytes_of_plane(const dsd_processed &dsp_picture, size_t ump_plane, int inp_width, int inp_height,
                             int inp_first = 0, int inp_step = 1)
{
    std::vector<jint> aiml_model(16);
    std::ranges::copy(dsp_picture.dsc_model->utc_bytes, reinterpret_cast<uint8_t *>(aiml_model.data()));
    const auto iml_element = static_cast<jint>(dsp_picture.dsc_array->element_size());
    const jint iml_start = dsp_picture.aimc_params[6] * iml_element + dsp_picture.aimc_params[7 + ump_plane];
    std::set<int> inl_bytes;
    for (int inl_line = 0; inl_line < inp_height; ++inl_line)
        for (int inl_column = inp_first; inl_column < inp_width; inl_column += inp_step)
            inl_bytes.insert(dsp_picture.dsc_array->utc_bytes.at(
                static_cast<size_t>(iml_start + inl_line * aiml_model[2 + ump_plane] + inl_column)));
    return inl_bytes;
}

TEST_F(video_codec, pictures_arrive_in_every_model)
{
    const std::pair<int, int> iml_sizes[] = {{48, 32}, {45, 31}, {64, 40}, {180, 100}};
    for (const auto &[iml_width, iml_height] : iml_sizes) {
        const auto utl_packets = encode_flat_pictures(iml_width, iml_height, 6);
        for (const auto &[iml_fourcc, iml_bpp] :
             {std::pair(im_i420, 12), {im_yv12, 12}, {im_yuy2, 16}, {im_uyvy, 16}, {im_rgb, 32}}) {
            SCOPED_TRACE(std::string(four_character_text(iml_fourcc).data()) + " " + std::to_string(iml_width));
            c_java_decoder dsl_decoder(dsc_side, iml_width, iml_height, {{iml_fourcc, iml_bpp}});
            const auto dsl_pictures = decode(dsl_decoder, utl_packets);
            ASSERT_EQ(dsl_pictures.size(), 5U);
            for (size_t uml_picture = 0; uml_picture < dsl_pictures.size(); ++uml_picture) {
                const dsd_processed &dsl_picture = dsl_pictures[uml_picture];
                const dsd_flat_color dsl_color = flat_color(uml_picture);
                EXPECT_EQ(dsl_picture.aimc_params[13], 0);
                EXPECT_EQ(dsl_picture.aimc_params[14], static_cast<jint>(uml_picture << 1));
                EXPECT_NE(dsl_picture.aimc_params[15], 0);
                const int inl_chroma_width = (iml_width + 1) / 2;
                const int inl_chroma_height = (iml_height + 1) / 2;
                if (iml_fourcc == im_i420 || iml_fourcc == im_yv12) {
                    const size_t uml_u = iml_fourcc == im_i420 ? 1 : 2;
                    EXPECT_EQ(dsl_picture.aimc_params[5], 0);
                    EXPECT_EQ(dsl_picture.aimc_params[11],
                              iml_width * iml_height + 2 * inl_chroma_width * inl_chroma_height);
                    EXPECT_THAT(bytes_of_plane(dsl_picture, 0, iml_width, iml_height), ElementsAre(dsl_color.utc_y));
                    EXPECT_THAT(bytes_of_plane(dsl_picture, uml_u, inl_chroma_width, inl_chroma_height),
                                ElementsAre(dsl_color.utc_u));
                    EXPECT_THAT(bytes_of_plane(dsl_picture, 3 - uml_u, inl_chroma_width, inl_chroma_height),
                                ElementsAre(dsl_color.utc_v));
                } else if (iml_fourcc == im_rgb) {
                    EXPECT_EQ(dsl_picture.aimc_params[5], 2);
                    EXPECT_EQ(dsl_picture.aimc_params[11], iml_width * iml_height);
                    const double dnl_grey = 1.164 * (dsl_color.utc_y - 16);
                    const double dnl_red = dnl_grey + 1.596 * (dsl_color.utc_v - 128);
                    const double dnl_blue = std::max(dnl_grey + 2.018 * (dsl_color.utc_u - 128), 0.0);
                    const auto near = [](double dnp_value) {
                        return ElementsAre(
                            testing::Truly([=](int inp_byte) { return std::abs(inp_byte - dnp_value) <= 3; }));
                    };
                    EXPECT_THAT(bytes_of_plane(dsl_picture, 0, 4 * iml_width, iml_height, 0, 4), near(dnl_blue));
                    EXPECT_THAT(bytes_of_plane(dsl_picture, 0, 4 * iml_width, iml_height, 2, 4), near(dnl_red));
                    EXPECT_THAT(bytes_of_plane(dsl_picture, 0, 4 * iml_width, iml_height, 3, 4), ElementsAre(255));
                } else {
                    const int inl_grey = iml_fourcc == im_yuy2 ? 0 : 1;
                    EXPECT_EQ(dsl_picture.aimc_params[5], 1);
                    EXPECT_THAT(bytes_of_plane(dsl_picture, 0, 2 * iml_width, iml_height, inl_grey, 2),
                                ElementsAre(dsl_color.utc_y));
                    EXPECT_THAT(bytes_of_plane(dsl_picture, 0, 2 * iml_width, iml_height, 1 - inl_grey, 4),
                                ElementsAre(dsl_color.utc_u));
                    EXPECT_THAT(bytes_of_plane(dsl_picture, 0, 2 * iml_width, iml_height, 3 - inl_grey, 4),
                                ElementsAre(dsl_color.utc_v));
                }
            }
        }
    }
    EXPECT_GT(dsc_side.lines(), 0);
}

TEST_F(video_codec, chosen_model_is_reported_once)
{
    const auto utl_packets = encode_flat_pictures(48, 32, 5);
    const auto results = [&](const std::vector<std::pair<int32_t, int32_t>> &dsp_models) {
        c_java_decoder dsl_decoder(dsc_side, 48, 32, dsp_models);
        std::vector<std::pair<int, int>> inl_results; // and the kind of array
        for (const dsd_processed &dsl_picture : decode(dsl_decoder, utl_packets))
            inl_results.emplace_back(dsl_picture.imc_result, dsl_picture.aimc_params[5]);
        return inl_results;
    };
    EXPECT_THAT(results({{im_rgb, 32}, {im_i420, 12}}),
                ElementsAre(std::pair(4, 0), std::pair(0, 0), std::pair(0, 0), std::pair(0, 0)))
        << "the decoder's own format wins";
    EXPECT_THAT(results({{im_yv12, 12}, {im_rgb, 32}}), Each(std::pair(0, 2))) << "then the first RGB model";
    EXPECT_THAT(results({{im_yv12, 12}, {im_yuy2, 16}}), Each(std::pair(0, 0))) << "then the first of all";
    EXPECT_THAT(results({}), testing::IsEmpty()) << "a model that stands for no format gets no pictures";
}

TEST_F(video_codec, allocator_that_does_not_deliver)
{
    const auto utl_packets = encode_flat_pictures(48, 32, 6);
    for (const auto &[iml_fourcc, iml_bpp] : {std::pair(im_i420, 12), {im_rgb, 32}})
        for (const ie_allocator iel_behaviour : {ie_allocator::refuses, ie_allocator::throws,
                                                 ie_allocator::gives_too_little, ie_allocator::gives_another_kind}) {
            SCOPED_TRACE(static_cast<int>(iel_behaviour));
            dsc_side.iec_allocator = ie_allocator::grants;
            c_java_decoder dsl_decoder(dsc_side, 48, 32, {{iml_fourcc, iml_bpp}});
            ASSERT_EQ(decode(dsl_decoder, {utl_packets[0], utl_packets[1]}).size(), 1U);
            dsc_side.iec_allocator = iel_behaviour;
            int inl_thrown = 0;
            for (size_t uml_packet = 2; uml_packet < 5; ++uml_packet) {
                dsc_side.inc_allocator_calls = 0;
                const dsd_processed dsl_processed = dsl_decoder.process(utl_packets[uml_packet], 5);
                if (const std::string strl_pending = dsl_decoder.env().take_pending(); !strl_pending.empty()) {
                    EXPECT_EQ(strl_pending, "java/lang/IllegalStateException: no room");
                    EXPECT_EQ(dsl_processed.imc_result, 0);
                    EXPECT_EQ(dsl_processed.aimc_params[13], 0) << "params are left unwritten";
                    EXPECT_EQ(dsc_side.inc_allocator_calls, 1) << "and Java is not asked again";
                    ++inl_thrown;
                } else {
                    EXPECT_THAT(dsl_processed.imc_result, AnyOf(0, 2, 8));
                }
            }
            EXPECT_EQ(inl_thrown, iel_behaviour == ie_allocator::throws ? 3 : 0);
            dsc_side.iec_allocator = ie_allocator::grants;
            dsl_decoder.reset();
            dsl_decoder.process(utl_packets[0], 6);
            const dsd_processed dsl_again = dsl_decoder.process(utl_packets[1], 7);
            EXPECT_NE(dsl_again.dsc_array, nullptr) << "the decoder goes on when Java delivers again";
        }
}

TEST_F(video_codec, creation_that_fails_leaves_nothing)
{
    struct
    {
        const char *strc_subtype;
        std::vector<std::pair<int32_t, int32_t>> dsc_models;
        const char *strc_message;
    } const dsl_cases[] = {
        {"E06D8026-DB46-11CF-B4D1-00805F6CBBEA",
         {{im_i420, 12}},
         "java/lang/RuntimeException: no decoder found for id=0 in line 495"},
        {strg_mpeg2_subtype,
         {{im_rgb, 12}, {make_four_character_code("NV12"), 12}},
         "java/lang/RuntimeException: no supported color model in line 2341"},
    };
    for (const auto &dsl_case : dsl_cases) {
        c_java_decoder dsl_decoder(dsc_side, 48, 32, dsl_case.dsc_models, dsl_case.strc_subtype);
        EXPECT_EQ(dsl_decoder.handle(), 0);
        EXPECT_EQ(dsl_decoder.env().take_pending(), dsl_case.strc_message);
        EXPECT_FALSE(dsl_decoder.open());
        EXPECT_THAT(dsl_decoder.env().take_pending(), StartsWith("java/lang/RuntimeException: ilp_hcodec == 0"));
    }
}

TEST_F(video_codec, calls_in_the_wrong_state_are_answered)
{
    const auto utl_packets = encode_flat_pictures(48, 32, 3);
    c_java_decoder dsl_decoder(dsc_side, 48, 32, {{im_i420, 12}});
    EXPECT_EQ(dsl_decoder.process(utl_packets[0], 1).imc_result, 8) << "not open";
    EXPECT_EQ(dsl_decoder.process(utl_packets[0], 1, im_flag_discontinuity).imc_result, 8);
    EXPECT_EQ(dsl_decoder.process({}, 1).imc_result, 2);
    dsl_decoder.reset();
    EXPECT_TRUE(dsl_decoder.open());
    EXPECT_TRUE(dsl_decoder.open());
    dsl_decoder.whole_packets();
    EXPECT_THAT(dsl_decoder.env().take_pending(), StartsWith("java/lang/RuntimeException: options are set before"));
    EXPECT_EQ(dsl_decoder.process(utl_packets[0], 1, im_flag_discontinuity).imc_result, 2);
    EXPECT_EQ(dsl_decoder.process(std::vector<uint8_t>(1, 0), 1).imc_result, 2) << "one byte that means nothing";
    EXPECT_EQ(dsl_decoder.process({}, 1).aimc_params[5], -1);
}

TEST_F(video_codec, squares_are_refused_one_by_one)
{
    const auto utl_packets = encode_flat_pictures(48, 48, 4);
    c_java_decoder dsl_decoder(dsc_side, 48, 48, {{im_i420, 12}});
    dsl_decoder.whole_packets();
    ASSERT_TRUE(dsl_decoder.open());
    for (const auto &utl_packet : utl_packets)
        EXPECT_THAT(dsl_decoder.process(utl_packet, 1).imc_result, AnyOf(2, 8));
    EXPECT_EQ(dsc_side.inc_allocator_calls, 0);
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
                const std::set<int> inl_bytes = bytes_of_plane(dsl_processed, 0, 48, 32);
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

TEST_F(video_codec, ten_thousand_resets_hold_memory_flat)
{
    const auto utl_packets = encode_flat_pictures(48, 32, 2);
    c_java_decoder dsl_decoder(dsc_side, 48, 32, {{im_rgb, 32}}); // with a scaler
    ASSERT_TRUE(dsl_decoder.open());
    size_t uml_before = 0;
    for (int inl_round = 0; inl_round < 10100; ++inl_round) {
        if (inl_round % 50 == 0)
            for (const auto &utl_packet : utl_packets)
                dsl_decoder.process(utl_packet, inl_round);
        dsl_decoder.reset();
        if (inl_round == 100)
            uml_before = mallinfo2().uordblks;
    }
    EXPECT_LT(static_cast<double>(mallinfo2().uordblks), static_cast<double>(uml_before) + 200000);
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
                EXPECT_EQ(decode(dsl_decoder, utl_packets).size(), 2U);
            }
        });
    for (int inl_round = 0; inl_round < 20; ++inl_round)
        dsc_side.open_and_close_another_context();
    for (std::thread &dsl_thread : dsl_threads)
        dsl_thread.join();
}

} // namespace
