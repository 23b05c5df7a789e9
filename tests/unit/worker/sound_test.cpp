// Sound that a worker encodes, writes, reads, decodes and resamples.

#include "kivjniffmpeg/containers/reader_limits.h"
#include "kivjniffmpeg/workers/nursery_client.h"
#include "support/lane_client.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <natives/AudioParams.h>
#include <natives/PacketFields.h>
#include <natives/ProcessFlags.h>
#include <natives/StreamFields.h>
#include <natives/WorkerAnswer.h>
#include <natives/WorkerOrder.h>
#include <natives/WriterFields.h>
#include <natives/c_codecoptions_ffmpeg.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

namespace AudioParams = natives::AudioParams;
namespace WorkerOrder = natives::WorkerOrder;

namespace
{

using bytes = std::vector<uint8_t>;

constexpr int32_t im_rate = 44100;
constexpr int32_t im_samples = natives::c_codecoptions_ffmpeg::SAMPLES_16;
constexpr size_t ul_area = 4096; // so that packets need a larger one

template <size_t SIZE> std::array<int64_t, SIZE> numbers_of(c_message_reader &dsp_results)
{
    std::array<int64_t, SIZE> aill_numbers{};
    dsp_results.take_all(std::span<int64_t>(aill_numbers));
    return aill_numbers;
}

/** A file of the samples, which are those of two channels. */
bytes written(c_worker &dsp_worker, const bytes &utp_samples)
{
    const std::string strl_flac = "flac";
    c_lane_client dsl_encoder(dsp_worker, 0, ul_area, {});
    c_lane_client dsl_writer(dsp_worker, 1, ul_area, {});
    dsl_encoder.order_of(WorkerOrder::SOUND_CREATE_ENCODER, strl_flac, im_samples, 2, im_rate);
    EXPECT_EQ(dsl_encoder.order(WorkerOrder::SOUND_OPEN).take<int32_t>(), 1);
    const auto ull_frame =
        4 * static_cast<size_t>(
                dsl_encoder.order_of(WorkerOrder::SOUND_GET_OPTION, std::string("frame_size")).take<int64_t>());
    c_message_reader dsl_extradata = dsl_encoder.order(WorkerOrder::SOUND_EXTRADATA);
    const std::array<int64_t, natives::WriterFields::SIZE> aill_sound{im_rate, 2, 3, 16};
    dsl_writer.order_of(WorkerOrder::WRITER_OPEN, 1, strl_flac, strl_flac, aill_sound, dsl_extradata.take_bytes());
    for (size_t ull_at = 0; ull_at < utp_samples.size(); ull_at += ull_frame) {
        const auto utl_rest = std::span(utp_samples).subspan(ull_at);
        c_message_reader dsl_packet =
            dsl_encoder.order_of(WorkerOrder::SOUND_ENCODE, utl_rest.first(std::min(ull_frame, utl_rest.size())));
        const auto aill_fields = numbers_of<natives::PacketFields::SIZE>(dsl_packet);
        dsl_writer.order_of(WorkerOrder::WRITER_WRITE, aill_fields[natives::PacketFields::PRESENTATION_TIME],
                            aill_fields[natives::PacketFields::DURATION], dsl_packet.take_bytes());
    }
    dsl_writer.order_of(WorkerOrder::WRITER_FINISH, bytes());
    dsl_encoder.end();
    dsl_writer.end();
    return dsl_writer.written();
}

/** The samples of a file, through lanes that were used before. */
bytes decoded(c_worker &dsp_worker, const bytes &utp_file)
{
    c_lane_client dsl_reader(dsp_worker, 1, ul_area, utp_file);
    c_lane_client dsl_decoder(dsp_worker, 0, ul_area, {});
    dsl_reader.order_of(WorkerOrder::READER_OPEN, 0, c_reader_limits::usual());
    c_message_reader dsl_stream = dsl_reader.order_of(WorkerOrder::READER_STREAM, 0);
    const auto aill_stream = numbers_of<natives::StreamFields::SIZE>(dsl_stream);
    dsl_stream.take_text();
    EXPECT_EQ(dsl_decoder.order_of(WorkerOrder::SOUND_CREATE, aill_stream, dsl_stream.take_bytes()).take<int32_t>(), 1);
    bytes utl_samples;
    for (;;) {
        c_message_reader dsl_packet = dsl_reader.order_of(WorkerOrder::READER_READ, -1);
        if (dsl_packet.empty())
            return utl_samples;
        numbers_of<natives::PacketFields::SIZE_WITH_LENGTH>(dsl_packet);
        const auto utl_packet = dsl_packet.take_bytes();
        std::array<int32_t, AudioParams::SIZE_WITH_SKIPPED> aiml_call{};
        aiml_call[AudioParams::LENGTH] = static_cast<int32_t>(utl_packet.size());
        aiml_call[AudioParams::FLAGS] = natives::ProcessFlags::WHOLE_PACKET;
        aiml_call[AudioParams::OUT_LENGTH] = 1 << 20;
        const uint32_t uml_progress = dsl_decoder.progress();
        c_message_reader dsl_output = dsl_decoder.order_of(WorkerOrder::SOUND_PROCESS, aiml_call, utl_packet);
        EXPECT_GT(dsl_decoder.progress(), uml_progress + 1); // the answer, and a frame
        EXPECT_EQ(dsl_output.take<int32_t>(), 0);
        dsl_output.take_all(std::span<int32_t>(aiml_call));
        const auto utl_output = dsl_output.take_bytes();
        EXPECT_EQ(static_cast<size_t>(aiml_call[AudioParams::OUT_LENGTH]), utl_output.size());
        utl_samples.insert(utl_samples.end(), utl_output.begin(), utl_output.end());
    }
}

class worker_of_sound : public real_ffmpeg
{
protected:
    worker_of_sound() { dsc_worker->wait_until_ready(); }

