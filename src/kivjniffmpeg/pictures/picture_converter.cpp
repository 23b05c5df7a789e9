#include "kivjniffmpeg/pictures/picture_converter.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <algorithm>
#include <climits>
#include <cstddef>

namespace
{

constexpr int32_t im_largest_side = 1 << 15;
constexpr int in_line_alignment = 64;

/** Whether pixels are red, green and blue; those of a palette are. */
bool is_rgb(AVPixelFormat iep_format)
{
    return (g_avutil.av_pix_fmt_desc_get(iep_format)->flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_RGB)) != 0;
}

int32_t rows_of(const AVPixFmtDescriptor &dsp_descriptor, size_t ulp_plane, int32_t imp_height)
{
    const int inl_shift = ulp_plane == 1 || ulp_plane == 2 ? dsp_descriptor.log2_chroma_h : 0;
    return (imp_height + (1 << inl_shift) - 1) >> inl_shift;
}

/** Bytes from one pixel of a plane to the next; where two pixels share their colour, to the next pair. */
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

/** A picture with room behind every line and plane, because vector code reads and writes whole registers. */
class c_padded_picture
{
public:
    c_padded_picture(AVPixelFormat iep_format, int32_t imp_width, int32_t imp_height)
    {
        g_avutil.av_image_fill_linesizes(ainc_linesizes, iep_format, imp_width);
        for (int &inl_linesize : ainc_linesizes)
            inl_linesize = (inl_linesize + in_line_alignment - 1) / in_line_alignment * in_line_alignment;
        const int inl_total =
            g_avutil.av_image_fill_pointers(aautc_planes, iep_format, imp_height, nullptr, ainc_linesizes);
        if (inl_total < 0 || inl_total > INT_MAX - in_line_alignment)
            throw_ffmpeg_exception(1911, "picture too large to convert");
        dsc_memory = std::make_unique<c_native_buffer>(inl_total + in_line_alignment, in_line_alignment);
        g_avutil.av_image_fill_pointers(aautc_planes, iep_format, imp_height, dsc_memory->data(), ainc_linesizes);
    }

    /** Repeats every line's last pixel behind it: of an odd width, libswscale mixes the next pixel into its colours. */
    void extend_lines(const AVPixFmtDescriptor &dsp_descriptor, AVPixelFormat iep_format, int32_t imp_width,
                      int32_t imp_height) noexcept
    {
        int ainl_row_bytes[4] = {};
        g_avutil.av_image_fill_linesizes(ainl_row_bytes, iep_format, imp_width);
        for (size_t ull_plane = 0; ull_plane < 4 && ainl_row_bytes[ull_plane] > 0; ++ull_plane) {
            const int32_t iml_step = std::min(largest_step(dsp_descriptor, ull_plane), ainl_row_bytes[ull_plane]);
            for (int32_t iml_row = 0; iml_row < rows_of(dsp_descriptor, ull_plane, imp_height); ++iml_row) {
                uint8_t *autl_row = aautc_planes[ull_plane] + ptrdiff_t{iml_row} * ainc_linesizes[ull_plane];
                for (int inl_byte = ainl_row_bytes[ull_plane]; inl_byte < ainc_linesizes[ull_plane]; ++inl_byte)
                    autl_row[inl_byte] = autl_row[inl_byte - iml_step];
            }
        }
    }

    /**
     * Clears the bits above the depth of samples of 9 to 15 bits. libswscale uses samples as indices of its tables
     * unchecked, and where a damaged picture was not decoded the memory may hold anything.
     */
    void limit_samples(const AVPixFmtDescriptor &dsp_descriptor, int32_t imp_height) noexcept
    {
        const int inl_high_byte = (dsp_descriptor.flags & AV_PIX_FMT_FLAG_BE) != 0 ? 0 : 1;
        for (size_t ull_component = 0; ull_component < dsp_descriptor.nb_components; ++ull_component) {
            const AVComponentDescriptor &dsl_component = dsp_descriptor.comp[ull_component];
            const int inl_depth = dsl_component.depth_minus1 + 1;
            if (inl_depth <= 8 || inl_depth >= 16 || dsl_component.step_minus1 != 1 || dsl_component.shift != 0)
                continue;
            const auto utl_mask = static_cast<uint8_t>((1 << (inl_depth - 8)) - 1);
            const size_t ull_plane = dsl_component.plane;
            for (int32_t iml_row = 0; iml_row < rows_of(dsp_descriptor, ull_plane, imp_height); ++iml_row) {
                uint8_t *autl_row = aautc_planes[ull_plane] + ptrdiff_t{iml_row} * ainc_linesizes[ull_plane];
                for (int inl_byte = inl_high_byte; inl_byte < ainc_linesizes[ull_plane]; inl_byte += 2)
                    autl_row[inl_byte] &= utl_mask;
            }
        }
    }

