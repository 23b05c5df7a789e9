#include "kivjniffmpeg/formats/audio_format.h"

#include "jni/exceptions.h"
#include "jni/java_arrays.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"
#include "trace/trace.h"

#include <natives/StreamFields.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <utility>

namespace AudioFormatLayout = natives::AudioFormatLayout;
namespace StreamFields = natives::StreamFields;

/** Little-endian numbers, text and bytes, one behind the other. */
class c_aformat::c_little_endian_writer
{
public:
    void put16(int32_t imp_value) { put(imp_value, 2); }
    void put32(int32_t imp_value) { put(imp_value, 4); }
    void put_text(std::string_view strp_text) { utc_bytes.insert(utc_bytes.end(), strp_text.begin(), strp_text.end()); }
    void put_bytes(std::span<const uint8_t> utp_bytes)
    {
        utc_bytes.insert(utc_bytes.end(), utp_bytes.begin(), utp_bytes.end());
    }

    const std::vector<uint8_t> &bytes() const noexcept { return utc_bytes; }

private:
    void put(int32_t imp_value, int inp_width)
    {
        for (int inl_byte = 0; inl_byte < inp_width; ++inl_byte)
            utc_bytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(imp_value) >> (8 * inl_byte)));
    }

    std::vector<uint8_t> utc_bytes;
};

namespace
{

/** A product that is defined for hostile header values too: it wraps at 32 bits. */
int32_t wrapping_product(int32_t imp_a, int32_t imp_b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(imp_a) * static_cast<uint32_t>(imp_b));
}

} // namespace

c_aformat::c_aformat() = default;

c_aformat::c_aformat(int32_t imp_format_tag, int32_t imp_channels, int32_t imp_sample_rate, int32_t imp_bits_per_sample,
                     bool bp_planar, std::vector<uint8_t> utp_specific_hdr)
    : imc_format_tag(imp_format_tag),
      imc_channels(imp_channels),
      imc_sample_rate(imp_sample_rate),
      imc_bits_per_sample(imp_bits_per_sample),
      imc_frame_size(wrapping_product(imp_bits_per_sample, imp_channels) / 8),
      imc_bytes_per_second(wrapping_product(imc_frame_size, imp_sample_rate)),
      utc_specific_hdr(std::move(utp_specific_hdr)),
      bc_planar(bp_planar),
      iec_codec_id(format_tag2codecid(imp_format_tag))
{
    TRACE_FUNCTION(3);
}

c_aformat::~c_aformat() = default;

std::unique_ptr<c_aformat> c_aformat::pcm16(int32_t imp_channels, int32_t imp_sample_rate)
{
    return std::make_unique<c_aformat>(im_tag_pcm, imp_channels, imp_sample_rate, 16, false, std::vector<uint8_t>());
}

std::unique_ptr<c_aformat> c_aformat::of_samples(AVSampleFormat iep_format, int32_t imp_channels,
                                                 int32_t imp_sample_rate)
{
    return std::make_unique<c_aformat>(format_tag_of(iep_format), imp_channels, imp_sample_rate,
                                       g_avutil.av_get_bytes_per_sample(iep_format) * 8,
                                       g_avutil.av_sample_fmt_is_planar(iep_format) != 0, std::vector<uint8_t>());
}

std::unique_ptr<c_aformat> c_aformat::of_layout(std::span<const int32_t, AudioFormatLayout::SIZE> aimp_values,
                                                std::vector<uint8_t> utp_specific_hdr)
{
    auto dsl_format = std::make_unique<c_aformat>();
    dsl_format->imc_format_tag = aimp_values[AudioFormatLayout::FORMAT_TAG];
    dsl_format->imc_channels = aimp_values[AudioFormatLayout::CHANNELS];
    dsl_format->imc_sample_rate = aimp_values[AudioFormatLayout::SAMPLE_RATE];
    dsl_format->imc_bytes_per_second = aimp_values[AudioFormatLayout::BYTES_PER_SECOND];
    dsl_format->imc_frame_size = aimp_values[AudioFormatLayout::BLOCK_ALIGN];
    dsl_format->imc_bits_per_sample = aimp_values[AudioFormatLayout::BITS_PER_SAMPLE];
    dsl_format->utc_specific_hdr = std::move(utp_specific_hdr);
    dsl_format->iec_codec_id = format_tag2codecid(dsl_format->imc_format_tag);
    return dsl_format;
}

std::unique_ptr<c_aformat> c_aformat::create_from_java_array(kiv::jni::c_jintarray &dsp_ints,
                                                             kiv::jni::c_jbytearray &dsp_bytes)
{
    TRACE_FUNCTION(3);
    std::array<int32_t, AudioFormatLayout::SIZE> aiml_values{};
    dsp_ints.pin();
    for (int32_t iml_index = 0; iml_index < AudioFormatLayout::SIZE; ++iml_index)
        aiml_values[static_cast<size_t>(iml_index)] = dsp_ints[iml_index];
    dsp_ints.release();
    auto dsl_format =
        of_layout(aiml_values, kiv::jni::from_java(dsp_bytes, aiml_values[AudioFormatLayout::HEADER_LENGTH]));
    if (dsl_format->iec_codec_id == AV_CODEC_ID_NONE)
        TRACE_LINE(im_level_debug, "%s#%s(): cannot create audio codec to format 0x%x",
                   static_cast<unsigned int>(dsl_format->imc_format_tag));
    return dsl_format;
}

