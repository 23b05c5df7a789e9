#include "kivjniffmpeg/formats/picture_layout.h"

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>

namespace
{

/** Room for the alignment and for what the size formulas add, so that no later sum exceeds 31 bits. */
constexpr int32_t im_headroom = 1 << 20;

/** Widens the line until the lines of all planes are aligned. @return false when that is impossible */
bool fill_aligned_linesizes(int *ainp_linesizes, const int *ainp_alignments, AVPixelFormat iep_format, int inp_width)
{
    int inl_width = inp_width;
    for (;;) {
        if (g_avutil.av_image_fill_linesizes(ainp_linesizes, iep_format, inl_width) < 0)
            return false;
        if (std::equal(ainp_linesizes, ainp_linesizes + 4, ainp_alignments,
                       [](int inp_size, int inp_alignment) { return inp_size % inp_alignment == 0; }))
            return true;
        const int inl_lowest_bit = inl_width & -inl_width;
        if (inl_width > INT_MAX - inl_lowest_bit)
            return false;
        inl_width += inl_lowest_bit;
    }
}

} // namespace

int32_t dsd_picture_layout::plane_count() const noexcept
{
    return static_cast<int32_t>(std::ranges::count_if(aimc_plane_sizes, std::bind_front(std::less<>(), 0)));
}

std::optional<dsd_picture_layout> compute_picture_layout(AVCodecContext *adsp_context, AVPixelFormat iep_format,
                                                         int32_t imp_width, int32_t imp_height)
{
    const AVPixFmtDescriptor *adsl_descriptor = g_avutil.av_pix_fmt_desc_get(iep_format);
    if (adsl_descriptor == nullptr || imp_width <= 0 || imp_height <= 0)
        return std::nullopt;

    int inl_width = imp_width;
    int inl_height = imp_height;
    int ainl_alignments[AV_NUM_DATA_POINTERS] = {1, 1, 1, 1, 1, 1, 1, 1};
    g_avcodec.avcodec_align_dimensions2(adsp_context, &inl_width, &inl_height, ainl_alignments);
    for (int &inl_alignment : ainl_alignments)
        inl_alignment = std::max(inl_alignment, 1);

    dsd_picture_layout dsl_layout{};
    int ainl_linesizes[4] = {};
    if (!fill_aligned_linesizes(ainl_linesizes, ainl_alignments, iep_format, inl_width))
        return std::nullopt;

    // Without a buffer the "pointers" are offsets from its start.
    uint8_t *aautl_planes[4] = {};
    const int inl_total =
        g_avutil.av_image_fill_pointers(aautl_planes, iep_format, inl_height, nullptr, ainl_linesizes);
    if (inl_total < 0 || inl_total > INT_MAX - im_headroom ||
        int64_t{ainl_linesizes[0]} * inl_height * 3 / 2 > INT_MAX - im_headroom)
        return std::nullopt;

    for (size_t ull_plane = 0; ull_plane < 4; ++ull_plane) {
        const auto iml_offset = static_cast<int32_t>(reinterpret_cast<intptr_t>(aautl_planes[ull_plane]));
        if (ull_plane > 0 && iml_offset == 0)
            break;
        const bool bl_last = ull_plane == 3 || aautl_planes[ull_plane + 1] == nullptr;
        const auto iml_end =
            bl_last ? inl_total : static_cast<int32_t>(reinterpret_cast<intptr_t>(aautl_planes[ull_plane + 1]));
        dsl_layout.aimc_linesizes[ull_plane] = ainl_linesizes[ull_plane];
        dsl_layout.aimc_plane_offsets[ull_plane] = iml_offset;
        dsl_layout.aimc_plane_sizes[ull_plane] = iml_end - iml_offset;
    }
    dsl_layout.imc_total = inl_total;
    dsl_layout.imc_scanheight = inl_height;
    dsl_layout.imc_pixel_step = adsl_descriptor->comp[0].step_minus1 + 1;
    dsl_layout.imc_align = 2 * ainl_alignments[0];
    return dsl_layout;
}

void fill_with_grey(uint8_t *autp_picture, const dsd_picture_layout &dsp_layout, AVPixelFormat iep_format)
{
    constexpr int inl_grey = 0x80;
    const AVPixFmtDescriptor *adsl_descriptor = g_avutil.av_pix_fmt_desc_get(iep_format);
    const int inl_depth = adsl_descriptor == nullptr ? 8 : adsl_descriptor->comp[0].depth_minus1 + 1;
    const int inl_byte = inl_depth > 8 && inl_depth < 16 ? 1 << (inl_depth - 9) : inl_grey;
    for (size_t ull_plane = 0; ull_plane < static_cast<size_t>(dsp_layout.plane_count()); ++ull_plane)
        std::memset(autp_picture + dsp_layout.aimc_plane_offsets[ull_plane], inl_byte,
                    static_cast<size_t>(dsp_layout.aimc_plane_sizes[ull_plane]));
}
