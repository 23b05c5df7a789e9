#include "kivjniffmpeg/pictures/picture_place.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"

#include <algorithm>

namespace
{

constexpr int32_t im_largest_side = 1 << 15;

} // namespace

int32_t rows_of(const AVPixFmtDescriptor &dsp_descriptor, size_t ulp_plane, int32_t imp_height)
{
    const int inl_shift = ulp_plane == 1 || ulp_plane == 2 ? dsp_descriptor.log2_chroma_h : 0;
    return (imp_height + (1 << inl_shift) - 1) >> inl_shift;
}

int32_t largest_step(const AVPixFmtDescriptor &dsp_descriptor, size_t ulp_plane)
{
    int32_t iml_step = 1;
    for (size_t ull_component = 0; ull_component < dsp_descriptor.nb_components; ++ull_component) {
        const AVComponentDescriptor &dsl_component = dsp_descriptor.comp[ull_component];
        if (dsl_component.plane == ulp_plane)
            iml_step = std::max(iml_step, dsl_component.step_minus1 + 1);
    }
    return iml_step;
}

void dsd_picture_place::check() const
{
    const AVPixFmtDescriptor *adsl_descriptor = g_avutil.av_pix_fmt_desc_get(iec_format);
    int ainl_row_bytes[4] = {};
    if (adsl_descriptor == nullptr || imc_width < 1 || imc_width > im_largest_side || imc_height < 1 ||
        imc_height > im_largest_side || g_avutil.av_image_fill_linesizes(ainl_row_bytes, iec_format, imc_width) < 0 ||
        ainl_row_bytes[0] <= 0)
        throw_ffmpeg_exception(1923, "no picture of format ", static_cast<int>(iec_format), " and size ", imc_width,
                               "x", imc_height);
    const auto outside = [this](int64_t ilp_offset, int64_t ilp_end) {
        return ilp_offset < 0 || ilp_end > static_cast<int64_t>(utc_block.size());
    };
    for (size_t ull_plane = 0; ull_plane < 4 && ainl_row_bytes[ull_plane] > 0; ++ull_plane) {
        const int64_t ill_rows = rows_of(*adsl_descriptor, ull_plane, imc_height);
        const int64_t ill_end =
            aimc_offsets[ull_plane] + (ill_rows - 1) * aimc_linesizes[ull_plane] + ainl_row_bytes[ull_plane];
        if (aimc_linesizes[ull_plane] < ainl_row_bytes[ull_plane] || outside(aimc_offsets[ull_plane], ill_end))
            throw_ffmpeg_exception(1934, "plane ", ull_plane, " of a picture lies outside of its memory");
    }
    if ((adsl_descriptor->flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_PSEUDOPAL)) != 0 &&
        (aimc_offsets[1] == 0 || outside(aimc_offsets[1], int64_t{aimc_offsets[1]} + AVPALETTE_SIZE)))
        throw_ffmpeg_exception(1938, "the palette of a picture lies outside of its memory");
}

std::array<uint8_t *, 4> dsd_picture_place::planes() const noexcept
{
    std::array<uint8_t *, 4> aautl_planes{};
    for (size_t ull_plane = 0; ull_plane < 4; ++ull_plane) {
        // A palette has an offset but no lines.
        if (aimc_linesizes[ull_plane] > 0 || aimc_offsets[ull_plane] > 0)
            aautl_planes[ull_plane] = utc_block.data() + aimc_offsets[ull_plane];
    }
    return aautl_planes;
}
