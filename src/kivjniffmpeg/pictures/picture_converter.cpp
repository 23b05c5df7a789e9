#include "kivjniffmpeg/pictures/picture_converter.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace
{

constexpr int in_line_alignment = 64;
constexpr size_t ul_kept_scratch = 1 << 25; // larger ones are for one picture
constexpr int32_t im_wide_pixel = 6;        // bytes of three values
/** libswscale reads and writes Bayer pictures in pairs of rows, and at least this many. */
constexpr int32_t im_least_bayer_rows = 4;

/** Whether pixels are red, green and blue; those of a palette are. */
bool is_rgb(AVPixelFormat iep_format)
{
    return (g_avutil.av_pix_fmt_desc_get(iep_format)->flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_RGB)) != 0;
}

/** Whether each pixel has one colour only, and its neighbours have the others. */
bool is_bayer(const AVPixFmtDescriptor &dsp_descriptor)
{
    return std::string_view(dsp_descriptor.name).starts_with("bayer_");
}

/** Pixels and rows from one pixel to the next one of the same colours. */
int32_t pattern_of(const AVPixFmtDescriptor &dsp_descriptor)
{
    return is_bayer(dsp_descriptor) ? 2 : 1;
}

/** A picture with room behind every line and plane, because vector code reads and writes whole registers. */
class c_padded_picture
{
public:
    /** @param imp_rows that libswscale reads or writes, at least the height; more than it for one plane only */
    c_padded_picture(AVPixelFormat iep_format, int32_t imp_width, int32_t imp_height, int32_t imp_rows)
        : iec_format(iep_format),
          dsc_descriptor(*g_avutil.av_pix_fmt_desc_get(iep_format)),
          imc_width(imp_width),
          imc_height(imp_height),
          imc_rows(imp_rows)
    {
        g_avutil.av_image_fill_linesizes(ainc_linesizes, iep_format, imp_width);
        for (int &inl_linesize : ainc_linesizes)
            inl_linesize = (inl_linesize + in_line_alignment - 1) / in_line_alignment * in_line_alignment;
        const int inl_total =
            g_avutil.av_image_fill_pointers(aautc_planes, iep_format, imp_rows, nullptr, ainc_linesizes);
        if (inl_total < 0 || inl_total > INT_MAX - in_line_alignment)
            throw_ffmpeg_exception(1911, "picture too large to convert");
        dsc_memory = std::make_unique<c_native_buffer>(inl_total + in_line_alignment, in_line_alignment);
        g_avutil.av_image_fill_pointers(aautc_planes, iep_format, imp_rows, dsc_memory->data(), ainc_linesizes);
        // libswscale does not write a palette that nothing needs, but it is copied with the picture.
        if ((dsc_descriptor.flags & AV_PIX_FMT_FLAG_PSEUDOPAL) != 0)
            std::fill_n(aautc_planes[1], AVPALETTE_SIZE, uint8_t{0});
    }

    /** Takes the pixels of a picture of the same format and size, and fills what lies around them. */
    void read(const dsd_picture_place &dsp_from) noexcept
    {
        g_avutil.av_image_copy(aautc_planes, ainc_linesizes, dsp_from.planes().data(), dsp_from.aimc_linesizes.data(),
                               iec_format, imc_width, imc_height);
        extend_lines();
        extend_rows();
        limit_samples();
    }

    /** Copies the pixels to a picture of the same format and size. */
    void write(const dsd_picture_place &dsp_to) const noexcept
    {
        g_avutil.av_image_copy(dsp_to.planes().data(), dsp_to.aimc_linesizes.data(), aautc_planes, ainc_linesizes,
                               iec_format, imc_width, imc_height);
    }

    /** @param imp_rows of this picture; @p dsp_to has the rows that the scaler makes of them */
    void scale(SwsContext *adsp_sws, int32_t imp_rows, const c_padded_picture &dsp_to) const noexcept
    {
        g_swscale.sws_scale(adsp_sws, aautc_planes, ainc_linesizes, 0, imp_rows, dsp_to.aautc_planes,
                            dsp_to.ainc_linesizes);
    }

private:
    /** Repeats every line's last pixel behind it: of an odd width, libswscale mixes the next pixel into its colours. */
    void extend_lines() noexcept
    {
        int ainl_row_bytes[4] = {};
        g_avutil.av_image_fill_linesizes(ainl_row_bytes, iec_format, imc_width);
        for (size_t ull_plane = 0; ull_plane < 4 && ainl_row_bytes[ull_plane] > 0; ++ull_plane) {
            const int32_t iml_step = std::min(largest_step(dsc_descriptor, ull_plane) * pattern_of(dsc_descriptor),
                                              ainl_row_bytes[ull_plane]);
            for (int32_t iml_row = 0; iml_row < rows_of(dsc_descriptor, ull_plane, imc_height); ++iml_row) {
                uint8_t *autl_row = row(ull_plane, iml_row);
                for (int inl_byte = ainl_row_bytes[ull_plane]; inl_byte < ainc_linesizes[ull_plane]; ++inl_byte)
                    autl_row[inl_byte] = autl_row[inl_byte - iml_step];
            }
        }
    }

