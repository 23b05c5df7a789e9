#include "kivjniffmpeg/pictures/fast_conversion.h"
#include "kivjniffmpeg/pictures/turning.h"

#include "jni/exceptions.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <vector>

namespace
{

constexpr size_t ul_plane_room = 1 << 20;
constexpr size_t ul_page = 4096;

/** A picture each of whose planes ends, or begins, where memory does. */
class c_guarded_picture
{
public:
    c_guarded_picture(const char *strp_format, int32_t imp_width, int32_t imp_height, bool bp_at_end)
        : dsc_place{ffmpeg_call<AVPixelFormat>("av_get_pix_fmt", strp_format),
                    imp_width,
                    imp_height,
                    {},
                    {},
                    2,
                    false,
                    0,
                    0,
                    {}},
          dsc_descriptor(*g_avutil.av_pix_fmt_desc_get(dsc_place.iec_format))
    {
        auto *autl_room =
            static_cast<uint8_t *>(mmap(nullptr, 4 * ul_plane_room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        dsc_place.utc_block = {autl_room, 4 * ul_plane_room};
        g_avutil.av_image_fill_linesizes(dsc_place.aimc_linesizes.data(), dsc_place.iec_format, imp_width);
        for (size_t ull_plane = 0; ull_plane < 4 && dsc_place.aimc_linesizes[ull_plane] > 0; ++ull_plane) {
            const auto ull_size = static_cast<size_t>(dsc_place.aimc_linesizes[ull_plane]) *
                                  static_cast<size_t>(rows_of(dsc_descriptor, ull_plane, imp_height));
            const size_t ull_pages = (ull_size + ul_page - 1) / ul_page * ul_page;
            const size_t ull_offset = ull_plane * ul_plane_room + ul_page;
            mprotect(autl_room + ull_offset, ull_pages, PROT_READ | PROT_WRITE);
            dsc_place.aimc_offsets[ull_plane] =
                static_cast<int32_t>(ull_offset + (bp_at_end ? ull_pages - ull_size : 0));
        }
        if ((dsc_descriptor.flags & AV_PIX_FMT_FLAG_PSEUDOPAL) != 0) {
            dsc_place.aimc_offsets[1] = ul_plane_room;
            mprotect(autl_room + ul_plane_room, ul_page, PROT_READ | PROT_WRITE);
        }
    }
    ~c_guarded_picture() { munmap(dsc_place.utc_block.data(), dsc_place.utc_block.size()); }
    c_guarded_picture(const c_guarded_picture &) = delete;
    c_guarded_picture &operator=(const c_guarded_picture &) = delete;

    /** One of the bytes of the pixel (x, y) of a plane, which may share it with others. */
    uint8_t &at(size_t ulp_plane, int32_t imp_x, int32_t imp_y, int32_t imp_step = 1, int32_t imp_byte = 0) const
    {
        const bool bl_chroma = ulp_plane > 0;
        return dsc_place
            .planes()[ulp_plane]
                     [(imp_y >> (bl_chroma ? dsc_descriptor.log2_chroma_h : 0)) * dsc_place.aimc_linesizes[ulp_plane] +
                      (imp_x >> (bl_chroma ? dsc_descriptor.log2_chroma_w : 0)) * imp_step + imp_byte];
    }

    void fill(const std::function<int(size_t, int32_t, int32_t)> &dsp_value) const
    {
        for (size_t ull_plane = 0; ull_plane < 4 && dsc_place.aimc_linesizes[ull_plane] > 0; ++ull_plane)
            for (int32_t iml_y = 0; iml_y < rows_of(dsc_descriptor, ull_plane, dsc_place.imc_height); ++iml_y)
                for (int32_t iml_x = 0; iml_x < dsc_place.aimc_linesizes[ull_plane]; ++iml_x)
                    dsc_place.planes()[ull_plane][iml_y * dsc_place.aimc_linesizes[ull_plane] + iml_x] =
                        static_cast<uint8_t>(dsp_value(ull_plane, iml_x, iml_y));
    }

    dsd_picture_place dsc_place;
    const AVPixFmtDescriptor &dsc_descriptor;
};

using fast_conversion = real_ffmpeg;

/** The exact red, green and blue of a pixel. */
std::array<double, 3> exact(const c_guarded_picture &dsp_yuv, int32_t imp_x, int32_t imp_y)
{
    const std::string_view strl_name = dsp_yuv.dsc_descriptor.name;
    const bool bl_gray = strl_name == "gray";
    const bool bl_full = dsp_yuv.dsc_place.bc_full_range || strl_name[3] == 'j' || bl_gray;
    const int32_t iml_first = strl_name == "nv21" ? 1 : 0;
    const bool bl_pairs = strl_name.starts_with("nv");
    const auto chroma = [&](bool bp_red) {
        return bl_gray    ? 128
               : bl_pairs ? dsp_yuv.at(1, imp_x, imp_y, 2, bp_red ? 1 - iml_first : iml_first)
                          : dsp_yuv.at(bp_red ? 2 : 1, imp_x, imp_y);
    };
    const std::map<int32_t, std::pair<double, double>> dsl_weights{{1, {0.2126, 0.0722}}, {9, {0.2627, 0.0593}}};
    const auto dsl_found = dsl_weights.find(dsp_yuv.dsc_place.imc_colorspace);
    const auto [fll_red, fll_blue] = dsl_found == dsl_weights.end() ? std::pair(0.299, 0.114) : dsl_found->second;
    const double fll_luma = bl_full ? dsp_yuv.at(0, imp_x, imp_y) : (dsp_yuv.at(0, imp_x, imp_y) - 16) * 255 / 219.0;
    const double fll_scale = bl_full ? 1 : 255 / 224.0;
    const double fll_r = fll_luma + 2 * (1 - fll_red) * (chroma(true) - 128) * fll_scale;
    const double fll_b = fll_luma + 2 * (1 - fll_blue) * (chroma(false) - 128) * fll_scale;
    const double fll_g = (fll_luma - fll_red * fll_r - fll_blue * fll_b) / (1 - fll_red - fll_blue);
    return {std::clamp(fll_r, 0.0, 255.0), std::clamp(fll_g, 0.0, 255.0), std::clamp(fll_b, 0.0, 255.0)};
}

TEST_F(fast_conversion, yuv_becomes_rgb_of_exact_arithmetic_at_every_size)
{
    for (const char *strl_from :
         {"yuv420p", "yuv422p", "yuv444p", "yuvj420p", "yuvj422p", "yuvj444p", "nv12", "nv21", "gray"})
        for (const char *strl_to : {"bgra", "rgba", "rgb24", "bgr24"})
            for (const auto &[iml_space, bl_full] :
                 {std::pair(1, false), {1, true}, {2, false}, {5, true}, {9, false}, {9, true}}) {
                double fll_most = 0;
                double fll_sum = 0;
                double fll_count = 0;
                for (const auto &[iml_width, iml_height] :
                     {std::pair(1, 1), {2, 3}, {7, 2}, {33, 5}, {97, 3}, {161, 2}}) {
                    const bool bl_at_end = iml_space != 5;
                    const c_guarded_picture dsl_to(strl_to, iml_width, iml_height, bl_at_end);
                    c_guarded_picture dsl_from(strl_from, iml_width, iml_height, bl_at_end);
                    dsl_from.dsc_place.imc_colorspace = iml_space;
                    dsl_from.dsc_place.bc_full_range = bl_full;
                    unsigned int unl_seed = 1;
                    dsl_from.fill([&](size_t, int32_t, int32_t) { return rand_r(&unl_seed) >> 8 & 0xFF; });
                    const bool bl_wanted = std::string_view(strl_from) != "gray" || strl_to[3] == 'a';
                    ASSERT_EQ(c_fast_conversion().convert(dsl_from.dsc_place, dsl_to.dsc_place), bl_wanted);
                    const int32_t iml_step = strl_to[3] == 'a' ? 4 : 3;
                    for (int32_t iml_y = 0; bl_wanted && iml_y < iml_height; ++iml_y)
                        for (int32_t iml_x = 0; iml_x < iml_width; ++iml_x)
                            for (int32_t iml_colour = 0; iml_colour < 3; ++iml_colour) {
                                const double fll_fault =
                                    std::abs(exact(dsl_from, iml_x, iml_y)[static_cast<size_t>(iml_colour)] -
                                             dsl_to.at(0, iml_x, iml_y, iml_step,
                                                       *strl_to == 'r' ? iml_colour : 2 - iml_colour));
                                fll_most = std::max(fll_most, fll_fault);
                                fll_sum += fll_fault;
                                ++fll_count;
                            }
                }
                EXPECT_LE(fll_most, 3.0) << strl_from << " " << strl_to << " " << iml_space << bl_full;
                EXPECT_LE(fll_sum / std::max(1.0, fll_count), 0.8)
                    << strl_from << " " << strl_to << " " << iml_space << bl_full;
            }
}

/** Slopes stay slopes: nothing is shifted, at no edge and by no rounding of sizes. */
TEST_F(fast_conversion, reduced_pictures_are_not_shifted)
{
    for (const auto &[strl_from, strl_to] : {std::pair("yuv420p", "yuv420p"), {"yuv420p", "bgra"}, {"gray", "gray"}})
        for (const auto &[iml_width, iml_height] : {std::pair(63, 41), {64, 32}, {17, 90}})
            for (const double fll_part : {0.95, 0.75, 0.5, 0.34, 0.25, 0.1}) {
                const auto part_of = [fll_part](int32_t imp_side) {
                    return std::max(4, static_cast<int32_t>(imp_side * fll_part));
                };
                const c_guarded_picture dsl_from(strl_from, iml_width, iml_height, fll_part < 0.5);
                const c_guarded_picture dsl_to(strl_to, part_of(iml_width), part_of(iml_height), fll_part < 0.5);
                dsl_from.fill([](size_t ulp_plane, int32_t imp_x, int32_t imp_y) {
                    return ulp_plane == 0 ? 20 + imp_x + imp_y : 128;
                });
                ASSERT_TRUE(c_fast_conversion().convert(dsl_from.dsc_place, dsl_to.dsc_place));
                const bool bl_rgb = *strl_to == 'b';
                for (int32_t iml_y = 0; iml_y < dsl_to.dsc_place.imc_height; ++iml_y)
                    for (int32_t iml_x = 0; iml_x < dsl_to.dsc_place.imc_width; ++iml_x) {
                        const double fll_luma = 20 + (iml_x + 0.5) * iml_width / dsl_to.dsc_place.imc_width +
                                                (iml_y + 0.5) * iml_height / dsl_to.dsc_place.imc_height - 1;
                        EXPECT_NEAR(dsl_to.at(0, iml_x, iml_y, bl_rgb ? 4 : 1),
                                    bl_rgb ? (fll_luma - 16) * 255 / 219 : fll_luma, 3)
                            << strl_to << " " << iml_width << "x" << iml_height << " " << fll_part << " " << iml_x
                            << "," << iml_y;
                    }
            }
}

TEST_F(fast_conversion, rgb_becomes_yuv_of_exact_arithmetic)
{
    for (const auto &[strl_from, strl_to] : {std::pair("bgra", "yuv420p"),
                                             {"bgra", "yuv422p"},
                                             {"bgra", "yuv444p"},
                                             {"bgra", "yuvj420p"},
                                             {"bgra", "yuvj422p"},
                                             {"bgr24", "yuv420p"},
                                             {"bgr24", "yuvj420p"},
                                             {"rgb24", "yuv420p"},
                                             {"rgb24", "yuvj420p"}})
        for (const int32_t iml_width : {1, 2, 15, 33, 98}) {
            const c_guarded_picture dsl_from(strl_from, iml_width, 3, true);
            const c_guarded_picture dsl_to(strl_to, iml_width, 3, true);
            const int32_t iml_step = strl_from[3] == 'a' ? 4 : 3;
            dsl_from.fill(
                [&](size_t, int32_t imp_x, int32_t imp_y) { // pairs of pixels alike, so that chroma has one value
                    return 255 - (imp_x / iml_step / 2 * 37 + imp_x % iml_step * 80 + imp_y / 2 * 50) % 256;
                });
            ASSERT_TRUE(c_fast_conversion().convert(dsl_from.dsc_place, dsl_to.dsc_place));
            for (int32_t iml_at = 0; iml_at < 3 * iml_width; ++iml_at)
                for (size_t ull_colour = 0; ull_colour < 3; ++ull_colour)
                    EXPECT_NEAR(exact(dsl_to, iml_at % iml_width, iml_at / iml_width)[ull_colour],
                                dsl_from.at(0, iml_at % iml_width, iml_at / iml_width, iml_step,
                                            static_cast<int32_t>(*strl_from == 'r' ? ull_colour : 2 - ull_colour)),
                                5)
                        << strl_from << " " << strl_to << " " << iml_width << " " << iml_at;
        }
}

TEST_F(fast_conversion, turned_pictures_keep_every_pixel)
{
    for (const char *strl_format : {"gray", "nv12", "rgb24", "bgra", "yuv444p", "rgb48le"})
        for (const auto &[iml_width, iml_height] : {std::pair(1, 1), {2, 3}, {9, 8}, {37, 17}, {16, 64}})
            for (int32_t iml_turn = 0; iml_turn < 8; ++iml_turn) {
                const dsd_turn dsl_turn{iml_turn % 4 * 90, iml_turn > 3};
                const bool bl_swaps = dsl_turn.swaps_sides();
                const c_guarded_picture dsl_from(strl_format, iml_width, iml_height, iml_width > 8);
                const c_guarded_picture dsl_to(strl_format, bl_swaps ? iml_height : iml_width,
                                               bl_swaps ? iml_width : iml_height, iml_width > 8);
                dsl_from.fill([](size_t ulp_plane, int32_t imp_x, int32_t imp_y) {
                    return static_cast<int>(ulp_plane) * 99 + imp_x * 7 + imp_y * 31;
                });
                turn_picture(dsl_from.dsc_place, dsl_to.dsc_place, dsl_turn);
                const int32_t iml_step = largest_step(dsl_from.dsc_descriptor, 0);
                for (int32_t iml_y = 0; iml_y < iml_height; ++iml_y)
                    for (int32_t iml_x = 0; iml_x < iml_width; ++iml_x) {
                        const int32_t iml_u = dsl_turn.bc_mirrored ? iml_width - 1 - iml_x : iml_x;
                        const std::array aiml_x{iml_u, iml_height - 1 - iml_y, iml_width - 1 - iml_u, iml_y};
                        const std::array aiml_y{iml_y, iml_u, iml_height - 1 - iml_y, iml_width - 1 - iml_u};
                        const auto ull_quarter = static_cast<size_t>(iml_turn % 4);
                        ASSERT_EQ(dsl_to.at(0, aiml_x[ull_quarter], aiml_y[ull_quarter], iml_step, iml_step - 1),
                                  dsl_from.at(0, iml_x, iml_y, iml_step, iml_step - 1))
                            << strl_format << " " << iml_width << "x" << iml_height << " " << iml_turn;
                    }
            }
    const c_guarded_picture dsl_wide("yuv422p", 4, 4, true);
    EXPECT_THROW(turn_picture(dsl_wide.dsc_place, c_guarded_picture("yuv422p", 4, 4, true).dsc_place, {90, false}),
                 c_ffmpeg_exception);
}

} // namespace
