/** @file Conversion of pictures of 8 bits with libyuv. */
#pragma once

#include "kivjniffmpeg/pictures/picture_place.h"

#include <array>
#include <cstdint>
#include <vector>

/**
 * Converts between YUV and RGB of 8 bits, and reduces pictures, in a fraction of libswscale's time. Used by one thread at a
 * time.
 *
 * As with libswscale, pixels that share a chroma sample get the same chroma, and chroma is where the middle of these pixels
 * is. A smaller picture is made by halves, each pixel the mean of four, and at last of the four nearest pixels, weighted by
 * their distance. libyuv's own way to go further in one step makes pictures darker. RGB becomes YUV by the matrix of
 * standard-definition television.
 */
class c_fast_conversion
{
public:
    /**
     * Converts one picture into another. Both were checked.
     *
     * @return false when libyuv does not have the formats, the matrix or the filter; then nothing was written
     * @throws std::bad_alloc
     */
    bool convert(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to);

private:
    bool yuv_to_rgb(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to);

    bool reduce(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to);
    /** To no more than its columns and rows. */
    void reduce_plane(dsd_plane dsp_from, uint8_t *autp_to, int32_t imp_line, int32_t imp_width, int32_t imp_height);

    std::array<std::vector<uint8_t>, 2> autc_steps; // halves, and halves of these
    std::vector<uint8_t> utc_planes;                // luma and chroma in the target's size
};
