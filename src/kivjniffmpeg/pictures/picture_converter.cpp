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
constexpr int32_t im_palette_bytes = 1024;
constexpr int in_flag_palette = 2;         // AV_PIX_FMT_FLAG_PAL
constexpr int in_flag_pseudo_palette = 64; // AV_PIX_FMT_FLAG_PSEUDOPAL
constexpr int in_line_alignment = 64;
constexpr int in_flag_big_endian = 1; // AV_PIX_FMT_FLAG_BE

/** Also for the colours of a palette. */
bool is_rgb(AVPixelFormat dsp_format)
{
    constexpr int inl_flags = in_flag_palette | 32; // AV_PIX_FMT_FLAG_RGB
    return (g_avutil.av_pix_fmt_desc_get(dsp_format)->flags & inl_flags) != 0;
}

int32_t rows_of(const AVPixFmtDescriptor &dsp_descriptor, size_t ump_plane, int32_t imp_height)
{
    const int inl_shift = ump_plane == 1 || ump_plane == 2 ? dsp_descriptor.log2_chroma_h : 0;
    return (imp_height + (1 << inl_shift) - 1) >> inl_shift;
}

/** Bytes from one pixel to the next; of pixels that share their colour, to the next pair. */
int32_t largest_step(const AVPixFmtDescriptor &dsp_descriptor, size_t ump_plane)
{
    int32_t iml_step = 1;
    for (size_t uml_component = 0; uml_component < dsp_descriptor.nb_components; ++uml_component) {
        const AVComponentDescriptor &dsl_component = dsp_descriptor.comp[uml_component];
        if (dsl_component.plane == ump_plane)
            iml_step = std::max(iml_step, dsl_component.step_minus1 + 1);
    }
    return iml_step;
}

/** Memory with room behind every line and plane: vector code reads and writes whole registers. */
class c_roomy_picture
{
public:
    c_roomy_picture(AVPixelFormat dsp_format, int32_t imp_width, int32_t imp_height)
    {
        g_avutil.av_image_fill_linesizes(ainc_linesizes, dsp_format, imp_width);
        for (int &inl_linesize : ainc_linesizes)
            inl_linesize = (inl_linesize + in_line_alignment - 1) / in_line_alignment * in_line_alignment;
        const int inl_total =
            g_avutil.av_image_fill_pointers(adsc_planes, dsp_format, imp_height, nullptr, ainc_linesizes);
        if (inl_total < 0 || inl_total > INT_MAX - in_line_alignment)
            throw_ffmpeg_exception(1911, "picture too large to convert");
        dsc_memory = std::make_unique<c_native_buffer>(inl_total + in_line_alignment, in_line_alignment);
        g_avutil.av_image_fill_pointers(adsc_planes, dsp_format, imp_height, dsc_memory->data(), ainc_linesizes);
    }

    /** Repeats every line's last pixel behind it: libswscale counts the one after an odd width into its colours. */
    void extend_lines(const AVPixFmtDescriptor &dsp_descriptor, AVPixelFormat dsp_format, int32_t imp_width,
                      int32_t imp_height) noexcept
    {
        int ainl_row_bytes[4] = {};
        g_avutil.av_image_fill_linesizes(ainl_row_bytes, dsp_format, imp_width);
        for (size_t uml_plane = 0; uml_plane < 4 && ainl_row_bytes[uml_plane] > 0; ++uml_plane) {
            const int32_t iml_step = std::min(largest_step(dsp_descriptor, uml_plane), ainl_row_bytes[uml_plane]);
            for (int32_t iml_row = 0; iml_row < rows_of(dsp_descriptor, uml_plane, imp_height); ++iml_row) {
                uint8_t *autl_row = adsc_planes[uml_plane] + ptrdiff_t{iml_row} * ainc_linesizes[uml_plane];
                for (int inl_byte = ainl_row_bytes[uml_plane]; inl_byte < ainc_linesizes[uml_plane]; ++inl_byte)
                    autl_row[inl_byte] = autl_row[inl_byte - iml_step];
            }
        }
    }

    /**
     * Clears the bits above the depth of samples of 9 to 15 bits: libswscale takes them for places in its tables without a
     * look, and memory that a damaged picture was not decoded into may hold anything.
     */
    void limit_samples(const AVPixFmtDescriptor &dsp_descriptor, int32_t imp_height) noexcept
    {
        const int inl_high_byte = (dsp_descriptor.flags & in_flag_big_endian) != 0 ? 0 : 1;
        for (size_t uml_component = 0; uml_component < dsp_descriptor.nb_components; ++uml_component) {
            const AVComponentDescriptor &dsl_component = dsp_descriptor.comp[uml_component];
            const int inl_depth = dsl_component.depth_minus1 + 1;
            if (inl_depth <= 8 || inl_depth >= 16 || dsl_component.step_minus1 != 1 || dsl_component.shift != 0)
                continue;
            const auto utl_mask = static_cast<uint8_t>((1 << (inl_depth - 8)) - 1);
            const size_t uml_plane = dsl_component.plane;
            for (int32_t iml_row = 0; iml_row < rows_of(dsp_descriptor, uml_plane, imp_height); ++iml_row) {
                uint8_t *autl_row = adsc_planes[uml_plane] + ptrdiff_t{iml_row} * ainc_linesizes[uml_plane];
                for (int inl_byte = inl_high_byte; inl_byte < ainc_linesizes[uml_plane]; inl_byte += 2)
                    autl_row[inl_byte] &= utl_mask;
            }
        }
    }

