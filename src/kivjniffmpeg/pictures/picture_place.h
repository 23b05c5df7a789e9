/** @file Pictures in the caller's memory. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/** A picture in a block of memory: its pixels' format and where they lie. */
struct dsd_picture_place
{
    AVPixelFormat iec_format;
    int32_t imc_width;
    int32_t imc_height;
    std::array<int32_t, 4> aimc_offsets;   /**< bytes from the start of the block to each plane */
    std::array<int32_t, 4> aimc_linesizes; /**< bytes from one line to the next; 0 for a plane that does not exist */
    int32_t imc_colorspace;                /**< FFmpeg's number of the matrix by which YUV becomes RGB */
    bool bc_full_range;                    /**< whether YUV uses all values */
    int32_t imc_primaries;                 /**< FFmpeg's number of the colours that red, green and blue are */
    int32_t imc_transfer;                  /**< FFmpeg's number of the curve between values and light */
    std::span<uint8_t> utc_block;
    int32_t imc_peak = 0; /**< the brightest light that is shown, in cd/m²; 0 when unknown */

    /** @throws c_ffmpeg_exception unless every line of every plane lies within the block */
    void check() const;
    std::array<uint8_t *, 4> planes() const noexcept;
};

/** A plane, or a part of one. */
struct dsd_plane
{
    const uint8_t *autc_pixels;
    int32_t imc_line; /**< bytes from one line to the next */
    int32_t imc_columns;
    int32_t imc_rows;
    int32_t imc_step; /**< bytes of a pixel */
};

/** Rows of a plane: those of the second and third planes may be fewer than the picture's. */
int32_t rows_of(const AVPixFmtDescriptor &dsp_descriptor, size_t ulp_plane, int32_t imp_height);

/** Bytes from one pixel of a plane to the next; where two pixels share their colour, to the next pair. */
int32_t largest_step(const AVPixFmtDescriptor &dsp_descriptor, size_t ulp_plane);
