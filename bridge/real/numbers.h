/**
 * @file
 * The numbers of pixel formats and codecs: those that callers of the 56 line know, and the loaded FFmpeg's.
 *
 * Both sides are matched by name. What is younger than the 56 line has numbers behind the line's last ones, which are
 * the same whichever FFmpeg is loaded.
 */
#pragma once

#include "bridge/real/types.h"

#include <algorithm>
#include <span>
#include <unordered_map>
#include <vector>

namespace bridge::real
{

/** A codec as callers know it. */
struct dsd_codec_name
{
    const char *strc_name;
    int inc_number;
    int inc_capabilities; /**< CODEC_CAP_DELAY and CODEC_CAP_TRUNCATED of the 56 line's decoder; -1 without one */
};

/** How the numbers of one kind correspond, both ways. What the other side does not have is @p inc_none. */
class c_number_map
{
public:
    explicit c_number_map(int inp_none) noexcept : inc_none(inp_none) {}

    void add(int inp_old, int inp_real)
    {
        dsc_real.try_emplace(inp_old, inp_real);
        dsc_old.try_emplace(inp_real, inp_old);
    }
    /** What the other side calls @p inp_real is @p inp_old here, though another one has this number, too. */
    void rename(int inp_real, int inp_old) { dsc_old.insert_or_assign(inp_real, inp_old); }
    int to_real(int inp_old) const noexcept { return find(dsc_real, inp_old); }
    int to_old(int inp_real) const noexcept { return find(dsc_old, inp_real); }

private:
    int find(const std::unordered_map<int, int> &dsp_map, int inp_number) const noexcept
    {
        const auto dsl_found = dsp_map.find(inp_number);
        return dsl_found == dsp_map.end() ? inc_none : dsl_found->second;
    }

    int inc_none;
    std::unordered_map<int, int> dsc_real;
    std::unordered_map<int, int> dsc_old;
};

/** The numbers of everything. Made once, then only read, by any thread. */
struct dsd_numbers
{
    std::span<const dsd_codec_name> dsc_codecs;    /**< sorted by number */
    std::span<const dsd_pixel_format> dsc_formats; /**< the index is the number; some have no name and do not exist */
    c_number_map dsc_codec_map{AV_CODEC_ID_NONE};
    c_number_map dsc_format_map{AV_PIX_FMT_NONE};

    /** @return null when there is no such codec */
    const dsd_codec_name *find_codec(int inp_number) const noexcept
    {
        const auto dsl_found = std::ranges::lower_bound(dsc_codecs, inp_number, {}, &dsd_codec_name::inc_number);
        return dsl_found == dsc_codecs.end() || dsl_found->inc_number != inp_number ? nullptr : &*dsl_found;
    }

    /** @return null when there is no such format */
    const dsd_pixel_format *find_format(int inp_number) const noexcept
    {
        if (inp_number < 0 || static_cast<size_t>(inp_number) >= dsc_formats.size() ||
            dsc_formats[static_cast<size_t>(inp_number)].name == nullptr)
            return nullptr;
        return &dsc_formats[static_cast<size_t>(inp_number)];
    }

    AVCodecID old_codec(int inp_real) const noexcept { return static_cast<AVCodecID>(dsc_codec_map.to_old(inp_real)); }
    AVPixelFormat old_format(int inp_real) const noexcept
    {
        return static_cast<AVPixelFormat>(dsc_format_map.to_old(inp_real));
    }
};

} // namespace bridge::real
