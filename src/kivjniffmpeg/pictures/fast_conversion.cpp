#include "kivjniffmpeg/pictures/fast_conversion.h"

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace
{

/** libyuv counts places in 16.16 bits when it scales. */
constexpr int32_t im_largest_scaled_side = 1 << 14;
/** Of a plane that is one pixel wide, libyuv takes single pixels instead of means. Chroma may have half of the sides. */
constexpr int32_t im_least_scaled_side = 4;

using t_from_planes = int (*)(const uint8_t *, int, const uint8_t *, int, const uint8_t *, int, uint8_t *, int,
                              const libyuv::YuvConstants *, int, int);
using t_from_pairs = int (*)(const uint8_t *, int, const uint8_t *, int, uint8_t *, int, const libyuv::YuvConstants *,
                             int, int);
using t_to_planes = int (*)(const uint8_t *, int, uint8_t *, int, uint8_t *, int, uint8_t *, int, int, int);

/** What libyuv calls a layout of YUV, and its functions; for BGRA and for BGR24. */
struct dsd_yuv
{
    AVPixelFormat iec_format;
    AVPixelFormat iec_full_format; /**< the same for all values, or no format */
    int inc_shift_x;               /**< two to this power of pixels share a chroma sample */
    int inc_shift_y;
    t_from_planes adsc_to_bgra;
    t_from_planes adsc_to_bgr24;
};

constexpr std::array ds_planar{
    dsd_yuv{AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, 1, 1, libyuv::I420ToARGBMatrix, libyuv::I420ToRGB24Matrix},
    dsd_yuv{AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVJ422P, 1, 0, libyuv::I422ToARGBMatrix, libyuv::I422ToRGB24Matrix},
    dsd_yuv{AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUVJ444P, 0, 0, libyuv::I444ToARGBMatrix, libyuv::I444ToRGB24Matrix}};
constexpr const dsd_yuv &ds_yuv444 = ds_planar[2];

struct dsd_to_yuv
{
    AVPixelFormat iec_from;
    AVPixelFormat iec_to;
    t_to_planes adsc_convert;
};

constexpr std::array ds_to_yuv{dsd_to_yuv{AV_PIX_FMT_BGRA, AV_PIX_FMT_YUV420P, libyuv::ARGBToI420},
                               dsd_to_yuv{AV_PIX_FMT_BGRA, AV_PIX_FMT_YUV422P, libyuv::ARGBToI422},
                               dsd_to_yuv{AV_PIX_FMT_BGRA, AV_PIX_FMT_YUV444P, libyuv::ARGBToI444},
                               dsd_to_yuv{AV_PIX_FMT_BGRA, AV_PIX_FMT_YUVJ420P, libyuv::ARGBToJ420},
                               dsd_to_yuv{AV_PIX_FMT_BGRA, AV_PIX_FMT_YUVJ422P, libyuv::ARGBToJ422},
                               dsd_to_yuv{AV_PIX_FMT_BGR24, AV_PIX_FMT_YUV420P, libyuv::RGB24ToI420},
                               dsd_to_yuv{AV_PIX_FMT_BGR24, AV_PIX_FMT_YUVJ420P, libyuv::RGB24ToJ420},
                               dsd_to_yuv{AV_PIX_FMT_RGB24, AV_PIX_FMT_YUV420P, libyuv::RAWToI420},
                               dsd_to_yuv{AV_PIX_FMT_RGB24, AV_PIX_FMT_YUVJ420P, libyuv::RAWToJ420}};

/** The factors of a matrix, in the form that libyuv's functions take on x86. */
struct alignas(32) dsd_matrix
{
    libyuv::YuvConstants dsc_factors;
};

/**
 * libyuv's own matrices for limited values have a factor for blue that is at most 2 for the sake of other processors. That of
 * BT.709 is 2.11, and the difference may be 14 steps.
 *
 * @param flp_red share of red in luma
 * @param flp_blue share of blue in luma
 * @param bp_exchanged for U and V in each other's place, which exchanges red and blue
 */
constexpr dsd_matrix make_matrix(double flp_red, double flp_blue, bool bp_full_range, bool bp_exchanged)
{
    constexpr double fl_one = 64;
    const auto rounded = [](double flp_value) {
        return static_cast<int>(flp_value < 0 ? flp_value - 0.5 : flp_value + 0.5);
    };
    const double fll_luma = bp_full_range ? 1 : 255 / 219.0;
    const double fll_chroma = (bp_full_range ? 1 : 255 / 224.0) * 2 * fl_one;
    const double fll_green = 1 - flp_red - flp_blue;
    const auto byte = [rounded](double flp_value) { return static_cast<uint8_t>(rounded(flp_value)); };
    const uint8_t utl_blue = byte(fll_chroma * (1 - flp_blue));
    const uint8_t utl_red = byte(fll_chroma * (1 - flp_red));
    const uint8_t utl_green_of_u = byte(fll_chroma * (1 - flp_blue) * flp_blue / fll_green);
    const uint8_t utl_green_of_v = byte(fll_chroma * (1 - flp_red) * flp_red / fll_green);
    dsd_matrix dsl_matrix{};
    for (size_t ull_pair = 0; ull_pair < 32; ull_pair += 2) {
        dsl_matrix.dsc_factors.kUVToB[ull_pair] = bp_exchanged ? utl_red : utl_blue;
        dsl_matrix.dsc_factors.kUVToG[ull_pair] = bp_exchanged ? utl_green_of_v : utl_green_of_u;
        dsl_matrix.dsc_factors.kUVToG[ull_pair + 1] = bp_exchanged ? utl_green_of_u : utl_green_of_v;
        dsl_matrix.dsc_factors.kUVToR[ull_pair + 1] = bp_exchanged ? utl_blue : utl_red;
        // Luma fills both bytes of 16 bits.
        dsl_matrix.dsc_factors.kYToRgb[ull_pair / 2] =
            static_cast<int16_t>(rounded(fll_luma * fl_one * 256 * 256 / 257));
        dsl_matrix.dsc_factors.kYBiasToRgb[ull_pair / 2] =
            static_cast<int16_t>(rounded(fl_one / 2 - (bp_full_range ? 0 : fll_luma * fl_one * 16)));
    }
    return dsl_matrix;
}

/** The four ways of a matrix: of limited values and of all, each plainly and exchanged. */
constexpr std::array<dsd_matrix, 4> make_matrices(double flp_red, double flp_blue)
{
    return {make_matrix(flp_red, flp_blue, false, false), make_matrix(flp_red, flp_blue, false, true),
            make_matrix(flp_red, flp_blue, true, false), make_matrix(flp_red, flp_blue, true, true)};
}

constexpr auto ds_bt601 = make_matrices(0.299, 0.114);
constexpr auto ds_bt709 = make_matrices(0.2126, 0.0722);
constexpr auto ds_bt2020 = make_matrices(0.2627, 0.0593);

/** @return null for a matrix that only libswscale has */
const std::array<dsd_matrix, 4> *matrices_of(int32_t imp_colorspace) noexcept
{
    switch (imp_colorspace) {
    case 1:
        return &ds_bt709;
    case 2: // unknown, which libswscale takes for standard-definition television
    case 3:
    case 5: // BT.601 has two names
    case 6:
        return &ds_bt601;
    case 9: // and BT.2020
    case 10:
        return &ds_bt2020;
    default:
        return nullptr;
    }
}

const dsd_yuv *planar_layout_of(AVPixelFormat iep_format) noexcept
{
    const auto *adsl_found = std::ranges::find_if(ds_planar, [iep_format](const dsd_yuv &dsp_yuv) {
        return dsp_yuv.iec_format == iep_format || dsp_yuv.iec_full_format == iep_format;
    });
    return adsl_found == ds_planar.end() ? nullptr : &*adsl_found;
}

int32_t shifted(int32_t imp_side, int inp_shift) noexcept
{
    return (imp_side + (1 << inp_shift) - 1) >> inp_shift;
}

bool is_reduced(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to) noexcept
{
    return std::min(dsp_to.imc_width, dsp_to.imc_height) >= im_least_scaled_side &&
           dsp_to.imc_width <= dsp_from.imc_width && dsp_to.imc_height <= dsp_from.imc_height &&
           std::max(dsp_from.imc_width, dsp_from.imc_height) <= im_largest_scaled_side;
}

bool is_as_large(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to) noexcept
{
    return dsp_to.imc_width == dsp_from.imc_width && dsp_to.imc_height == dsp_from.imc_height;
}

bool rgb_to_yuv(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to)
{
    const auto *adsl_found = std::ranges::find_if(ds_to_yuv, [&](const dsd_to_yuv &dsp_way) {
        return dsp_way.iec_from == dsp_from.iec_format && dsp_way.iec_to == dsp_to.iec_format;
    });
    if (adsl_found == ds_to_yuv.end())
        return false;
    const auto autl_to = dsp_to.planes();
    return adsl_found->adsc_convert(dsp_from.planes()[0], dsp_from.aimc_linesizes[0], autl_to[0],
                                    dsp_to.aimc_linesizes[0], autl_to[1], dsp_to.aimc_linesizes[1], autl_to[2],
                                    dsp_to.aimc_linesizes[2], dsp_to.imc_width, dsp_to.imc_height) == 0;
}

} // namespace

