/** @file Where the lines and planes of a picture lie in a buffer. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <array>
#include <cstdint>
#include <optional>

/** Line sizes, plane sizes and plane offsets of one picture; everything in bytes and within 31 bits. */
struct dsd_picture_layout
{
    std::array<int32_t, 4> aimc_linesizes;   /**< bytes per line of each plane; 0 for a plane that does not exist */
    std::array<int32_t, 4> aimc_plane_sizes; /**< bytes of each plane */
    std::array<int32_t, 4>
        aimc_plane_offsets; /**< bytes from the first plane to each plane; 0 for one that does not exist */
    int32_t imc_total;      /**< bytes of all planes */
    int32_t imc_scanheight; /**< lines of the first plane */
    int32_t imc_pixel_step; /**< bytes from one pixel to the next in the first plane */
    int32_t imc_align;      /**< alignment that the first plane needs */

    int32_t plane_count() const noexcept;
};

/**
 * Computes a layout in which the context's decoder may write the whole coded picture.
 *
 * @param adsp_context decides the alignment; its pix_fmt must be @p iep_format
 * @param imp_width,imp_height pixels, both positive: the larger of the shown and the coded size
 * @return nothing when the format does not exist, has no pixels in memory, or the picture is too large
 */
std::optional<dsd_picture_layout> compute_picture_layout(AVCodecContext *adsp_context, AVPixelFormat iep_format,
                                                         int32_t imp_width, int32_t imp_height);

/**
 * Fills all planes with grey, which stays where a damaged packet leaves gaps. For samples of 9 to 15 bits it is small enough
 * for their depth, because libswscale uses such samples as indices unchecked.
 *
 * @param autp_picture where the first plane lies
 */
void fill_with_grey(uint8_t *autp_picture, const dsd_picture_layout &dsp_layout, AVPixelFormat iep_format);