    /** Repeats the last rows below the picture. */
    void extend_rows() noexcept
    {
        for (int32_t iml_row = imc_height; iml_row < imc_rows; ++iml_row)
            std::copy_n(row(0, iml_row - std::min(pattern_of(dsc_descriptor), iml_row)), ainc_linesizes[0],
                        row(0, iml_row));
    }

    /**
     * Clears the bits above the depth of samples of 9 to 15 bits. libswscale uses samples as indices of its tables
     * unchecked, and where a damaged picture was not decoded the memory may hold anything.
     */
    void limit_samples() noexcept
    {
        const int inl_high_byte = (dsc_descriptor.flags & AV_PIX_FMT_FLAG_BE) != 0 ? 0 : 1;
        for (size_t ull_component = 0; ull_component < dsc_descriptor.nb_components; ++ull_component) {
            const AVComponentDescriptor &dsl_component = dsc_descriptor.comp[ull_component];
            const int inl_depth = dsl_component.depth_minus1 + 1;
            if (inl_depth <= 8 || inl_depth >= 16 || dsl_component.step_minus1 != 1 || dsl_component.shift != 0)
                continue;
            const auto utl_mask = static_cast<uint8_t>((1 << (inl_depth - 8)) - 1);
            const size_t ull_plane = dsl_component.plane;
            for (int32_t iml_row = 0; iml_row < rows_of(dsc_descriptor, ull_plane, imc_height); ++iml_row) {
                uint8_t *autl_row = row(ull_plane, iml_row);
                for (int inl_byte = inl_high_byte; inl_byte < ainc_linesizes[ull_plane]; inl_byte += 2)
                    autl_row[inl_byte] &= utl_mask;
            }
        }
    }

    uint8_t *row(size_t ulp_plane, int32_t imp_row) const noexcept
    {
        return aautc_planes[ulp_plane] + ptrdiff_t{imp_row} * ainc_linesizes[ulp_plane];
    }

    AVPixelFormat iec_format;
    const AVPixFmtDescriptor &dsc_descriptor;
    int32_t imc_width;
    int32_t imc_height;
    int32_t imc_rows;
    uint8_t *aautc_planes[4] = {};
    int ainc_linesizes[4] = {};
    std::unique_ptr<c_native_buffer> dsc_memory;
};

} // namespace

/** @return null when the colours stay as they are */
const c_screen_colours *c_picture_converter::find_screen_colours(const dsd_picture_place &dsp_from,
                                                                 const dsd_picture_place &dsp_to)
{
    if (dsp_to.iec_format != AV_PIX_FMT_BGRA ||
        !c_screen_colours::are_needed(dsp_from.imc_primaries, dsp_from.imc_transfer))
        return nullptr;
    // libswscale shifts 8 bits up and makes RGB of YUV like that, but repeats the bits of deeper RGB.
    const AVPixFmtDescriptor &dsl_descriptor = *g_avutil.av_pix_fmt_desc_get(dsp_from.iec_format);
    const bool bl_deep = is_rgb(dsp_from.iec_format) && dsl_descriptor.comp[0].depth_minus1 >= 8;
    const c_screen_colours::dsd_source dsl_source{dsp_from.imc_primaries, dsp_from.imc_transfer, dsp_from.imc_peak,
                                                  bl_deep ? 0xFFFF : 0xFF00};
    if (!dsc_screen_colours.has_value() || dsc_screen_colours->source() != dsl_source)
        dsc_screen_colours.emplace(dsl_source);
    return &*dsc_screen_colours;
}

