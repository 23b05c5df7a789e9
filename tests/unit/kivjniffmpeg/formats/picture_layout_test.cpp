#include "kivjniffmpeg/formats/picture_layout.h"

#include "kivjniffmpeg/codecs/buffer_callbacks.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <climits>
#include <tuple>

namespace
{

using picture_layout = real_ffmpeg;

/** Each plane has room for all its lines, none reaches into the next, and lines are aligned as the decoder wants them. */
void expect_planes_fit(AVCodecContext *adsp_context, const dsd_picture_layout &dsp_layout, int inp_width,
                       int inp_height)
{
    EXPECT_GE(dsp_layout.imc_scanheight, inp_height);
    int ainl_alignments[8] = {};
    g_avcodec.avcodec_align_dimensions2(adsp_context, &inp_width, &inp_height, ainl_alignments);
    EXPECT_EQ(dsp_layout.imc_align, 2 * ainl_alignments[0]);
    int ainl_needed[4] = {};
    g_avutil.av_image_fill_linesizes(ainl_needed, adsp_context->pix_fmt, inp_width);
    const int inl_chroma_shift = g_avutil.av_pix_fmt_desc_get(adsp_context->pix_fmt)->log2_chroma_h;
    int32_t iml_end = 0;
    for (size_t ull_plane = 0; ull_plane < 4; ++ull_plane) {
        const int32_t iml_size = dsp_layout.aimc_plane_sizes[ull_plane];
        const int32_t iml_line = dsp_layout.aimc_linesizes[ull_plane];
        const int inl_shift = ull_plane == 1 || ull_plane == 2 ? inl_chroma_shift : 0;
        EXPECT_EQ(dsp_layout.aimc_plane_offsets[ull_plane], iml_size == 0 ? 0 : iml_end);
        EXPECT_GE(iml_line, ainl_needed[ull_plane]);
        EXPECT_EQ(iml_line % std::max(ainl_alignments[ull_plane], 1), 0);
        EXPECT_GE(iml_size, -(-dsp_layout.imc_scanheight >> inl_shift) * iml_line);
        iml_end += iml_size;
    }
    EXPECT_EQ(iml_end, dsp_layout.imc_total);
}

TEST_F(picture_layout, planes_of_every_format_of_a_decoder_fit_and_do_not_overlap)
{
    int inl_checked = 0;
    for (const AVCodecID iel_codec :
         {AV_CODEC_ID_H264, AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_CINEPAK, AV_CODEC_ID_DVVIDEO}) {
        c_avcodec_ctx dsl_context{c_avcodec(iel_codec, true), ds_buffer_callbacks};
        for (int inl_format = 0; inl_format < 64; ++inl_format) {
            dsl_context->pix_fmt = static_cast<AVPixelFormat>(inl_format);
            for (const auto &[inl_width, inl_height] :
                 {std::pair(1, 1), {16, 16}, {45, 31}, {321, 241}, {854, 480}, {720, 576}, {1920, 1088}}) {
                const auto dsl_layout =
                    compute_picture_layout(dsl_context.context(), dsl_context->pix_fmt, inl_width, inl_height);
                if (!dsl_layout)
                    continue; // a format of the graphics card
                ++inl_checked;
                SCOPED_TRACE(testing::Message() << g_avutil.av_get_pix_fmt_name(dsl_context->pix_fmt) << ' '
                                                << inl_width << 'x' << inl_height);
                expect_planes_fit(dsl_context.context(), *dsl_layout, inl_width, inl_height);
            }
        }
    }
    EXPECT_GT(inl_checked, 1000);
}

TEST_F(picture_layout, planes_follow_each_other)
{
    c_avcodec_ctx dsl_context{c_avcodec(AV_CODEC_ID_H264, true), ds_buffer_callbacks};
    dsl_context->pix_fmt = AV_PIX_FMT_YUV420P;
    const auto dsl_layout = compute_picture_layout(dsl_context.context(), AV_PIX_FMT_YUV420P, 321, 241);
    const int32_t iml_luma = dsl_layout->aimc_linesizes[0] * dsl_layout->imc_scanheight;
    EXPECT_EQ(dsl_layout->aimc_plane_sizes, (std::array<int32_t, 4>{iml_luma, iml_luma / 4, iml_luma / 4, 0}));
    EXPECT_EQ(std::pair(dsl_layout->plane_count(), dsl_layout->imc_pixel_step), std::pair(3, 1));
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
