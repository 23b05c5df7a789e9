/** @file Conversion of pictures between sizes and pixel formats. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <array>
#include <optional>
#include <utility>

/** Owns libswscale's state. A conversion sets it up, and it is used again as long as the conversions are the same. */
class c_sws_ctx
{
public:
    /** Nothing is set up yet. */
    c_sws_ctx() noexcept = default;
    virtual ~c_sws_ctx();
    c_sws_ctx(const c_sws_ctx &) = delete;
    c_sws_ctx &operator=(const c_sws_ctx &) = delete;

    /**
     * The scaler for this conversion.
     *
     * @param inp_flags libswscale's, such as SWS_FAST_BILINEAR
     * @return valid until the next call; null when libswscale cannot convert so or one of the formats does not exist
     *         (it would end the process for such a format)
     */
    SwsContext *prepare(int inp_src_width, int inp_src_height, AVPixelFormat iep_src_format, int inp_dst_width,
                        int inp_dst_height, AVPixelFormat iep_dst_format, int inp_flags = SWS_FAST_BILINEAR);

    /**
     * Sets how YUV becomes RGB; the default is the matrix of standard-definition television. Called between prepare and
     * the scaling. Without effect in an FFmpeg that lacks the functions.
     *
     * @param inp_colorspace FFmpeg's number of the matrix; an unknown number means standard-definition television
     * @param bp_full_range whether YUV uses all values
     */
    void set_colours(int inp_colorspace, bool bp_full_range) noexcept;

    /** Releases the state: the next conversion starts as the first one did. */
    void reset() noexcept;

private:
    SwsContext *adsc_sws = nullptr;
    std::array<int, 7> ainc_asked{}; // the arguments of prepare for adsc_sws, which keeps other flags
    std::optional<std::pair<int, bool>> dsc_colours;
};
