#include "kivjniffmpeg/formats/picture_layout.h"

#include "kivjniffmpeg/codecs/buffer_callbacks.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <climits>
#include <tuple>

namespace
{

class picture_layout : public testing::Test
{
protected:
    picture_layout() { load_ffmpeg(); }
};

// For every format that a decoder may come with: each plane has room for all its lines, none reaches into the next, and
// lines are aligned as the decoder wants them.
TEST_F(picture_layout, planes_fit_and_do_not_overlap)
{
    const std::pair<int, int> iml_sizes[] = {{1, 1},     {16, 16},   {45, 31},     {321, 241},
                                             {854, 480}, {720, 576}, {1920, 1080}, {1920, 1088}};
    int inl_checked = 0;
    for (const AVCodecID dsl_id : {AV_CODEC_ID_H264, AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_CINEPAK, AV_CODEC_ID_DVVIDEO})
        for (int inl_format = 0; inl_format < 64; ++inl_format)
            for (const auto &[iml_width, iml_height] : iml_sizes) {
                const auto dsl_format = static_cast<AVPixelFormat>(inl_format);
                c_avcodec_ctx dsl_context{c_avcodec(dsl_id, true), ds_buffer_callbacks};
                dsl_context->pix_fmt = dsl_format;
                const auto dsl_layout =
                    compute_picture_layout(dsl_context.context(), dsl_format, iml_width, iml_height);
                if (!dsl_layout)
                    continue; // a format of the graphics card
                ++inl_checked;
                SCOPED_TRACE(std::string(g_avutil.av_get_pix_fmt_name(dsl_format)) + " " + std::to_string(iml_width) +
                             "x" + std::to_string(iml_height));
                int inl_width = iml_width;
                int inl_height = iml_height;
                int ainl_alignments[8] = {};
                g_avcodec.avcodec_align_dimensions2(dsl_context.context(), &inl_width, &inl_height, ainl_alignments);
                int ainl_needed[4] = {};
                g_avutil.av_image_fill_linesizes(ainl_needed, dsl_format, inl_width);
                EXPECT_GE(dsl_layout->imc_scanheight, iml_height);
                EXPECT_EQ(dsl_layout->imc_align, 2 * ainl_alignments[0]);
                const AVPixFmtDescriptor &dsl_descriptor = *g_avutil.av_pix_fmt_desc_get(dsl_format);
                int32_t iml_end = 0;
                for (size_t uml_plane = 0; uml_plane < 4; ++uml_plane) {
                    if (dsl_layout->aimc_plane_sizes[uml_plane] == 0) {
                        EXPECT_EQ(dsl_layout->aimc_plane_offsets[uml_plane], 0);
                        EXPECT_EQ(dsl_layout->aimc_linesizes[uml_plane], 0);
                        continue;
                    }
                    EXPECT_EQ(dsl_layout->aimc_plane_offsets[uml_plane], iml_end);
                    iml_end += dsl_layout->aimc_plane_sizes[uml_plane];
                    const bool bl_palette = ainl_needed[uml_plane] == 0;
                    if (bl_palette)
                        continue;
                    EXPECT_GE(dsl_layout->aimc_linesizes[uml_plane], ainl_needed[uml_plane]);
                    EXPECT_EQ(dsl_layout->aimc_linesizes[uml_plane] % ainl_alignments[uml_plane], 0);
                    const int inl_shift = uml_plane == 1 || uml_plane == 2 ? dsl_descriptor.log2_chroma_h : 0;
                    const int inl_lines = -(-dsl_layout->imc_scanheight >> inl_shift);
                    EXPECT_GE(dsl_layout->aimc_plane_sizes[uml_plane],
                              inl_lines * dsl_layout->aimc_linesizes[uml_plane]);
                }
                EXPECT_EQ(iml_end, dsl_layout->imc_total);
            }
    EXPECT_GT(inl_checked, 1000);
}

TEST_F(picture_layout, planar_420_agrees_with_the_plain_formula)
{
    c_avcodec_ctx dsl_context{c_avcodec(AV_CODEC_ID_H264, true), ds_buffer_callbacks};
    dsl_context->pix_fmt = AV_PIX_FMT_YUV420P;
    const std::pair<int, int> iml_sizes[] = {{320, 240}, {321, 241}, {1920, 1088}};
    for (const auto &[iml_width, iml_height] : iml_sizes) {
        const auto dsl_layout =
            compute_picture_layout(dsl_context.context(), AV_PIX_FMT_YUV420P, iml_width, iml_height);
        const int32_t iml_line = dsl_layout->aimc_linesizes[0];
        const int32_t iml_lines = dsl_layout->imc_scanheight;
        EXPECT_EQ(dsl_layout->plane_count(), 3);
        EXPECT_EQ(dsl_layout->imc_pixel_step, 1);
        EXPECT_EQ(dsl_layout->aimc_plane_offsets[1], iml_line * iml_lines);
        EXPECT_EQ(dsl_layout->aimc_plane_offsets[2] - dsl_layout->aimc_plane_offsets[1],
                  ((iml_lines + 1) >> 1) * ((iml_line + 1) >> 1));
    }
    dsl_context->pix_fmt = AV_PIX_FMT_PAL8;
    EXPECT_EQ(compute_picture_layout(dsl_context.context(), AV_PIX_FMT_PAL8, 320, 240)->plane_count(), 2);
}

TEST_F(picture_layout, what_cannot_be_laid_out_gives_nothing)
{
    c_avcodec_ctx dsl_context{c_avcodec(AV_CODEC_ID_MPEG4, true), ds_buffer_callbacks};
    const std::tuple<AVPixelFormat, int, int> dsl_requests[] = {
        {AV_PIX_FMT_NONE, 320, 240},         {static_cast<AVPixelFormat>(9999), 320, 240},
        {AV_PIX_FMT_YUV420P, 0, 240},        {AV_PIX_FMT_YUV420P, 320, -240},
        {AV_PIX_FMT_YUV420P, 65536, 65536},  {AV_PIX_FMT_BGRA, 30000, 30000},
        {AV_PIX_FMT_YUV420P, INT_MAX, 16},   {AV_PIX_FMT_YUV420P, 16, INT_MAX},
        {AV_PIX_FMT_BGRA, INT_MAX, INT_MAX}, {AV_PIX_FMT_YUV444P, INT_MAX - 64, 1},
        {AV_PIX_FMT_YUV420P, 38000, 38000}};
    for (const auto &[dsl_format, iml_width, iml_height] : dsl_requests) {
        dsl_context->pix_fmt = dsl_format;
        EXPECT_FALSE(compute_picture_layout(dsl_context.context(), dsl_format, iml_width, iml_height))
            << dsl_format << ' ' << iml_width << 'x' << iml_height;
    }
}

} // namespace
