/** @file Conversion of pictures in the caller's memory. */
#pragma once

#include "kivjniffmpeg/ffmpeg/scaler.h"
#include "kivjniffmpeg/pictures/fast_conversion.h"
#include "kivjniffmpeg/pictures/picture_place.h"
#include "kivjniffmpeg/pictures/screen_colours.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/**
 * Converts and scales pictures: with libyuv what it can (c_fast_conversion), otherwise with libswscale. Used by one thread
 * at a time.
 *
 * Pictures in colours that no ordinary screen has become those that it shows (c_screen_colours), where a picture states its
 * colours and BGRA is wanted of it.
 */
class c_picture_converter
{
public:
    /**
     * Converts one picture into another; the same format and size is a plain copy.
     *
     * @param inp_flags libswscale's, such as 4 for bicubic scaling
     * @throws c_ffmpeg_exception when a picture is not within its block or libswscale cannot do it
     */
    void convert(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to, int inp_flags);

    /**
     * The same, but only where it needs neither FFmpeg nor much time, so that the target may be a pinned array.
     *
     * @return false when nothing was done, because it needs convert()
     */
    bool convert_quickly(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to);

    /** Memory for a picture on its way, which the next call of this function may replace. */
    std::span<uint8_t> scratch(size_t ulp_size);

private:
    void convert_for_screen(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to,
                            const c_screen_colours &dsp_colours, int inp_flags);
    const c_screen_colours *find_screen_colours(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to);

    std::optional<c_screen_colours> dsc_screen_colours; // of the last picture that needed them
    c_fast_conversion dsc_fast;
    std::vector<uint8_t> utc_scratch;
    c_sws_ctx dsc_sws_ctx;
    c_sws_ctx dsc_bayer_ctx; // from Bayer to RGB, the first of two steps
};
