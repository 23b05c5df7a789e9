/** @file Java's description of the compressed video. */
#pragma once

#include "jni/array_holders.h"
#include "kivjniffmpeg/ffmpeg/abi.h"
#include "kivjniffmpeg/formats/coded_stream.h"

#include <jni.h>
#include <natives/VideoFormatLayout.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/**
 * A media subtype and its decoder, Java's VideoFormatLayout and the extradata; or a stream whose codec FFmpeg names.
 *
 * The library reads the four-character code, size, bit count, colours, sample size and the length of the extradata. The
 * other numbers are kept for the export.
 */
class c_vformat
{
public:
    virtual ~c_vformat();
    c_vformat(const c_vformat &) = delete;
    c_vformat &operator=(const c_vformat &) = delete;

    /** Video of a media subtype, with the numbers of VideoFormatLayout. */
    static std::unique_ptr<c_vformat>
    of_layout(const std::string &strp_guid, const std::array<int32_t, natives::VideoFormatLayout::SIZE> &aimp_values,
              std::vector<uint8_t> utp_extradata);

    /**
     * Copies Java's arrays. Extradata bytes that the array does not have are 0.
     *
     * @throws std::bad_alloc for a negative length of the extradata
     */
    static std::unique_ptr<c_vformat> create_from_java_array(const std::string &strp_guid,
                                                             kiv::jni::c_jintarray &dsp_format,
                                                             kiv::jni::c_jbytearray &dsp_extradata);

    /** Video of FFmpeg's codec, with an empty subtype. @throws c_ffmpeg_exception when the library does not decode it */
    static std::unique_ptr<c_vformat> of_stream(c_coded_stream dsp_stream);

    /** Java's numbers in a new array. @throws kiv::jni::c_jniexception */
    jintArray export_to_java_array(JNIEnv *adsp_env) const;

    /** One trace line. */
    void print() const;

    AVCodecID codec_id() const noexcept { return dsc_codecid; }
    int32_t fourcc() const noexcept { return aimc_values[natives::VideoFormatLayout::FOURCC]; }
    int32_t width() const noexcept { return aimc_values[natives::VideoFormatLayout::WIDTH]; }
    int32_t height() const noexcept { return aimc_values[natives::VideoFormatLayout::HEIGHT]; }
    int32_t bitcount() const noexcept { return aimc_values[natives::VideoFormatLayout::BITS_PER_PIXEL]; }
    std::span<const uint8_t> extradata() const noexcept
    {
        return dsc_stream ? dsc_stream->extradata() : std::span<const uint8_t>(utc_extradata);
    }
    /** The stream that it was made of; null for a media subtype. */
    const c_coded_stream *stream() const noexcept { return dsc_stream ? &*dsc_stream : nullptr; }

private:
    c_vformat() = default;

    std::string strc_guid_subtype;
    AVCodecID dsc_codecid = AV_CODEC_ID_NONE;
    std::array<jint, natives::VideoFormatLayout::SIZE> aimc_values{};
    std::vector<uint8_t> utc_extradata;
    std::optional<c_coded_stream> dsc_stream;
};
