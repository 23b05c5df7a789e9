/** @file FFmpeg's note of samples that are decoded but not to be heard. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>

/** Samples of each channel. */
struct dsd_skipped_samples
{
    int64_t ilc_start; /**< from here on, also of frames behind this one */
    int64_t ilc_end;   /**< the last ones of this frame */
};

namespace skipped_samples
{

/** A number of 32 bits, little-endian; 0 for one that FFmpeg takes for negative. */
constexpr int64_t number_at(std::span<const uint8_t> utp_bytes, size_t ulp_at) noexcept
{
    const uint32_t uml_value = uint32_t{utp_bytes[ulp_at]} | uint32_t{utp_bytes[ulp_at + 1]} << 8 |
                               uint32_t{utp_bytes[ulp_at + 2]} << 16 | uint32_t{utp_bytes[ulp_at + 3]} << 24;
    return uml_value > INT32_MAX ? 0 : int64_t{uml_value};
}

/** Reads the bytes of such side data. Nothing when there are too few. */
constexpr std::optional<dsd_skipped_samples> read(std::span<const uint8_t> utp_bytes) noexcept
{
    if (utp_bytes.size() < in_skip_samples_size)
        return std::nullopt;
    return dsd_skipped_samples{number_at(utp_bytes, 0), number_at(utp_bytes, 4)};
}

constexpr const AVPacketSideData &element(const AVPacketSideData &dsp_data) noexcept
{
    return dsp_data;
}

constexpr const AVFrameSideData &element(const AVFrameSideData *adsp_data) noexcept
{
    return *adsp_data;
}

/** Looks for the note among the side data of a packet or a frame. */
template <typename c_side_data>
constexpr std::optional<dsd_skipped_samples> find(const c_side_data *adsp_all, int inp_count, int inp_type) noexcept
{
    for (const c_side_data &dsl_one : std::span(adsp_all, static_cast<size_t>(std::max(inp_count, 0))))
        if (const auto &dsl_data = element(dsl_one); dsl_data.type == inp_type && dsl_data.size > 0)
            return read({dsl_data.data, static_cast<size_t>(dsl_data.size)});
    return std::nullopt;
}

} // namespace skipped_samples
