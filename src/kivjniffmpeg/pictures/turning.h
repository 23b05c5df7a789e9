/** @file Pictures that are turned and mirrored. */
#pragma once

#include "kivjniffmpeg/pictures/picture_place.h"

#include <cstdint>

/** How a stored picture becomes the one that players show: first left and right are exchanged, then it is turned. */
struct dsd_turn
{
    int32_t imc_degrees; /**< clockwise: 0, 90, 180 or 270 */
    bool bc_mirrored;

    bool swaps_sides() const noexcept { return imc_degrees % 180 != 0; }
};

/**
 * Turns a picture, whose pixels stay what they are.
 *
 * @param dsp_to the same format with the sides after the turning, in memory that the other picture does not have
 * @throws c_ffmpeg_exception when a picture is not within its block, or when the sides, the format or the degrees do not fit
 */
void turn_picture(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to, dsd_turn dsp_turn);
