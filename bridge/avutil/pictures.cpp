// Pixel formats, and how pictures lie in memory.

#include "bridge/old/entry.h"
#include "bridge/real/number_tables.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <span>

using bridge::enter;
using bridge::real::dsd_ffmpeg;
using bridge::real::dsd_pixel_format;

namespace
{

int real_format(const dsd_ffmpeg &dsp_ffmpeg, AVPixelFormat iep_format)
{
    return dsp_ffmpeg.dsc_numbers.dsc_format_map.to_real(iep_format);
}

const dsd_pixel_format *find_format(AVPixelFormat iep_format)
{
    const auto dsl_formats = bridge::real::pixel_formats();
    const auto ull_index = static_cast<size_t>(iep_format);
    return ull_index < dsl_formats.size() && dsl_formats[ull_index].name != nullptr ? &dsl_formats[ull_index] : nullptr;
}

/**
 * The palette behind the pixels, on a border of its 32-bit words. The newer FFmpeg has given up the border, and the
 * palettes that nothing needs.
 */
int add_palette(const dsd_pixel_format &dsp_format, int inp_size, uint8_t **aautp_planes, uint8_t *autp_picture)
{
    if ((dsp_format.flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_PSEUDOPAL)) == 0)
        return inp_size;
    const int inl_pixels = (dsp_format.flags & AV_PIX_FMT_FLAG_PAL) != 0 ? inp_size - AVPALETTE_SIZE : inp_size;
    if (inl_pixels > INT_MAX - AVPALETTE_SIZE - 3)
        return AVERROR(EINVAL);
    const int inl_start = (inl_pixels + 3) & ~3;
    aautp_planes[1] = autp_picture + inl_start;
    return inl_start + AVPALETTE_SIZE;
}

} // namespace

BRIDGE_ENTRY const AVPixFmtDescriptor *av_pix_fmt_desc_get(AVPixelFormat iep_format)
{
    return reinterpret_cast<const AVPixFmtDescriptor *>(find_format(iep_format));
}

BRIDGE_ENTRY const char *av_get_pix_fmt_name(AVPixelFormat iep_format)
{
    const dsd_pixel_format *adsl_format = find_format(iep_format);
    return adsl_format == nullptr ? nullptr : adsl_format->name;
}

BRIDGE_ENTRY AVPixelFormat av_get_pix_fmt(const char *strp_name)
{
    return enter(AV_PIX_FMT_NONE, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.dsc_numbers.old_format(dsp_ffmpeg.av_get_pix_fmt(strp_name));
    });
}

BRIDGE_ENTRY int av_get_bits_per_pixel(const AVPixFmtDescriptor *adsp_descriptor)
{
    const int inl_chroma_shift = adsp_descriptor->log2_chroma_w + adsp_descriptor->log2_chroma_h;
    int inl_bits = 0;
    for (int inl_component = 0; inl_component < adsp_descriptor->nb_components; ++inl_component) {
        // Luma and alpha have all pixels, chroma only some.
        const int inl_shift = inl_component == 1 || inl_component == 2 ? 0 : inl_chroma_shift;
        inl_bits += (adsp_descriptor->comp[inl_component].depth_minus1 + 1) << inl_shift;
    }
    return inl_bits >> inl_chroma_shift;
}

BRIDGE_ENTRY int av_image_fill_linesizes(int *ainp_linesizes, AVPixelFormat iep_format, int inp_width)
{
    return enter(AVERROR(ENOSYS), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const int inl_result =
            dsp_ffmpeg.av_image_fill_linesizes(ainp_linesizes, real_format(dsp_ffmpeg, iep_format), inp_width);
        return inl_result;
    });
}

BRIDGE_ENTRY int av_image_fill_pointers(uint8_t **aautp_planes, AVPixelFormat iep_format, int inp_height,
                                        uint8_t *autp_picture, const int *ainp_linesizes)
{
    return enter(AVERROR(ENOSYS), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        // Without a picture the 56 line computes offsets, and the newer FFmpeg nothing: it gets an address of something else.
        static uint8_t utl_something;
        uint8_t *autl_picture = autp_picture != nullptr ? autp_picture : &utl_something;
        const dsd_pixel_format *adsl_format = find_format(iep_format);
        int inl_size = dsp_ffmpeg.av_image_fill_pointers(aautp_planes, real_format(dsp_ffmpeg, iep_format), inp_height,
                                                         autl_picture, ainp_linesizes);
        if (inl_size >= 0 && adsl_format != nullptr)
            inl_size = add_palette(*adsl_format, inl_size, aautp_planes, autl_picture);
        for (uint8_t *&autl_plane : std::span(aautp_planes, 4))
            if (autp_picture == nullptr && autl_plane != nullptr)
                autl_plane = std::bit_cast<uint8_t *>(autl_plane - autl_picture);
        return inl_size;
    });
}

BRIDGE_ENTRY void av_image_copy(uint8_t **aautp_to, const int *ainp_to_linesizes, const uint8_t **aautp_from,
                                const int *ainp_from_linesizes, AVPixelFormat iep_format, int inp_width, int inp_height)
{
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) {
        dsp_ffmpeg.av_image_copy(aautp_to, ainp_to_linesizes, aautp_from, ainp_from_linesizes,
                                 real_format(dsp_ffmpeg, iep_format), inp_width, inp_height);
        const dsd_pixel_format *adsl_format = find_format(iep_format);
        if (adsl_format != nullptr && (adsl_format->flags & AV_PIX_FMT_FLAG_PSEUDOPAL) != 0 && aautp_to[1] != nullptr &&
            aautp_from[1] != nullptr)
            std::copy_n(aautp_from[1], AVPALETTE_SIZE, aautp_to[1]);
    });
}
