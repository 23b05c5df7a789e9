// Films that are decoded in a worker, and workers that die.

#include "kivjniffmpeg/codecs/picture_call.h"
#include "kivjniffmpeg/containers/media_reader.h"
#include "kivjniffmpeg/containers/packet_fields.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "kivjniffmpeg/formats/coded_stream.h"
#include "kivjniffmpeg/workers/lane_turn.h"
#include "kivjniffmpeg/workers/nursery_client.h"
#include "support/lane_client.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <natives/PictureCall.h>
#include <natives/PictureResult.h>
#include <natives/ProcessFlags.h>
#include <natives/WorkerAnswer.h>
#include <natives/WorkerLane.h>
#include <natives/WorkerOrder.h>
#include <natives/c_mediareader_source.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace PictureCall = natives::PictureCall;
namespace WorkerOrder = natives::WorkerOrder;

namespace
{

using bytes = std::vector<uint8_t>;

constexpr nursery_messages::dsd_start s_limits{uint64_t{512} << 20U, 60, 0};
constexpr size_t ul_shared = size_t{1} << 30U;
constexpr int in_again = natives::PictureResult::MORE | natives::PictureResult::MEMORY;
constexpr size_t ul_small_area = 1024; // so that most packets need a larger one

bytes film_of(const std::string &strp_name)
{
    const char *strl_directory = std::getenv("KIV_STREAMS_DIR");
    std::ifstream dsl_file(std::string(strl_directory == nullptr ? "" : strl_directory) + "/" + strp_name,
                           std::ios::binary);
    return {std::istreambuf_iterator<char>(dsl_file), {}};
}

/** More bytes than some pictures of 322x242 need, and fewer than all of a film. */
constexpr size_t ul_few_pictures = 24 * 352 * 288 * 3 / 2;

/** A film in memory, for the reader of this process. */
class c_film_source final : public ca_byte_source
{
public:
    explicit c_film_source(const bytes &utp_film) : utc_film(utp_film) {}

    std::span<uint8_t> memory() const noexcept override { return utc_block; }
    bool has_failed() const noexcept override { return false; }
    void check() const override {}
    int64_t seek(int64_t ilp_position) override { return ilc_position = ilp_position; }
    int64_t size() override { return static_cast<int64_t>(utc_film.size()); }
    int32_t read(int32_t imp_wanted) override
    {
        const int64_t ill_count = std::min<int64_t>(size() - ilc_position, imp_wanted);
        if (ill_count <= 0)
            return natives::c_mediareader_source::END;
        std::copy_n(utc_film.begin() + ilc_position, ill_count, utc_block.begin());
        ilc_position += ill_count;
        return static_cast<int32_t>(ill_count);
    }

private:
    const bytes &utc_film;
    mutable bytes utc_block = bytes(4096);
    int64_t ilc_position = 0;
};

/** Either side of the wall, as far as these tests need it. */
struct dsd_side
{
    std::function<bool(std::vector<int64_t> &, bytes &)> read;
    std::function<int32_t(bytes &, int32_t, std::array<int64_t, PictureCall::SIZE> &)> decode;
    std::function<std::pair<int64_t, uint8_t *>(size_t)> allocate; // the address for the call, and the memory
};

/** All packets and pictures of the first stream: their numbers, and the bytes of the planes' first lines. */
std::vector<bytes> everything_of(const dsd_side &dsp_side)
{
    std::vector<bytes> utl_all;
    const auto keep = [&](const void *avp_from, size_t ulp_length) {
        const auto *autl_from = static_cast<const uint8_t *>(avp_from);
        utl_all.emplace_back(autl_from, autl_from + ulp_length);
    };
    std::map<int64_t, uint8_t *> dsl_blocks;
    std::array<int64_t, PictureCall::SIZE> aill_call{};
    int64_t ill_slots = 0;
    const auto decode = [&](bytes &utp_packet, int32_t imp_flags) {
        for (int32_t iml_result = in_again; (iml_result & in_again) != 0;) {
            aill_call[PictureCall::STOCKED] = aill_call[PictureCall::WANTED];
            for (int64_t ill_block = 0; ill_block < aill_call[PictureCall::STOCKED]; ++ill_block) {
                const auto iml_at = static_cast<size_t>(PictureCall::BLOCKS + ill_block * PictureCall::BLOCK_SIZE);
                const auto ull_size = static_cast<size_t>(aill_call[PictureCall::WANTED_BYTES]);
                const auto [ill_address, autl_memory] = dsp_side.allocate(ull_size);
                dsl_blocks[ill_slots] = autl_memory;
                aill_call[iml_at + PictureCall::BLOCK_SLOT] = ill_slots++;
                aill_call[iml_at + PictureCall::BLOCK_ADDRESS] = ill_address;
                aill_call[iml_at + PictureCall::BLOCK_BYTES] = static_cast<int64_t>(ull_size);
            }
            iml_result = dsp_side.decode(utp_packet, imp_flags, aill_call);
            utp_packet.clear();
            if ((iml_result & natives::PictureResult::PICTURE) == 0)
                continue;
            const auto ull_height = static_cast<size_t>(aill_call[PictureCall::HEIGHT]);
            keep(&aill_call[PictureCall::PICTURE_KEY], sizeof(int64_t));
            keep(&aill_call[PictureCall::WIDTH], 3 * sizeof(int64_t));
            for (size_t ull_line = 0; ull_line < ull_height; ++ull_line)
                keep(dsl_blocks.at(aill_call[PictureCall::SLOT]) + aill_call[PictureCall::PLANE_OFFSETS] +
                         static_cast<int64_t>(ull_line) * aill_call[PictureCall::LINE_SIZES],
                     static_cast<size_t>(aill_call[PictureCall::WIDTH]));
        }
    };
    std::vector<int64_t> aill_fields;
    for (bytes utl_packet; dsp_side.read(aill_fields, utl_packet);) {
        keep(aill_fields.data(), aill_fields.size() * sizeof(int64_t));
        utl_all.push_back(utl_packet);
        if (aill_fields[natives::PacketFields::STREAM] == 0)
            decode(utl_packet, 0);
        aill_call[PictureCall::KEY]++;
    }
    bytes utl_none;
    decode(utl_none, natives::ProcessFlags::DRAIN);
    return utl_all;
}

class worker : public real_ffmpeg
{
protected:
    std::unique_ptr<c_worker> make()
    {
        auto dsl_worker = dsc_nursery.make(s_limits, ul_shared);
        dsl_worker->wait_until_ready();
        return dsl_worker;
    }