void c_picture_converter::convert(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to, int inp_flags)
{
    TRACE_FUNCTION(3);
    dsp_from.check();
    dsp_to.check();
    if (g_avutil.av_image_copy == nullptr)
        throw_ffmpeg_exception(1957, "this FFmpeg cannot copy pictures");
    if (const c_screen_colours *adsl_colours = find_screen_colours(dsp_from, dsp_to); adsl_colours != nullptr) {
        convert_for_screen(dsp_from, dsp_to, *adsl_colours, inp_flags);
        return;
    }
    if (dsp_from.iec_format == dsp_to.iec_format && dsp_from.imc_width == dsp_to.imc_width &&
        dsp_from.imc_height == dsp_to.imc_height) {
        g_avutil.av_image_copy(dsp_to.planes().data(), dsp_to.aimc_linesizes.data(), dsp_from.planes().data(),
                               dsp_from.aimc_linesizes.data(), dsp_from.iec_format, dsp_from.imc_width,
                               dsp_from.imc_height);
        return;
    }
    if (dsc_fast.convert(dsp_from, dsp_to))
        return;
    const int32_t iml_width = dsp_from.imc_width;
    const int32_t iml_height = dsp_from.imc_height;
    const bool bl_bayer = is_bayer(*g_avutil.av_pix_fmt_desc_get(dsp_from.iec_format));
    const auto prepare = [&](c_sws_ctx &dsp_sws, int32_t imp_height, AVPixelFormat iep_from, int32_t imp_to_width,
                             int32_t imp_to_height, AVPixelFormat iep_to) {
        if (SwsContext *adsl_sws =
                dsp_sws.prepare(iml_width, imp_height, iep_from, imp_to_width, imp_to_height, iep_to, inp_flags);
            adsl_sws != nullptr)
            return adsl_sws;
        throw_ffmpeg_exception(1969, "libswscale does not convert from ", iml_width, "x", iml_height, " of format ",
                               static_cast<int>(dsp_from.iec_format), " to ", dsp_to.imc_width, "x", dsp_to.imc_height,
                               " of format ", static_cast<int>(dsp_to.iec_format));
    };
    SwsContext *adsl_sws = prepare(dsc_sws_ctx, iml_height, bl_bayer ? AV_PIX_FMT_RGB24 : dsp_from.iec_format,
                                   dsp_to.imc_width, dsp_to.imc_height, dsp_to.iec_format);
    if (is_rgb(dsp_to.iec_format) && !is_rgb(dsp_from.iec_format))
        dsc_sws_ctx.set_colours(dsp_from.imc_colorspace, dsp_from.bc_full_range);
    const int32_t iml_rows = bl_bayer ? std::max(iml_height + iml_height % 2, im_least_bayer_rows) : iml_height;
    c_padded_picture dsl_from(dsp_from.iec_format, iml_width, iml_height, iml_rows);
    dsl_from.read(dsp_from);
    std::optional<c_padded_picture> dsl_rgb;
    if (bl_bayer) {
        // libswscale itself would take this step with as many rows as there are, and ends the process for some targets.
        dsl_rgb.emplace(AV_PIX_FMT_RGB24, iml_width, iml_height, iml_rows);
        dsl_from.scale(prepare(dsc_bayer_ctx, iml_rows, dsp_from.iec_format, iml_width, iml_rows, AV_PIX_FMT_RGB24),
                       iml_rows, *dsl_rgb);
    }
    const c_padded_picture dsl_to(dsp_to.iec_format, dsp_to.imc_width, dsp_to.imc_height, dsp_to.imc_height);
    (bl_bayer ? *dsl_rgb : dsl_from).scale(adsl_sws, iml_height, dsl_to);
    dsl_to.write(dsp_to);
}

bool c_picture_converter::convert_quickly(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to)
{
    dsp_from.check();
    dsp_to.check();
    return find_screen_colours(dsp_from, dsp_to) == nullptr && dsc_fast.convert(dsp_from, dsp_to);
}

std::span<uint8_t> c_picture_converter::scratch(size_t ulp_size)
{
    if (utc_scratch.size() < ulp_size || utc_scratch.size() > ul_kept_scratch)
        utc_scratch = std::vector<uint8_t>(ulp_size);
    return {utc_scratch.data(), ulp_size};
}

void c_picture_converter::convert_for_screen(const dsd_picture_place &dsp_from, const dsd_picture_place &dsp_to,
                                             const c_screen_colours &dsp_colours, int inp_flags)
{
    // The same pixels in 16 bits, and for their opacity in 8 bits.
    dsd_picture_place dsl_wide = dsp_to;
    const int32_t iml_line = dsp_to.imc_width * im_wide_pixel;
    std::vector<uint8_t> utl_wide(static_cast<size_t>(iml_line) * static_cast<size_t>(dsp_to.imc_height));
    dsl_wide.iec_format = AV_PIX_FMT_RGB48LE;
    dsl_wide.aimc_offsets = {};
    dsl_wide.aimc_linesizes = {iml_line};
    dsl_wide.utc_block = utl_wide;
    dsd_picture_place dsl_from = dsp_from;
    dsl_from.imc_primaries = 0;
    dsl_from.imc_transfer = 0;
    const bool bl_opacity =
        (g_avutil.av_pix_fmt_desc_get(dsp_from.iec_format)->flags & (AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL)) != 0;
    if (bl_opacity)
        convert(dsl_from, dsp_to, inp_flags);
    convert(dsl_from, dsl_wide, inp_flags);
    for (int32_t iml_row = 0; iml_row < dsp_to.imc_height; ++iml_row)
        dsp_colours.convert({utl_wide.data() + ptrdiff_t{iml_row} * iml_line, static_cast<size_t>(iml_line)},
                            dsp_to.planes()[0] + ptrdiff_t{iml_row} * dsp_to.aimc_linesizes[0], bl_opacity);
}