    c_nursery dsc_nursery{KIV_WORKER, ffmpeg_directory()};
    std::unique_ptr<c_worker> dsc_worker = dsc_nursery.make({uint64_t{512} << 20U, 60, 0}, size_t{1} << 30U);
};

TEST_F(worker_of_sound, encodes_writes_reads_and_decodes)
{
    bytes utl_samples(size_t{4} * im_rate);
    for (size_t ull_at = 0; ull_at < utl_samples.size(); ++ull_at)
        utl_samples[ull_at] = static_cast<uint8_t>(ull_at * ull_at / 7);
    EXPECT_EQ(decoded(*dsc_worker, written(*dsc_worker, utl_samples)), utl_samples);
}

TEST_F(worker_of_sound, resamples_and_refuses)
{
    c_lane_client dsl_lane(*dsc_worker, 0, ul_area, {});
    dsl_lane.order_of(WorkerOrder::RESAMPLER_CREATE, im_samples, 1, im_rate, im_rate / 2);
    size_t ull_samples =
        dsl_lane.order_of(WorkerOrder::RESAMPLER_CONVERT, bytes(size_t{2} * im_rate)).take_bytes().size();
    ull_samples += dsl_lane.order_of(WorkerOrder::RESAMPLER_CONVERT, bytes()).take_bytes().size();
    EXPECT_NEAR(static_cast<double>(ull_samples), im_rate, 64);
    dsl_lane.order(WorkerOrder::CLEAR);
    EXPECT_THROW(dsl_lane.order_of(WorkerOrder::RESAMPLER_CONVERT, bytes()), c_order_failed);
    try {
        dsl_lane.order_of(WorkerOrder::RESAMPLER_CREATE, 4711, 1, im_rate, im_rate);
        FAIL() << "there are no such samples";
    } catch (const c_order_failed &dsl_failure) {
        EXPECT_EQ(dsl_failure.imc_failure, natives::WorkerAnswer::RUNTIME);
        EXPECT_STREQ(dsl_failure.what(), "no such samples to resample: 4711 in line 2753");
    }
}

} // namespace
