// Orders that decode, encode and resample sound.

#include "jni/exceptions.h"
#include "kivjniffmpeg/codecs/audio_call.h"
#include "kivjniffmpeg/codecs/encoder_call.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "kivjniffmpeg/formats/audio_format.h"
#include "trace/trace.h"
#include "worker/bytes.h"
#include "worker/orders.h"

#include <natives/AudioFormatLayout.h>
#include <natives/WorkerOrder.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace AudioFormatLayout = natives::AudioFormatLayout;
namespace WorkerOrder = natives::WorkerOrder;

namespace
{

/** Input out of a message, and output into another. */
class c_message_caller final : public audio_call::ca_caller
{
public:
    explicit c_message_caller(std::span<const uint8_t> utp_input) noexcept : utc_input(utp_input) {}

    std::span<const uint8_t> output() const noexcept { return utc_output; }

    uint8_t *input(c_padded_bytes &dsp_memory, int32_t, int32_t imp_length) override
    {
        if (utc_input.empty() || imp_length <= 0)
            return nullptr;
        if (static_cast<size_t>(imp_length) != utc_input.size())
            throw std::out_of_range("input of another length");
        return padded_copy(dsp_memory, utc_input).data();
    }

    void is_taken() override {}

    bool put(const ca_ffmpeg_buffer &dsp_buffer, int64_t) override
    {
        const uint8_t *autl_data = dsp_buffer.data() + dsp_buffer.data_offset();
        utc_output.insert(utc_output.end(), autl_data, autl_data + dsp_buffer.data_size());
        return true;
    }

private:
    std::span<const uint8_t> utc_input;
    std::vector<uint8_t> utc_output;
};

/** Makes the lane's codec and says whether there is one, or FFmpeg refuses it. */
void keep(dsd_workplace &dsp_place, std::unique_ptr<c_audiocodec> dsp_codec, c_message_writer &dsp_results)
{
    dsp_place.dsc_sound = std::move(dsp_codec);
    if (dsp_place.dsc_sound != nullptr)
        dsp_place.dsc_sound->count_frames_in(&dsp_place.dsc_lane.progress());
    dsp_results.put(int32_t{dsp_place.dsc_sound != nullptr ? 1 : 0});
}

std::unique_ptr<c_aformat> take_format(c_message_reader &dsp_order)
{
    std::array<int32_t, AudioFormatLayout::SIZE> aiml_values{};
    dsp_order.take_all(std::span<int32_t>(aiml_values));
    const auto utl_header = dsp_order.take_bytes();
    return c_aformat::of_layout(aiml_values, {utl_header.begin(), utl_header.end()});
}

void create(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    dsp_place.dsc_sound.reset();
    keep(dsp_place, audio_call::open_to_pcm(&dsp_place.dsc_ffmpeg, c_aformat::of_stream(take_stream(dsp_order))),
         dsp_results);
}

void create_to_pcm(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    dsp_place.dsc_sound.reset();
    keep(dsp_place, audio_call::open_to_pcm(&dsp_place.dsc_ffmpeg, take_format(dsp_order)), dsp_results);
}

void create_from_pcm(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    dsp_place.dsc_sound.reset();
    keep(dsp_place, audio_call::open_from_pcm(&dsp_place.dsc_ffmpeg, take_format(dsp_order)), dsp_results);
}

void create_encoder(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    const std::string strl_codec = dsp_order.take_text();
    const auto iml_samples = dsp_order.take<int32_t>();
    const auto iml_channels = dsp_order.take<int32_t>();
    dsp_place.dsc_sound.reset();
    dsp_place.dsc_sound =
        encoder_call::create(&dsp_place.dsc_ffmpeg, strl_codec, iml_samples, iml_channels, dsp_order.take<int32_t>());
}

template <bool (c_codec::*CHANGE)()>
void change(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    dsp_results.put(int32_t{(require(dsp_place.dsc_sound).*CHANGE)() ? 1 : 0});
}

void name(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    dsp_results.put_text(require(dsp_place.dsc_sound).get_name());
}

void set_option(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    const std::string strl_name = dsp_order.take_text();
    require(dsp_place.dsc_sound).set_option(strl_name, dsp_order.take<int64_t>());
}

void get_option(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    dsp_results.put(require(dsp_place.dsc_sound).property(dsp_order.take_text()));
}

void extradata(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    const auto utl_extradata = require(dsp_place.dsc_sound).extradata();
    if (utl_extradata.empty())
        dsp_results.put_none();
    else
        dsp_results.put_all(utl_extradata);
}

void formats(dsd_workplace &dsp_place, c_message_reader &, c_message_writer &dsp_results)
{
    const c_audiocodec &dsl_codec = require(dsp_place.dsc_sound);
    dsp_results.put_all(std::span<const uint8_t>(dsl_codec.get_src_format().wave_header()));
    dsp_results.put_all(std::span<const uint8_t>(dsl_codec.get_dst_format().wave_header()));
}

void process(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    TRACE_FUNCTION(1);
    c_audiocodec &dsl_codec = require(dsp_place.dsc_sound);
    audio_call::values aiml_call{};
    dsp_order.take_all(std::span<int32_t>(aiml_call));
    c_message_caller dsl_caller(dsp_order.take_bytes());
    dsp_results.put(audio_call::process(dsl_codec, aiml_call, dsl_caller, dsl_trace));
    dsp_results.put_all(std::span<const int32_t>(aiml_call));
    dsp_results.put_all(dsl_caller.output());
}

void encode(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    c_audiocodec &dsl_encoder = require(dsp_place.dsc_sound);
    const auto utl_samples = dsp_order.take_bytes();
    c_avpacket dsl_packet;
    if (!dsl_encoder.encode_packet(padded_copy(dsl_encoder.input(), utl_samples), dsl_packet))
        return;
    dsp_results.put_all(std::span<const int64_t>(encoder_call::fields_of(dsl_packet)));
    dsp_results.put_all(std::span<const uint8_t>(dsl_packet.data(), static_cast<size_t>(dsl_packet.size())));
}

void create_resampler(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &)
{
    const auto iml_samples = dsp_order.take<int32_t>();
    const auto iml_channels = dsp_order.take<int32_t>();
    const auto iml_from = dsp_order.take<int32_t>();
    dsp_place.dsc_resampler.reset();
    dsp_place.dsc_resampler =
        c_pcm_resampler::create(&dsp_place.dsc_ffmpeg, iml_samples, iml_channels, iml_from, dsp_order.take<int32_t>());
}

void resample(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results)
{
    c_pcm_resampler &dsl_resampler = require(dsp_place.dsc_resampler);
    const auto utl_pcm = padded_copy(dsl_resampler.input(), dsp_order.take_bytes());
    const auto dsl_converted = dsl_resampler.convert(utl_pcm);
    dsp_results.put_all(
        std::span<const uint8_t>(dsl_converted->data(), static_cast<size_t>(dsl_converted->data_size())));
}

constexpr dsd_order_work s_orders[] = {
    {WorkerOrder::SOUND_CREATE, create},
    {WorkerOrder::SOUND_CREATE_TO_PCM, create_to_pcm},
    {WorkerOrder::SOUND_CREATE_FROM_PCM, create_from_pcm},
    {WorkerOrder::SOUND_CREATE_ENCODER, create_encoder},
    {WorkerOrder::SOUND_OPEN, change<&c_codec::open>},
    {WorkerOrder::SOUND_CLOSE, change<&c_codec::close>},
    {WorkerOrder::SOUND_RESET, change<&c_codec::reset>},
    {WorkerOrder::SOUND_NAME, name},
    {WorkerOrder::SOUND_SET_OPTION, set_option},
    {WorkerOrder::SOUND_GET_OPTION, get_option},
    {WorkerOrder::SOUND_EXTRADATA, extradata},
    {WorkerOrder::SOUND_FORMATS, formats},
    {WorkerOrder::SOUND_PROCESS, process},
    {WorkerOrder::SOUND_ENCODE, encode},
    {WorkerOrder::RESAMPLER_CREATE, create_resampler},
    {WorkerOrder::RESAMPLER_CONVERT, resample},
};

} // namespace

std::span<const dsd_order_work> sound_orders() noexcept
{
    return s_orders;
}