bool c_fast_conversion::reduce(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to)
{
    const auto autl_from = dsp_from.planes();
    const auto autl_to = dsp_to.planes();
    const bool bl_four_bytes = dsp_from.iec_format == AV_PIX_FMT_BGRA || dsp_from.iec_format == AV_PIX_FMT_RGBA;
    const dsd_yuv *adsl_yuv = planar_layout_of(dsp_from.iec_format);
    if (adsl_yuv == nullptr && !bl_four_bytes && dsp_from.iec_format != AV_PIX_FMT_GRAY8)
        return false;
    for (size_t ull_plane = 0; ull_plane < (adsl_yuv == nullptr ? 1 : 3); ++ull_plane) {
        const int inl_x = ull_plane == 0 ? 0 : adsl_yuv->inc_shift_x;
        const int inl_y = ull_plane == 0 ? 0 : adsl_yuv->inc_shift_y;
        reduce_plane({autl_from[ull_plane], dsp_from.aimc_linesizes[ull_plane], shifted(dsp_from.imc_width, inl_x),
                      shifted(dsp_from.imc_height, inl_y), bl_four_bytes ? 4 : 1},
                     autl_to[ull_plane], dsp_to.aimc_linesizes[ull_plane], shifted(dsp_to.imc_width, inl_x),
                     shifted(dsp_to.imc_height, inl_y));
    }
    if ((g_avutil.av_pix_fmt_desc_get(dsp_to.iec_format)->flags & AV_PIX_FMT_FLAG_PSEUDOPAL) != 0)
        std::copy_n(autl_from[1], AVPALETTE_SIZE, autl_to[1]);
    return true;
}

