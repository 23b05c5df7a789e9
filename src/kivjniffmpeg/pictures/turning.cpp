#include "kivjniffmpeg/pictures/turning.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"

#include <libyuv.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace
{

constexpr int32_t im_full_turn = 360;
constexpr int32_t im_half_turn = 180;
constexpr int32_t im_quarter_turn = 90;

/** @return false when libyuv does not turn pixels of this size */
bool turn_quickly(const dsd_plane &dsp_from, uint8_t *autp_to, int32_t imp_to_line, dsd_turn dsp_turn)
{
    // Upside down and half a turn is what a mirror does. libyuv reads a plane of negative height upside down.
    const int32_t iml_rows = dsp_turn.bc_mirrored ? -dsp_from.imc_rows : dsp_from.imc_rows;
    const int32_t iml_degrees = (dsp_turn.imc_degrees + (dsp_turn.bc_mirrored ? im_half_turn : 0)) % im_full_turn;
    const auto iel_mode = static_cast<libyuv::RotationModeEnum>(iml_degrees);
    if (dsp_from.imc_step == 1)
        return libyuv::RotatePlane(dsp_from.autc_pixels, dsp_from.imc_line, autp_to, imp_to_line, dsp_from.imc_columns,
                                   iml_rows, iel_mode) == 0;
    // It counts lines of such pixels in pixels.
    return dsp_from.imc_step == 4 && dsp_from.imc_line % 4 == 0 && imp_to_line % 4 == 0 &&
           libyuv::ARGBRotate(dsp_from.autc_pixels, dsp_from.imc_line, autp_to, imp_to_line, dsp_from.imc_columns,
                              iml_rows, iel_mode) == 0;
}

void turn_plane(const dsd_plane &dsp_from, uint8_t *autp_to, int32_t imp_to_line, dsd_turn dsp_turn)
{
    if (turn_quickly(dsp_from, autp_to, imp_to_line, dsp_turn))
        return;
    const bool bl_last_column = (dsp_turn.imc_degrees >= im_half_turn) != dsp_turn.bc_mirrored;
    const bool bl_last_row = dsp_turn.imc_degrees == im_quarter_turn || dsp_turn.imc_degrees == im_half_turn;
    const ptrdiff_t ill_along_row = bl_last_column ? -dsp_from.imc_step : dsp_from.imc_step;
    const ptrdiff_t ill_along_column = bl_last_row ? -dsp_from.imc_line : dsp_from.imc_line;
    const ptrdiff_t ill_across = dsp_turn.swaps_sides() ? ill_along_column : ill_along_row;
    const ptrdiff_t ill_down = dsp_turn.swaps_sides() ? ill_along_row : ill_along_column;
    const int32_t iml_columns = dsp_turn.swaps_sides() ? dsp_from.imc_rows : dsp_from.imc_columns;
    const int32_t iml_rows = dsp_turn.swaps_sides() ? dsp_from.imc_columns : dsp_from.imc_rows;
    const uint8_t *autl_origin = dsp_from.autc_pixels +
                                 (bl_last_column ? ptrdiff_t{dsp_from.imc_columns - 1} * dsp_from.imc_step : 0) +
                                 (bl_last_row ? ptrdiff_t{dsp_from.imc_rows - 1} * dsp_from.imc_line : 0);
    const auto ull_step = static_cast<size_t>(dsp_from.imc_step);
    for (int32_t iml_row = 0; iml_row < iml_rows; ++iml_row) {
        const uint8_t *autl_pixel = autl_origin + iml_row * ill_down;
        uint8_t *autl_to = autp_to + ptrdiff_t{iml_row} * imp_to_line;
        for (int32_t iml_column = 0; iml_column < iml_columns; ++iml_column) {
            std::memcpy(autl_to, autl_pixel, ull_step);
            autl_to += ull_step;
            autl_pixel += ill_across;
        }
    }
}

} // namespace

void turn_picture(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to, dsd_turn dsp_turn)
{
    dsp_from.check();
    dsp_to.check();
    const auto refuse = [&] {
        throw_ffmpeg_exception(1981, "a picture of format ", static_cast<int>(dsp_from.iec_format),
                               " is not turned by ", dsp_turn.imc_degrees, " degrees to ", dsp_to.imc_width, "x",
                               dsp_to.imc_height);
    };
    const AVPixFmtDescriptor &dsl_descriptor = *g_avutil.av_pix_fmt_desc_get(dsp_from.iec_format);
    const bool bl_swaps = dsp_turn.swaps_sides();
    if (dsp_from.iec_format != dsp_to.iec_format ||
        dsp_from.imc_width != (bl_swaps ? dsp_to.imc_height : dsp_to.imc_width) ||
        dsp_from.imc_height != (bl_swaps ? dsp_to.imc_width : dsp_to.imc_height) ||
        (bl_swaps && dsl_descriptor.log2_chroma_w != dsl_descriptor.log2_chroma_h) || dsp_turn.imc_degrees < 0 ||
        dsp_turn.imc_degrees >= im_full_turn || dsp_turn.imc_degrees % im_quarter_turn != 0)
        refuse();
    const auto autl_from = dsp_from.planes();
    const auto autl_to = dsp_to.planes();
    int ainl_row_bytes[4] = {};
    g_avutil.av_image_fill_linesizes(ainl_row_bytes, dsp_from.iec_format, dsp_from.imc_width);
    for (size_t ull_plane = 0; ull_plane < 4 && ainl_row_bytes[ull_plane] > 0; ++ull_plane) {
        const int inl_shift = ull_plane == 1 || ull_plane == 2 ? dsl_descriptor.log2_chroma_w : 0;
        const dsd_plane dsl_plane{autl_from[ull_plane], dsp_from.aimc_linesizes[ull_plane],
                                  (dsp_from.imc_width + (1 << inl_shift) - 1) >> inl_shift,
                                  rows_of(dsl_descriptor, ull_plane, dsp_from.imc_height),
                                  largest_step(dsl_descriptor, ull_plane)};
        // Pixels that share a byte or a colour with their neighbours cannot be moved alone.
        if (ainl_row_bytes[ull_plane] != dsl_plane.imc_columns * dsl_plane.imc_step)
            refuse();
        turn_plane(dsl_plane, autl_to[ull_plane], dsp_to.aimc_linesizes[ull_plane], dsp_turn);
    }
    if ((dsl_descriptor.flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_PSEUDOPAL)) != 0)
        std::copy_n(autl_from[1], AVPALETTE_SIZE, autl_to[1]);
}
