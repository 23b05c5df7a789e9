#include "kivjniffmpeg/containers/media_writer.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/error_text.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"
#include "memory/bytes.h"
#include "trace/trace.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

namespace WriterFields = natives::WriterFields;

namespace
{

/** FFmpeg's names of the formats that are written. Others write several files, or open connections. */
constexpr std::string_view s_formats[] = {"flac", "ogg", "ipod", "3gp", "amr"};

const char *require_format(const std::string &strp_format)
{
    if (std::ranges::find(s_formats, strp_format) == std::end(s_formats))
        throw_ffmpeg_exception(2657, "the library does not write the format ", strp_format);
    return strp_format.c_str();
}

/** A number of Java's. @throws c_ffmpeg_exception when it has more than 32 bits, or is negative */
int32_t number(const c_mediawriter::values &ailp_sound, int32_t imp_index)
{
    const int64_t ill_value = ailp_sound[static_cast<size_t>(imp_index)];
    if (ill_value < 0 || !std::in_range<int32_t>(ill_value))
        throw_ffmpeg_exception(2658, "an impossible number of the sound: ", ill_value);
    return static_cast<int32_t>(ill_value);
}

/** A copy in FFmpeg's memory with zeroed padding. @throws std::bad_alloc */
uint8_t *copy_of(std::span<const uint8_t> utp_bytes)
{
    auto *autl_copy = static_cast<uint8_t *>(g_avutil.av_malloc(utp_bytes.size() + FF_INPUT_BUFFER_PADDING_SIZE));
    if (autl_copy == nullptr)
        throw std::bad_alloc();
    copy_bytes(utp_bytes, {autl_copy, utp_bytes.size()});
    std::fill_n(autl_copy + utp_bytes.size(), FF_INPUT_BUFFER_PADDING_SIZE, uint8_t{0});
    return autl_copy;
}

} // namespace

c_mediawriter::c_mediawriter(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<ca_byte_sink> dsp_sink, bool bp_seekable,
                             const std::string &strp_format, const std::string &strp_codec, const values &ailp_sound,
                             std::span<const uint8_t> utp_extradata)
    : dsc_ffmpeg(adsp_ffmpeg),
      dsc_sink(std::move(dsp_sink), bp_seekable),
      dsc_output(require_format(strp_format)),
      dsc_stream(dsc_output.add_stream()),
      imc_sample_rate(number(ailp_sound, WriterFields::SAMPLE_RATE))
{
    TRACE_FUNCTION(3);
    const AVCodecID iel_codec = admitted_codecs::find(strp_codec);
    if (iel_codec == AV_CODEC_ID_NONE || imc_sample_rate == 0)
        throw_ffmpeg_exception(2659, "no sound that can be written: ", strp_codec);
    describe(dsc_stream, iel_codec, ailp_sound, utp_extradata);
    dsc_output.context()->pb = dsc_sink.io();
    dsc_output.context()->flags |= AVFMT_FLAG_CUSTOM_IO;
    const int inl_result = dsc_output.write_header();
    dsc_sink.check();
    if (inl_result < 0)
        throw_ffmpeg_exception(2660, strp_format, " does not take the sound: ", error_text(inl_result));
}

c_mediawriter::~c_mediawriter()
{
    TRACE_FUNCTION(3);
    dsc_sink.abandon(); // what is not finished is not completed
}