void c_fast_conversion::reduce_plane(dsd_plane dsp_from, uint8_t *autp_to, int32_t imp_line, int32_t imp_width,
                                     int32_t imp_height)
{
    for (size_t ull_step = 0;; ++ull_step) {
        const int32_t iml_width = std::max(imp_width, shifted(dsp_from.imc_columns, 1));
        const int32_t iml_height = std::max(imp_height, shifted(dsp_from.imc_rows, 1));
        const bool bl_last = iml_width == imp_width && iml_height == imp_height;
        const int32_t iml_line = bl_last ? imp_line : iml_width * dsp_from.imc_step;
        std::vector<uint8_t> &utl_step = autc_steps[ull_step % 2];
        if (!bl_last)
            utl_step.resize(static_cast<size_t>(iml_line) * static_cast<size_t>(iml_height));
        uint8_t *autl_to = bl_last ? autp_to : utl_step.data();
        // Of halves all four pixels count; the other filter takes the nearest four.
        const bool bl_halves = 2 * iml_width == dsp_from.imc_columns && 2 * iml_height == dsp_from.imc_rows;
        const libyuv::FilterMode iel_filter = bl_halves ? libyuv::kFilterBox : libyuv::kFilterBilinear;
        if (dsp_from.imc_step == 1)
            libyuv::ScalePlane(dsp_from.autc_pixels, dsp_from.imc_line, dsp_from.imc_columns, dsp_from.imc_rows,
                               autl_to, iml_line, iml_width, iml_height, iel_filter);
        else
            libyuv::ARGBScale(dsp_from.autc_pixels, dsp_from.imc_line, dsp_from.imc_columns, dsp_from.imc_rows, autl_to,
                              iml_line, iml_width, iml_height, iel_filter);
        if (bl_last)
            return;
        dsp_from = {autl_to, iml_line, iml_width, iml_height, dsp_from.imc_step};
    }
}

bool c_fast_conversion::convert(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to)
{
    if (dsp_from.iec_format == dsp_to.iec_format)
        return is_reduced(dsp_from, dsp_to) && reduce(dsp_from, dsp_to);
    return yuv_to_rgb(dsp_from, dsp_to) || (is_as_large(dsp_from, dsp_to) && rgb_to_yuv(dsp_from, dsp_to));
}

