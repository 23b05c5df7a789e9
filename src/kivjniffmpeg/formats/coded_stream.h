/** @file A stream as a container describes it. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <natives/StreamFields.h>

#include <array>
#include <cstdint>
#include <span>
#include <vector>

/** The numbers of Java's StreamFields and the extradata, for a decoder that is chosen by FFmpeg's codec. */
class c_coded_stream
{
public:
    using values = std::array<int64_t, natives::StreamFields::SIZE>;

    c_coded_stream(const values &ailp_values, std::vector<uint8_t> utp_extradata)
        : ailc_values(ailp_values), utc_extradata(std::move(utp_extradata))
    {
    }

    AVCodecID codec_id() const { return static_cast<AVCodecID>(number(natives::StreamFields::CODEC_ID)); }
    /** Bits of the number that make sense as 32 bits, whatever the sign. */
    uint32_t codec_tag() const noexcept { return static_cast<uint32_t>(at(natives::StreamFields::CODEC_TAG)); }
    std::span<const uint8_t> extradata() const noexcept { return utc_extradata; }

    /** @param imp_index one of StreamFields. @throws c_ffmpeg_exception for a number of more than 32 bits */
    int32_t number(int32_t imp_index) const;

    /** Sets what the container knows and decoders look at. @throws c_ffmpeg_exception as number() */
    void configure(AVCodecContext &dsp_context) const;

private:
    int64_t at(int32_t imp_index) const noexcept { return ailc_values[static_cast<size_t>(imp_index)]; }

    values ailc_values;
    std::vector<uint8_t> utc_extradata;
};
