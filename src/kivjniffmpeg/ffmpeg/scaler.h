/** @file Conversion of pictures between sizes and pixel formats. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <array>
#include <optional>
#include <utility>

/** Owns libswscale's state, which is set up when a conversion first asks for it and kept while the questions are alike. */
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
     * @param inp_flags how it scales
     * @return borrowed until the next call; null when libswscale cannot do it or one of the formats does not exist (it
     *         would end the process over such a format)
     */
    SwsContext *prepare(int inp_src_width, int inp_src_height, AVPixelFormat iep_src_format, int inp_dst_width,
                        int inp_dst_height, AVPixelFormat iep_dst_format, int inp_flags = SWS_FAST_BILINEAR);

    /**
     * Says how the colours of YUV are to be understood that become RGB; by default as those of standard television. To be
     * called between prepare and the scaling. An FFmpeg that cannot be told leaves it at that.
     *
     * @param inp_colorspace FFmpeg's number of the matrix; an unknown one is that of standard television
     * @param bp_full_range whether all values are used
     */
    void set_colours(int inp_colorspace, bool bp_full_range) noexcept;

    /** Forgets what was set up: the next conversion starts as the first one did. */
    void reset() noexcept;

private:
    SwsContext *adsc_sws = nullptr;
    std::array<int, 7> ainc_asked{}; // what adsc_sws is for, in the words of prepare: it keeps changed ones itself
    std::optional<std::pair<int, bool>> dsc_colours;
};