bool c_fast_conversion::yuv_to_rgb(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to)
{
    const bool bl_four_bytes = dsp_to.iec_format == AV_PIX_FMT_BGRA || dsp_to.iec_format == AV_PIX_FMT_RGBA;
    const bool bl_red_first = dsp_to.iec_format == AV_PIX_FMT_RGBA || dsp_to.iec_format == AV_PIX_FMT_RGB24;
    const bool bl_same_size = is_as_large(dsp_from, dsp_to);
    if (!bl_four_bytes && dsp_to.iec_format != AV_PIX_FMT_RGB24 && dsp_to.iec_format != AV_PIX_FMT_BGR24)
        return false;
    const auto autl_from = dsp_from.planes();
    uint8_t *autl_to = dsp_to.planes()[0];
    const int inl_to_line = dsp_to.aimc_linesizes[0];
    const int32_t iml_width = dsp_to.imc_width;
    const int32_t iml_height = dsp_to.imc_height;
    if (dsp_from.iec_format == AV_PIX_FMT_GRAY8)
        return bl_same_size && bl_four_bytes &&
               libyuv::I400ToARGBMatrix(autl_from[0], dsp_from.aimc_linesizes[0], autl_to, inl_to_line,
                                        &ds_bt601[2].dsc_factors, iml_width, iml_height) == 0;

    const dsd_yuv *adsl_yuv = planar_layout_of(dsp_from.iec_format);
    const bool bl_full =
        dsp_from.bc_full_range || (adsl_yuv != nullptr && adsl_yuv->iec_full_format == dsp_from.iec_format);
    const auto *adsl_matrices = matrices_of(dsp_from.imc_colorspace);
    if (adsl_matrices == nullptr)
        return false;
    const libyuv::YuvConstants *adsl_matrix =
        &(*adsl_matrices)[(bl_full ? 2U : 0U) + (bl_red_first ? 1U : 0U)].dsc_factors;
    if (dsp_from.iec_format == AV_PIX_FMT_NV12 || dsp_from.iec_format == AV_PIX_FMT_NV21) {
        const bool bl_blue_first = (dsp_from.iec_format == AV_PIX_FMT_NV12) != bl_red_first;
        const t_from_pairs adsl_four = bl_blue_first ? libyuv::NV12ToARGBMatrix : libyuv::NV21ToARGBMatrix;
        const t_from_pairs adsl_three = bl_blue_first ? libyuv::NV12ToRGB24Matrix : libyuv::NV21ToRGB24Matrix;
        return bl_same_size && (bl_four_bytes ? adsl_four : adsl_three)(
                                   autl_from[0], dsp_from.aimc_linesizes[0], autl_from[1], dsp_from.aimc_linesizes[1],
                                   autl_to, inl_to_line, adsl_matrix, iml_width, iml_height) == 0;
    }
    if (adsl_yuv == nullptr || (!bl_same_size && !is_reduced(dsp_from, dsp_to)))
        return false;

    std::array<const uint8_t *, 3> autl_planes{autl_from[0], autl_from[1], autl_from[2]};
    std::array<int, 3> ainl_lines{dsp_from.aimc_linesizes[0], dsp_from.aimc_linesizes[1], dsp_from.aimc_linesizes[2]};
    if (!bl_same_size) {
        // Each pixel gets luma and chroma of its own.
        const size_t ull_plane_size = static_cast<size_t>(iml_width) * static_cast<size_t>(iml_height);
        utc_planes.resize(3 * ull_plane_size);
        for (size_t ull_plane = 0; ull_plane < 3; ++ull_plane) {
            uint8_t *autl_plane = utc_planes.data() + ull_plane * ull_plane_size;
            reduce_plane({autl_planes[ull_plane], ainl_lines[ull_plane],
                          shifted(dsp_from.imc_width, ull_plane == 0 ? 0 : adsl_yuv->inc_shift_x),
                          shifted(dsp_from.imc_height, ull_plane == 0 ? 0 : adsl_yuv->inc_shift_y), 1},
                         autl_plane, iml_width, iml_width, iml_height);
            autl_planes[ull_plane] = autl_plane;
            ainl_lines[ull_plane] = iml_width;
        }
        adsl_yuv = &ds_yuv444;
    }
    const size_t ull_first = bl_red_first ? 2 : 1;
    const size_t ull_second = bl_red_first ? 1 : 2;
    return (bl_four_bytes ? adsl_yuv->adsc_to_bgra : adsl_yuv->adsc_to_bgr24)(
               autl_planes[0], ainl_lines[0], autl_planes[ull_first], ainl_lines[ull_first], autl_planes[ull_second],
               ainl_lines[ull_second], autl_to, inl_to_line, adsl_matrix, iml_width, iml_height) == 0;
}