void c_mediawriter::describe(AVStream &dsp_stream, AVCodecID iep_codec, const values &ailp_sound,
                             std::span<const uint8_t> utp_extradata) const
{
    AVCodecContext &dsl_codec = *dsp_stream.codec;
    dsl_codec.codec_type = AVMEDIA_TYPE_AUDIO;
    dsl_codec.codec_id = iep_codec;
    dsl_codec.sample_rate = imc_sample_rate;
    dsl_codec.channels = number(ailp_sound, WriterFields::CHANNELS);
    dsl_codec.channel_layout = static_cast<uint64_t>(ailp_sound[WriterFields::CHANNEL_LAYOUT]);
    dsl_codec.bits_per_raw_sample = number(ailp_sound, WriterFields::BITS_PER_SAMPLE);
    dsl_codec.bit_rate = number(ailp_sound, WriterFields::BIT_RATE);
    dsl_codec.frame_size = number(ailp_sound, WriterFields::FRAME_SIZE);
    dsl_codec.delay = number(ailp_sound, WriterFields::INITIAL_PADDING);
    dsl_codec.time_base = {1, imc_sample_rate};
    dsp_stream.time_base = {1, imc_sample_rate};
    if (utp_extradata.empty())
        return;
    dsl_codec.extradata = copy_of(utp_extradata); // freed with the stream
    dsl_codec.extradata_size = static_cast<int>(utp_extradata.size());
}

void c_mediawriter::throw_if_finished() const
{
    if (bc_finished)
        throw_ffmpeg_exception(2661, "the container is finished");
}

void c_mediawriter::check(int inp_result) const
{
    dsc_sink.check();
    if (inp_result < 0)
        throw_ffmpeg_exception(2662, "writing failed: ", error_text(inp_result));
}

void c_mediawriter::write(std::span<uint8_t> utp_bytes, int64_t ilp_time, int64_t ilp_duration)
{
    TRACE_FUNCTION(3);
    if (utp_bytes.empty())
        throw_ffmpeg_exception(2744, "packet to write is null or empty");
    throw_if_finished();
    // FFmpeg's arithmetic of times is not for all numbers.
    constexpr int64_t il_most = int64_t{1} << 48;
    if (ilp_time < -il_most || ilp_time > il_most || ilp_duration < 0 || ilp_duration > INT_MAX)
        throw_ffmpeg_exception(2663, "a packet at ", ilp_time, " of ", ilp_duration, " samples");
    const auto in_stream_time = [&](int64_t ilp_samples) {
        return g_avutil.av_rescale_rnd(ilp_samples, dsc_stream.time_base.den,
                                       int64_t{imc_sample_rate} * dsc_stream.time_base.num, AV_ROUND_NEAR_INF);
    };
    c_avpacket dsl_packet;
    AVPacket &dsl_avpacket = *dsl_packet.packet();
    dsl_packet.set_data(utp_bytes.data());
    dsl_packet.set_size(static_cast<int>(utp_bytes.size()));
    dsl_packet.set_pts(in_stream_time(ilp_time));
    dsl_packet.set_dts(dsl_avpacket.pts);
    dsl_avpacket.duration = static_cast<int>(in_stream_time(ilp_time + ilp_duration) - dsl_avpacket.pts);
    dsl_avpacket.flags = AV_PKT_FLAG_KEY;
    ilc_end = ilp_time + ilp_duration;
    check(g_avformat.av_interleaved_write_frame(dsc_output.context(), dsl_packet.packet()));
}

void c_mediawriter::finish(std::span<const uint8_t> utp_extradata)
{
    TRACE_FUNCTION(3);
    throw_if_finished();
    if (!utp_extradata.empty() && utp_extradata.size() <= INT_MAX - FF_INPUT_BUFFER_PADDING_SIZE) {
        c_avpacket dsl_packet;
        uint8_t *autl_copy = g_avcodec.av_packet_new_side_data(dsl_packet.packet(), AV_PKT_DATA_NEW_EXTRADATA,
                                                               static_cast<int>(utp_extradata.size()));
        if (autl_copy == nullptr)
            throw std::bad_alloc();
        copy_bytes(utp_extradata, {autl_copy, utp_extradata.size()});
        dsl_packet.set_pts(g_avutil.av_rescale_rnd(
            ilc_end, dsc_stream.time_base.den, int64_t{imc_sample_rate} * dsc_stream.time_base.num, AV_ROUND_NEAR_INF));
        dsl_packet.set_dts(dsl_packet.packet()->pts);
        check(g_avformat.av_interleaved_write_frame(dsc_output.context(), dsl_packet.packet()));
    }
    bc_finished = true;
    check(dsc_output.write_trailer());
}