    uint8_t *const *planes() const noexcept { return aautc_planes; }
    const int *linesizes() const noexcept { return ainc_linesizes; }

private:
    uint8_t *aautc_planes[4] = {};
    int ainc_linesizes[4] = {};
    std::unique_ptr<c_native_buffer> dsc_memory;
};

} // namespace

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

void c_picture_converter::convert(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to, int inp_flags)
{
    TRACE_FUNCTION(3);
    dsp_from.check();
    dsp_to.check();
    if (g_avutil.av_image_copy == nullptr)
        throw_ffmpeg_exception(1957, "this FFmpeg cannot copy pictures");
    const auto aautl_from = dsp_from.planes();
    const auto aautl_to = dsp_to.planes();
    if (dsp_from.iec_format == dsp_to.iec_format && dsp_from.imc_width == dsp_to.imc_width &&
        dsp_from.imc_height == dsp_to.imc_height) {
        g_avutil.av_image_copy(aautl_to.data(), dsp_to.aimc_linesizes.data(), aautl_from.data(),
                               dsp_from.aimc_linesizes.data(), dsp_from.iec_format, dsp_from.imc_width,
                               dsp_from.imc_height);
        return;
    }
    SwsContext *adsl_sws = dsc_sws_ctx.prepare(dsp_from.imc_width, dsp_from.imc_height, dsp_from.iec_format,
                                               dsp_to.imc_width, dsp_to.imc_height, dsp_to.iec_format, inp_flags);
    if (adsl_sws == nullptr)
        throw_ffmpeg_exception(1969, "libswscale does not convert from ", dsp_from.imc_width, "x", dsp_from.imc_height,
                               " of format ", static_cast<int>(dsp_from.iec_format), " to ", dsp_to.imc_width, "x",
                               dsp_to.imc_height, " of format ", static_cast<int>(dsp_to.iec_format));
    if (is_rgb(dsp_to.iec_format) && !is_rgb(dsp_from.iec_format))
        dsc_sws_ctx.set_colours(dsp_from.imc_colorspace, dsp_from.bc_full_range);
    c_padded_picture dsl_from(dsp_from.iec_format, dsp_from.imc_width, dsp_from.imc_height);
    const c_padded_picture dsl_to(dsp_to.iec_format, dsp_to.imc_width, dsp_to.imc_height);
    g_avutil.av_image_copy(dsl_from.planes(), dsl_from.linesizes(), aautl_from.data(), dsp_from.aimc_linesizes.data(),
                           dsp_from.iec_format, dsp_from.imc_width, dsp_from.imc_height);
    const AVPixFmtDescriptor &dsl_descriptor = *g_avutil.av_pix_fmt_desc_get(dsp_from.iec_format);
    dsl_from.extend_lines(dsl_descriptor, dsp_from.iec_format, dsp_from.imc_width, dsp_from.imc_height);
    dsl_from.limit_samples(dsl_descriptor, dsp_from.imc_height);
    g_swscale.sws_scale(adsl_sws, dsl_from.planes(), dsl_from.linesizes(), 0, dsp_from.imc_height, dsl_to.planes(),
                        dsl_to.linesizes());
    g_avutil.av_image_copy(aautl_to.data(), dsp_to.aimc_linesizes.data(), dsl_to.planes(), dsl_to.linesizes(),
                           dsp_to.iec_format, dsp_to.imc_width, dsp_to.imc_height);
}
