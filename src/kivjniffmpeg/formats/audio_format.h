/** @file An audio format with the fields of the WAVE format header. */
#pragma once

#include "jni/array_holders.h"
#include "jni/jnienv.h"
#include "kivjniffmpeg/ffmpeg/abi.h"
#include "kivjniffmpeg/formats/coded_stream.h"

#include <jni.h>
#include <natives/AudioFormatLayout.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/** The WAVE format tags that other files need; audio_format_tables.cpp has them all. */
inline constexpr int32_t im_tag_none = 0; // of a codec that is named by FFmpeg
inline constexpr int32_t im_tag_pcm = 1;
inline constexpr int32_t im_tag_float = 3;
inline constexpr int32_t im_tag_gsm610 = 0x31;
inline constexpr int32_t im_tag_mpeg = 0x50;
inline constexpr int32_t im_tag_mp3 = 0x55;

/** The codec of a WAVE format tag; AV_CODEC_ID_NONE for an unknown tag. */
AVCodecID format_tag2codecid(int32_t imp_format_tag);
/** Whether some format tag has this codec. All layers of MPEG audio count, because one decoder decodes them. */
bool has_format_tag(AVCodecID iep_codec) noexcept;
/** FFmpeg's channel layout of a channel count: 1, 2, 4, 6 or 8; otherwise 0. */
uint64_t channel_layout_of(int32_t imp_channels);
/** FFmpeg's sample format; AV_SAMPLE_FMT_NONE if there is none of this tag and size. */
AVSampleFormat sample_format_of(int32_t imp_format_tag, int32_t imp_bits_per_sample, bool bp_planar);
/** im_tag_float for the floating-point sample formats, im_tag_pcm for all others. */
int32_t format_tag_of(AVSampleFormat iep_format);

/**
 * Format tag, channels, rates, sizes, the codec's own header bytes, and FFmpeg's codec for the tag.
 *
 * Setting a field changes no other field; only the constructors derive fields from others.
 */
class c_aformat
{
public:
    static constexpr size_t ul_riff_header_size = 44;

    /** 16-bit stereo PCM of 48000 samples per second. */
    c_aformat();
    /** Derives the frame size, the byte rate and the codec. */
    c_aformat(int32_t imp_format_tag, int32_t imp_channels, int32_t imp_sample_rate, int32_t imp_bits_per_sample,
              bool bp_planar, std::vector<uint8_t> utp_specific_hdr);
    virtual ~c_aformat();
    c_aformat(const c_aformat &) = delete;
    c_aformat &operator=(const c_aformat &) = delete;

    /** Interleaved 16-bit PCM. */
    static std::unique_ptr<c_aformat> pcm16(int32_t imp_channels, int32_t imp_sample_rate);
    /** Uncompressed samples in FFmpeg's format. */
    static std::unique_ptr<c_aformat> of_samples(AVSampleFormat iep_format, int32_t imp_channels,
                                                 int32_t imp_sample_rate);

    /** Sound of a format tag: AudioFormatLayout and the header bytes. Nothing is recomputed. */
    static std::unique_ptr<c_aformat> of_layout(std::span<const int32_t, natives::AudioFormatLayout::SIZE> aimp_values,
                                                std::vector<uint8_t> utp_specific_hdr);

    /**
     * Reads Java's AudioFormatLayout; the byte[] begins with the header bytes. Nothing is recomputed.
     *
     * @throws std::bad_alloc for a negative length
     */
    static std::unique_ptr<c_aformat> create_from_java_array(kiv::jni::c_jintarray &dsp_ints,
                                                             kiv::jni::c_jbytearray &dsp_bytes);

    /**
     * Sound of FFmpeg's codec. The format tag is the stream's, or 0 when that is a four-character code.
     *
     * @throws c_ffmpeg_exception when the library does not decode it
     */
    static std::unique_ptr<c_aformat> of_stream(c_coded_stream dsp_stream);

