#include "kivjniffmpeg/pictures/picture_converter.h"

#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <malloc.h>

#include <tuple>
#include <vector>

using testing::Each;

namespace
{

/** Fresh memory is not zero, so that whoever uses it unwritten is noticed. */
class picture_converter : public real_ffmpeg
{
protected:
    picture_converter() { mallopt(M_PERTURB, 0x55); }
    ~picture_converter() override { mallopt(M_PERTURB, 0); }

    static dsd_picture_place place(const char *strp_format, int32_t imp_width, int32_t imp_height,
                                   std::vector<uint8_t> &utp_memory)
    {
        dsd_picture_place dsl_place{ffmpeg_call<AVPixelFormat>("av_get_pix_fmt", strp_format),
                                    imp_width,
                                    imp_height,
                                    {},
                                    {},
                                    2,
                                    false,
                                    0,
                                    0,
                                    {}};
        uint8_t *aautl_planes[4] = {};
        g_avutil.av_image_fill_linesizes(dsl_place.aimc_linesizes.data(), dsl_place.iec_format, imp_width);
        utp_memory.resize(static_cast<size_t>(g_avutil.av_image_fill_pointers(
            aautl_planes, dsl_place.iec_format, imp_height, nullptr, dsl_place.aimc_linesizes.data())));
        for (size_t ull_plane = 0; ull_plane < 4; ++ull_plane)
            dsl_place.aimc_offsets[ull_plane] =
                static_cast<int32_t>(reinterpret_cast<intptr_t>(aautl_planes[ull_plane]));
        dsl_place.utc_block = utp_memory;
        return dsl_place;
    }

    c_picture_converter dsc_converter;
};

TEST_F(picture_converter, bayer_pictures_may_have_any_number_of_rows)
{
    for (const auto &[iml_width, iml_height] : {std::pair(6, 2), {7, 3}, {6, 5}, {7, 8}}) {
        std::vector<uint8_t> utl_bayer;
        const dsd_picture_place dsl_bayer = place("bayer_rggb8", iml_width, iml_height, utl_bayer);
        for (int32_t iml_at = 0; iml_at < iml_width * iml_height; ++iml_at)
            utl_bayer[static_cast<size_t>(iml_at)] =
                static_cast<uint8_t>(200 - 75 * (iml_at / iml_width % 2) - 75 * (iml_at % iml_width % 2));
        for (const auto &[strl_target, iml_rows] :
             {std::pair("bgr24", iml_height), {"rgb24", 9}, {"yuvj420p", iml_height}}) {
            std::vector<uint8_t> utl_pixels;
            dsc_converter.convert(dsl_bayer, place(strl_target, iml_width, iml_rows, utl_pixels), 4);
            for (size_t ull_at = 0; strl_target[3] == '2' && ull_at < utl_pixels.size(); ++ull_at)
                EXPECT_EQ(utl_pixels[ull_at],
                          125 + (1 - static_cast<int>(ull_at % 3)) * (*strl_target == 'r' ? 75 : -75))
                    << strl_target << " " << iml_width << "x" << iml_height << " at " << ull_at;
        }
    }
}

TEST_F(picture_converter, palette_that_nothing_needs_is_written_too)
{
    std::vector<uint8_t> utl_rgb;
    std::vector<uint8_t> utl_gray;
    const dsd_picture_place dsl_rgb = place("rgb24", 16, 2, utl_rgb);
    dsc_converter.convert(dsl_rgb, place("gray", 16, 2, utl_gray), 4);
    EXPECT_THAT(std::span<const uint8_t>(utl_gray).last(AVPALETTE_SIZE), Each(0));
}

} // namespace
