/** @file Pictures in the caller's memory, and their conversion. */
#pragma once

#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/ffmpeg/abi.h"
#include "kivjniffmpeg/ffmpeg/scaler.h"
#include "kivjniffmpeg/pictures/screen_colours.h"

#include <array>
#include <cstdint>
#include <optional>
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

    /** @throws c_ffmpeg_exception unless every line of every plane lies within the block */
    void check() const;
    std::array<uint8_t *, 4> planes() const noexcept;
};

/**
 * Converts and scales pictures with libswscale. Used by one thread at a time.
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

private:
    void convert_for_screen(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to,
                            const c_screen_colours &dsp_colours, int inp_flags);
    const c_screen_colours *find_screen_colours(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to);

    std::optional<c_screen_colours> dsc_screen_colours; // of the last picture that needed them
    c_sws_ctx dsc_sws_ctx;
    c_sws_ctx dsc_bayer_ctx; // from Bayer to RGB, the first of two steps
};