    /** Sound to encode into FFmpeg's codec; without a format tag. */
    static std::unique_ptr<c_aformat> of_codec(AVCodecID iep_codec, int32_t imp_channels, int32_t imp_sample_rate);

    /** The WAVE format header (18 bytes, little-endian) and the header bytes behind it. */
    std::vector<uint8_t> wave_header() const;
    /** wave_header() as a new Java array. @throws kiv::jni::c_jniexception */
    jbyteArray export_to_java_array(const kiv::jni::c_jnienv &dsp_env) const;

    /** Writes a canonical RIFF/WAVE file header. Its data length is a placeholder of 4 MiB. */
    void get_riff_header(std::span<uint8_t, ul_riff_header_size> utp_dst) const;

    /** All fields by name, in one line. */
    std::string to_string() const;

    /**
     * Whether samples of one format need a conversion to the other: tag, channels, rate or bits differ.
     *
     * @throws c_ffmpeg_exception "need decoding before resampling" when neither format is uncompressed
     */
    static bool needs_resampling(const c_aformat &dsp_src, const c_aformat &dsp_dst);

    int32_t format_tag() const noexcept { return imc_format_tag; }
    int32_t channels() const noexcept { return imc_channels; }
    int32_t sample_rate() const noexcept { return imc_sample_rate; }
    int32_t bits_per_sample() const noexcept { return imc_bits_per_sample; }
    int32_t frame_size() const noexcept { return imc_frame_size; }
    int32_t bytes_per_second() const noexcept { return imc_bytes_per_second; }
    std::span<const uint8_t> specific_hdr() const noexcept
    {
        return dsc_stream ? dsc_stream->extradata() : std::span<const uint8_t>(utc_specific_hdr);
    }
    /** The stream that it was made of; null for a format tag. */
    const c_coded_stream *stream() const noexcept { return dsc_stream ? &*dsc_stream : nullptr; }
    AVCodecID codec_id() const noexcept { return iec_codec_id; }

    void set_format_tag(int32_t imp_value) noexcept { imc_format_tag = imp_value; }
    void set_channels(int32_t imp_value) noexcept { imc_channels = imp_value; }
    void set_sample_rate(int32_t imp_value) noexcept { imc_sample_rate = imp_value; }
    void set_bits_per_sample(int32_t imp_value) noexcept { imc_bits_per_sample = imp_value; }
    void set_frame_size(int32_t imp_value) noexcept { imc_frame_size = imp_value; }
    void set_bytes_per_second(int32_t imp_value) noexcept { imc_bytes_per_second = imp_value; }
    void set_planar(bool bp_value) noexcept { bc_planar = bp_value; }
    void set_specific_hdr(std::vector<uint8_t> utp_value) noexcept { utc_specific_hdr = std::move(utp_value); }
    void set_codec_id(AVCodecID iep_value) noexcept { iec_codec_id = iep_value; }

    bool is_float() const noexcept { return imc_format_tag == im_tag_float; }
    bool is_planar() const noexcept { return bc_planar; }
    uint64_t channel_layout() const { return channel_layout_of(imc_channels); }
    AVSampleFormat sample_format() const { return sample_format_of(imc_format_tag, imc_bits_per_sample, bc_planar); }

private:
    class c_little_endian_writer;

    /** Writes the first 16 bytes of the WAVE format header. */
    void write_fields(c_little_endian_writer &dsp_writer) const;

    int32_t imc_format_tag = im_tag_pcm;
    int32_t imc_channels = 2;
    int32_t imc_sample_rate = 48000;
    int32_t imc_bits_per_sample = 16;
    int32_t imc_frame_size = 4;
    int32_t imc_bytes_per_second = 192000;
    std::vector<uint8_t> utc_specific_hdr;
    bool bc_planar = false;
    AVCodecID iec_codec_id = AV_CODEC_ID_PCM_S16LE;
    std::optional<c_coded_stream> dsc_stream;
};