    /** How a worker ended, as soon as that is known. */
    nursery_messages::dsd_report end_of(const c_worker &dsp_worker)
    {
        for (int inl_wait = 0; inl_wait < 1000; ++inl_wait) {
            if (const auto dsl_end = dsc_nursery.end_of(dsp_worker.process()))
                return *dsl_end;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return {};
    }

    c_nursery dsc_nursery{KIV_WORKER, ffmpeg_directory()};
};

/** The fields and extradata of the film's first stream become a decoder's. */
c_message_writer stream_order(c_lane_client &dsp_reader)
{
    c_message_writer dsl_index;
    dsl_index.put(int32_t{0});
    c_message_reader dsl_stream = dsp_reader.order(WorkerOrder::READER_STREAM, dsl_index);
    c_coded_stream::values aill_values{};
    dsl_stream.take_all(std::span<int64_t>(aill_values));
    dsl_stream.take_text();
    c_message_writer dsl_order;
    dsl_order.put_all(std::span<const int64_t>(aill_values));
    dsl_order.put_all(std::span<const uint8_t>(dsl_stream.take_bytes()));
    return dsl_order;
}

void open_reader(c_lane_client &dsp_reader)
{
    c_message_writer dsl_order;
    dsl_order.put(int32_t{0});
    dsl_order.put_all(std::span<const int64_t>(c_reader_limits::usual()));
    dsp_reader.order(WorkerOrder::READER_OPEN, dsl_order);
}

std::vector<bytes> everything_behind_the_wall(c_worker &dsp_worker, const bytes &utp_film)
{
    c_lane_client dsl_reader(dsp_worker, 0, ul_small_area, utp_film);
    c_lane_client dsl_decoder(dsp_worker, 1, ul_small_area, {});
    open_reader(dsl_reader);
    dsl_decoder.order(WorkerOrder::VIDEO_CREATE, stream_order(dsl_reader));
    EXPECT_EQ(dsl_decoder.order(WorkerOrder::VIDEO_OPEN).take<int32_t>(), 1);
    size_t ull_free = dsl_reader.blocks();
    int64_t ill_open = -1; // the slot of the last picture, which is closed before the next one comes
    int64_t ill_closed = 0;
    auto utl_all = everything_of({
        [&](std::vector<int64_t> &ailp_fields, bytes &utp_packet) {
            c_message_writer dsl_order;
            dsl_order.put(int32_t{-1});
            c_message_reader dsl_packet = dsl_reader.order(WorkerOrder::READER_READ, dsl_order);
            if (dsl_packet.empty())
                return false;
            ailp_fields.resize(natives::PacketFields::SIZE_WITH_LENGTH);
            dsl_packet.take_all(std::span<int64_t>(ailp_fields));
            const auto utl_bytes = dsl_packet.take_bytes();
            utp_packet.assign(utl_bytes.begin(), utl_bytes.end());
            return true;
        },
        [&](bytes &utp_packet, int32_t imp_flags, std::array<int64_t, PictureCall::SIZE> &ailp_call) {
            if (ill_open >= 0)
                dsl_decoder.close_picture(static_cast<int32_t>(ill_open));
            ill_closed += ill_open >= 0 ? 1 : 0;
            c_message_writer dsl_order;
            dsl_order.put(imp_flags);
            dsl_order.put_all(std::span<const int64_t>(ailp_call));
            dsl_order.put_all(std::span<const uint8_t>(utp_packet));
            c_message_reader dsl_results = dsl_decoder.order(WorkerOrder::VIDEO_DECODE, dsl_order);
            const auto iml_result = dsl_results.take<int32_t>();
            dsl_results.take_all(std::span<int64_t>(ailp_call));
            ill_open = (iml_result & natives::PictureResult::PICTURE) != 0 ? ailp_call[PictureCall::SLOT] : -1;
            ill_closed -= ailp_call[PictureCall::CLOSED];
            return iml_result;
        },
        [&](size_t ulp_size) {
            const size_t ull_at = std::exchange(ull_free, ull_free + (ulp_size + 4095) / 4096 * 4096);
            return std::pair(static_cast<int64_t>(ull_at),
                             reinterpret_cast<uint8_t *>(dsp_worker.memory().data() + ull_at));
        },
    });
    EXPECT_EQ(ill_closed, 0) << "the worker says how many it has taken";
    EXPECT_LT(ull_free - dsl_reader.blocks(), ul_few_pictures) << "a block serves again when its picture is closed";
    return utl_all;
}

std::vector<bytes> everything_in_this_process(const bytes &utp_film)
{
    static c_ffmpeg *const adsl_ffmpeg =
        new c_ffmpeg; // codecs hold it; nothing tears it down without a virtual machine
    adsl_ffmpeg->add_holder();
    c_mediareader dsl_reader(adsl_ffmpeg, std::make_unique<c_film_source>(utp_film), ie_access::ie_anywhere,
                             c_reader_limits::usual());
    const auto utl_extradata = dsl_reader.extradata(0);
    c_videocodec dsl_codec(adsl_ffmpeg, c_vformat::of_stream(c_coded_stream(
                                            dsl_reader.stream_info(0), {utl_extradata.begin(), utl_extradata.end()})));
    dsl_codec.append_dst_format(std::make_unique<c_colormodel>());
    dsl_codec.set_option("pooled_pictures", 1);
    EXPECT_TRUE(dsl_codec.open());
    std::vector<std::unique_ptr<uint8_t, c_picture_stock::dsd_free>> dsl_memory;
    return everything_of({
        [&](std::vector<int64_t> &ailp_fields, bytes &utp_packet) {
            c_avpacket dsl_packet;
            if (!dsl_reader.read(dsl_packet))
                return false;
            const auto aill_fields = packet_fields(*dsl_packet.packet());
            ailp_fields.assign(aill_fields.begin(), aill_fields.end());
            utp_packet.assign(dsl_packet.data(), dsl_packet.data() + dsl_packet.size());
            return true;
        },
        [&](bytes &utp_packet, int32_t imp_flags, std::array<int64_t, PictureCall::SIZE> &ailp_call) {
            std::span<uint8_t> utl_input;
            picture_call::add_blocks(dsl_codec, ailp_call);
            if (!utp_packet.empty())
                std::ranges::copy(utp_packet, (utl_input = dsl_codec.input().prepare(utp_packet.size())).begin());
            return picture_call::decode(dsl_codec, utl_input, imp_flags, ailp_call);
        },
        [&](size_t ulp_size) {
            dsl_memory.emplace_back(static_cast<uint8_t *>(std::aligned_alloc(64, (ulp_size + 63) / 64 * 64)));
            return std::pair(static_cast<int64_t>(reinterpret_cast<intptr_t>(dsl_memory.back().get())),
                             dsl_memory.back().get());
        },
    });
}

TEST_F(worker, decodes_as_this_process_does)
{
    for (const char *strl_film : {"h264_b_256x256.avi", "mpeg1_320x240.m1v", "mpeg4_b_322x242.avi"}) {
        const bytes utl_film = film_of(strl_film);
        if (utl_film.empty())
            GTEST_SKIP() << "no films";
        const auto dsl_worker = make();
        const auto utl_here = everything_in_this_process(utl_film);
        EXPECT_GT(utl_here.size(), 30U);
        EXPECT_EQ(everything_behind_the_wall(*dsl_worker, utl_film), utl_here) << strl_film;
    }
}

TEST_F(worker, a_failure_is_that_of_the_library)
{
    const auto dsl_worker = make();
    const bytes utl_text(5000, 'x');
    c_lane_client dsl_lane(*dsl_worker, 5, ul_small_area, utl_text);
    try {
        open_reader(dsl_lane);
        FAIL() << "a text is no film";
    } catch (const c_order_failed &dsl_failure) {
        EXPECT_EQ(dsl_failure.imc_failure, natives::WorkerAnswer::RUNTIME);
        EXPECT_STREQ(dsl_failure.what(), "not a known media file in line 2607");
    }
    EXPECT_THROW(dsl_lane.order(WorkerOrder::VIDEO_RESET), c_order_failed); // there is no decoder
    EXPECT_THROW(dsl_lane.order(4711), c_order_failed);
    EXPECT_FALSE(dsl_worker->has_ended());
}

TEST_F(worker, dies_alone_and_says_of_what)
{
    const auto dsl_killed = make();
    const auto dsl_other = make();
    kill(dsl_killed->process(), SIGSEGV);
    c_lane_client dsl_lane(*dsl_other, 0, ul_small_area, {});
    EXPECT_THROW(dsl_lane.order(4711), c_order_failed); // it still answers
    const auto dsl_end = end_of(*dsl_killed);
    EXPECT_EQ(dsl_end.imc_signal, SIGSEGV);
    EXPECT_TRUE(dsl_killed->has_ended());
    EXPECT_FALSE(dsl_other->has_ended());
}

TEST_F(worker, that_does_nothing_but_count_is_given_up)
{
    const auto dsl_worker = make();
    constexpr int32_t im_lane = 7; // which nobody serves
    const std::atomic_ref uml_progress(*reinterpret_cast<uint32_t *>(
        dsl_worker->memory().data() + im_lane * natives::WorkerLane::SIZE + natives::WorkerLane::PROGRESS));
    const std::jthread dsl_counts([&](const std::stop_token &dsp_stop) {
        while (!dsp_stop.stop_requested())
            uml_progress.fetch_add(1);
    });
    const auto dsl_half = lane_turn::checked(*dsl_worker, im_lane, 0);
    lane_turn::give(*dsl_worker, dsl_half, 1);
    EXPECT_EQ(lane_turn::take(*dsl_worker, dsl_half, 1, true, std::chrono::milliseconds(5)),
              lane_turn::ie_end::ie_silent);
}

TEST_F(worker, none_outlives_the_process_that_uses_it)
{
    std::unique_ptr<c_worker> dsl_worker;
    {
        c_nursery dsl_nursery(KIV_WORKER, ffmpeg_directory());
        dsl_worker = dsl_nursery.make(s_limits, ul_shared);
        dsl_worker->wait_until_ready();
    }
    EXPECT_TRUE(dsl_worker->has_ended());
}

TEST(lying_worker, answers_with_lies_and_the_truth_as_its_seed_says)
{
    c_nursery dsl_nursery(KIV_LYING_WORKER, ffmpeg_directory());
    const auto answers_of = [&](uint64_t ulp_seed) {
        const auto dsl_worker = dsl_nursery.make({ulp_seed, 0, 0}, size_t{1} << 30U);
        dsl_worker->wait_until_ready();
        c_lane_client dsl_lane(*dsl_worker, 0, ul_small_area, {});
        std::vector<int32_t> aiml_kinds;
        try {
            while (aiml_kinds.size() < 20)
                aiml_kinds.push_back(dsl_lane.kind_of_answer(4711));
        } catch (const c_worker_gone &) {
            // It has lied to itself.
        }
        return aiml_kinds;
    };
    std::map<int32_t, int> dsl_kinds;
    for (uint64_t ull_seed = 1; ull_seed <= 20; ++ull_seed)
        for (const int32_t iml_kind : answers_of(ull_seed))
            ++dsl_kinds[iml_kind];
    EXPECT_GT(dsl_kinds[natives::WorkerAnswer::FAILED], 100); // the truth
    EXPECT_GT(dsl_kinds.size(), 2U);
}

TEST(nursery, that_cannot_start_is_an_exception)
{
    EXPECT_THROW(c_nursery("/nowhere/worker", ffmpeg_directory()), std::system_error);
    EXPECT_THROW(c_nursery(KIV_WORKER, "/nowhere"), std::system_error);
}

} // namespace