    uint8_t *const *planes() const noexcept { return adsc_planes; }
    const int *linesizes() const noexcept { return ainc_linesizes; }

private:
    uint8_t *adsc_planes[4] = {};
    int ainc_linesizes[4] = {};
    std::unique_ptr<c_native_buffer> dsc_memory;
};

} // namespace

void dsd_picture_place::check() const
{
    const AVPixFmtDescriptor *adsl_descriptor = g_avutil.av_pix_fmt_desc_get(dsc_format);
    int ainl_row_bytes[4] = {};
    if (adsl_descriptor == nullptr || imc_width < 1 || imc_width > im_largest_side || imc_height < 1 ||
        imc_height > im_largest_side || g_avutil.av_image_fill_linesizes(ainl_row_bytes, dsc_format, imc_width) < 0 ||
        ainl_row_bytes[0] <= 0)
        throw_ffmpeg_exception(1923, "no picture of format ", static_cast<int>(dsc_format), " and size ", imc_width,
                               "x", imc_height);
    const auto outside = [this](int64_t ilp_offset, int64_t ilp_end) {
        return ilp_offset < 0 || ilp_end > static_cast<int64_t>(utc_block.size());
    };
    for (size_t uml_plane = 0; uml_plane < 4 && ainl_row_bytes[uml_plane] > 0; ++uml_plane) {
        const int64_t ill_rows = rows_of(*adsl_descriptor, uml_plane, imc_height);
        const int64_t ill_end =
            aimc_offsets[uml_plane] + (ill_rows - 1) * aimc_linesizes[uml_plane] + ainl_row_bytes[uml_plane];
        if (aimc_linesizes[uml_plane] < ainl_row_bytes[uml_plane] || outside(aimc_offsets[uml_plane], ill_end))
            throw_ffmpeg_exception(1934, "plane ", uml_plane, " of a picture lies outside of its memory");
    }
    if ((adsl_descriptor->flags & (in_flag_palette | in_flag_pseudo_palette)) != 0 &&
        (aimc_offsets[1] == 0 || outside(aimc_offsets[1], int64_t{aimc_offsets[1]} + im_palette_bytes)))
        throw_ffmpeg_exception(1938, "the palette of a picture lies outside of its memory");
}

std::array<uint8_t *, 4> dsd_picture_place::planes() const noexcept
{
    std::array<uint8_t *, 4> autl_planes{};
    for (size_t uml_plane = 0; uml_plane < 4; ++uml_plane) {
        // A palette has no lines, but a place.
        if (aimc_linesizes[uml_plane] > 0 || aimc_offsets[uml_plane] > 0)
            autl_planes[uml_plane] = utc_block.data() + aimc_offsets[uml_plane];
    }
    return autl_planes;
}

void c_picture_converter::convert(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to, int inp_flags)
{
    TRACE_FUNCTION(3);
    dsp_from.check();
    dsp_to.check();
    if (g_avutil.av_image_copy == nullptr)
        throw_ffmpeg_exception(1957, "this FFmpeg cannot copy pictures");
    const auto autl_from = dsp_from.planes();
    const auto autl_to = dsp_to.planes();
    if (dsp_from.dsc_format == dsp_to.dsc_format && dsp_from.imc_width == dsp_to.imc_width &&
        dsp_from.imc_height == dsp_to.imc_height) {
        g_avutil.av_image_copy(autl_to.data(), dsp_to.aimc_linesizes.data(), autl_from.data(),
                               dsp_from.aimc_linesizes.data(), dsp_from.dsc_format, dsp_from.imc_width,
                               dsp_from.imc_height);
        return;
    }
    SwsContext *adsl_sws = dsc_sws_ctx.prepare(dsp_from.imc_width, dsp_from.imc_height, dsp_from.dsc_format,
                                               dsp_to.imc_width, dsp_to.imc_height, dsp_to.dsc_format, inp_flags);
    if (adsl_sws == nullptr)
        throw_ffmpeg_exception(1969, "libswscale does not convert from ", dsp_from.imc_width, "x", dsp_from.imc_height,
                               " of format ", static_cast<int>(dsp_from.dsc_format), " to ", dsp_to.imc_width, "x",
                               dsp_to.imc_height, " of format ", static_cast<int>(dsp_to.dsc_format));
    if (is_rgb(dsp_to.dsc_format) && !is_rgb(dsp_from.dsc_format))
        dsc_sws_ctx.set_colours(dsp_from.imc_colorspace, dsp_from.bc_full_range);
    c_roomy_picture dsl_from(dsp_from.dsc_format, dsp_from.imc_width, dsp_from.imc_height);
    const c_roomy_picture dsl_to(dsp_to.dsc_format, dsp_to.imc_width, dsp_to.imc_height);
    g_avutil.av_image_copy(dsl_from.planes(), dsl_from.linesizes(), autl_from.data(), dsp_from.aimc_linesizes.data(),
                           dsp_from.dsc_format, dsp_from.imc_width, dsp_from.imc_height);
    const AVPixFmtDescriptor &dsl_descriptor = *g_avutil.av_pix_fmt_desc_get(dsp_from.dsc_format);
    dsl_from.extend_lines(dsl_descriptor, dsp_from.dsc_format, dsp_from.imc_width, dsp_from.imc_height);
    dsl_from.limit_samples(dsl_descriptor, dsp_from.imc_height);
    g_swscale.sws_scale(adsl_sws, dsl_from.planes(), dsl_from.linesizes(), 0, dsp_from.imc_height, dsl_to.planes(),
                        dsl_to.linesizes());
    g_avutil.av_image_copy(autl_to.data(), dsp_to.aimc_linesizes.data(), dsl_to.planes(), dsl_to.linesizes(),
                           dsp_to.dsc_format, dsp_to.imc_width, dsp_to.imc_height);
}