std::unique_ptr<c_aformat> c_aformat::of_stream(c_coded_stream dsp_stream)
{
    TRACE_FUNCTION(3);
    admitted_codecs::require(dsp_stream.codec_id(), AVMEDIA_TYPE_AUDIO);
    auto dsl_format = std::make_unique<c_aformat>();
    dsl_format->iec_codec_id = dsp_stream.codec_id();
    dsl_format->imc_format_tag =
        dsp_stream.codec_tag() <= UINT16_MAX ? static_cast<int32_t>(dsp_stream.codec_tag()) : 0;
    dsl_format->imc_channels = dsp_stream.number(StreamFields::CHANNELS);
    dsl_format->imc_sample_rate = dsp_stream.number(StreamFields::SAMPLE_RATE);
    dsl_format->imc_bytes_per_second = dsp_stream.number(StreamFields::BIT_RATE) / 8;
    dsl_format->imc_frame_size = dsp_stream.number(StreamFields::BLOCK_ALIGN);
    dsl_format->imc_bits_per_sample = dsp_stream.number(StreamFields::BITS_PER_CODED_SAMPLE);
    dsl_format->dsc_stream.emplace(std::move(dsp_stream));
    return dsl_format;
}

std::unique_ptr<c_aformat> c_aformat::of_codec(AVCodecID iep_codec, int32_t imp_channels, int32_t imp_sample_rate)
{
    auto dsl_format =
        std::make_unique<c_aformat>(im_tag_none, imp_channels, imp_sample_rate, 0, false, std::vector<uint8_t>());
    dsl_format->iec_codec_id = iep_codec;
    return dsl_format;
}

void c_aformat::write_fields(c_little_endian_writer &dsp_writer) const
{
    dsp_writer.put16(imc_format_tag);
    dsp_writer.put16(imc_channels);
    dsp_writer.put32(imc_sample_rate);
    dsp_writer.put32(imc_bytes_per_second);
    dsp_writer.put16(imc_frame_size);
    dsp_writer.put16(imc_bits_per_sample);
}

std::vector<uint8_t> c_aformat::wave_header() const
{
    c_little_endian_writer dsl_writer;
    write_fields(dsl_writer);
    dsl_writer.put16(static_cast<int32_t>(specific_hdr().size()));
    dsl_writer.put_bytes(specific_hdr());
    return dsl_writer.bytes();
}

jbyteArray c_aformat::export_to_java_array(const kiv::jni::c_jnienv &dsp_env) const
{
    TRACE_FUNCTION(3);
    return kiv::jni::to_java(dsp_env, wave_header());
}

void c_aformat::get_riff_header(std::span<uint8_t, ul_riff_header_size> utp_dst) const
{
    constexpr int32_t iml_data_size = 0x400000;
    c_little_endian_writer dsl_writer;
    dsl_writer.put_text("RIFF");
    dsl_writer.put32(iml_data_size + static_cast<int32_t>(ul_riff_header_size) - 8);
    dsl_writer.put_text("WAVEfmt ");
    dsl_writer.put32(16);
    write_fields(dsl_writer);
    dsl_writer.put_text("data");
    dsl_writer.put32(iml_data_size);
    std::ranges::copy(dsl_writer.bytes(), utp_dst.begin());
}

std::string c_aformat::to_string() const
{
    std::ostringstream dsl_text;
    dsl_text << " format_tag=0x" << std::hex << imc_format_tag << std::dec << " channels=" << imc_channels
             << " sample_rate=" << imc_sample_rate << " bytes_per_second=" << imc_bytes_per_second
             << " frame_size=" << imc_frame_size << " bits_per_sample=" << imc_bits_per_sample
             << " specific_hdr_size=" << specific_hdr().size();
    if (!specific_hdr().empty()) {
        dsl_text << " specific_hdr=0x" << std::hex;
        for (const uint8_t utl_byte : specific_hdr())
            dsl_text << static_cast<unsigned int>(utl_byte);
    }
    return dsl_text.str();
}

bool c_aformat::needs_resampling(const c_aformat &dsp_src, const c_aformat &dsp_dst)
{
    TRACE_FUNCTION(3);
    const auto is_uncompressed = [](const c_aformat &dsp_format) {
        return dsp_format.imc_format_tag == im_tag_pcm || dsp_format.imc_format_tag == im_tag_float;
    };
    if (!is_uncompressed(dsp_src) && !is_uncompressed(dsp_dst))
        throw_ffmpeg_exception(1252, "need decoding before resampling");
    return dsp_src.imc_format_tag != dsp_dst.imc_format_tag || dsp_src.imc_channels != dsp_dst.imc_channels ||
           dsp_src.imc_sample_rate != dsp_dst.imc_sample_rate ||
           dsp_src.imc_bits_per_sample != dsp_dst.imc_bits_per_sample;
}
