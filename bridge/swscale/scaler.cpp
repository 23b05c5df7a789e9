// libswscale.so.3: the caller's SwsContext is the loaded FFmpeg's own.

#include "bridge/old/entry.h"
#include "bridge/old/options.h"

#include <algorithm>
#include <cerrno>

using bridge::enter;
using bridge::real::dsd_ffmpeg;

namespace
{

bridge::real::scaler *real_scaler(SwsContext *adsp_scaler)
{
    return reinterpret_cast<bridge::real::scaler *>(adsp_scaler);
}

} // namespace

BRIDGE_ENTRY SwsContext *sws_getCachedContext(SwsContext *adsp_scaler, int inp_src_width, int inp_src_height,
                                              AVPixelFormat iep_src_format, int inp_dst_width, int inp_dst_height,
                                              AVPixelFormat iep_dst_format, int inp_flags, SwsFilter *adsp_src_filter,
                                              SwsFilter *adsp_dst_filter, const double *aflp_parameters)
{
    return enter<SwsContext *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto &dsl_formats = dsp_ffmpeg.dsc_numbers.dsc_format_map;
        const int inl_src = dsl_formats.to_real(iep_src_format);
        const int inl_dst = dsl_formats.to_real(iep_dst_format);
        // For a format that does not exist FFmpeg ends the process.
        if (inl_src == AV_PIX_FMT_NONE || inl_dst == AV_PIX_FMT_NONE) {
            dsp_ffmpeg.sws_freeContext(real_scaler(adsp_scaler));
            return static_cast<SwsContext *>(nullptr);
        }
        return reinterpret_cast<SwsContext *>(dsp_ffmpeg.sws_getCachedContext(
            real_scaler(adsp_scaler), inp_src_width, inp_src_height, inl_src, inp_dst_width, inp_dst_height, inl_dst,
            inp_flags, adsp_src_filter, adsp_dst_filter, aflp_parameters));
    });
}

BRIDGE_ENTRY void sws_freeContext(SwsContext *adsp_scaler)
{
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) { dsp_ffmpeg.sws_freeContext(real_scaler(adsp_scaler)); });
}

BRIDGE_ENTRY int sws_init_context(SwsContext *adsp_scaler, SwsFilter *, SwsFilter *)
{
    // Callers get contexts from sws_getCachedContext only, which has initialised them. The newer FFmpeg refuses to do it
    // again, and the older one leaks.
    return adsp_scaler == nullptr ? AVERROR(EINVAL) : 0;
}

BRIDGE_ENTRY int sws_scale(SwsContext *adsp_scaler, const uint8_t *const *aautp_src, const int *ainp_src_linesizes,
                           int inp_slice_y, int inp_slice_height, uint8_t *const *aautp_dst,
                           const int *ainp_dst_linesizes)
{
    return enter(0, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto scale = [&](int inp_height) {
            return dsp_ffmpeg.sws_scale(real_scaler(adsp_scaler), aautp_src, ainp_src_linesizes, inp_slice_y,
                                        inp_height, aautp_dst, ainp_dst_linesizes);
        };
        const int inl_lines = scale(inp_slice_height);
        // The newer FFmpeg refuses a part of a picture that ends within a line of chroma. The older one converts it, so
        // the picture goes on for another line.
        if (inl_lines == AVERROR(EINVAL) && inp_slice_height % 2 != 0)
            return std::max(scale(inp_slice_height + 1), 0);
        return std::max(inl_lines, 0);
    });
}

BRIDGE_ENTRY const int *sws_getCoefficients(int inp_colorspace)
{
    return enter<const int *>(
        nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) { return dsp_ffmpeg.sws_getCoefficients(inp_colorspace); });
}

BRIDGE_ENTRY int sws_getColorspaceDetails(SwsContext *adsp_scaler, int **aainp_src_table, int *ainp_src_range,
                                          int **aainp_dst_table, int *ainp_dst_range, int *ainp_brightness,
                                          int *ainp_contrast, int *ainp_saturation)
{
    return enter(-1, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.sws_getColorspaceDetails(real_scaler(adsp_scaler), aainp_src_table, ainp_src_range,
                                                   aainp_dst_table, ainp_dst_range, ainp_brightness, ainp_contrast,
                                                   ainp_saturation);
    });
}

BRIDGE_ENTRY int sws_setColorspaceDetails(SwsContext *adsp_scaler, const int *ainp_src_table, int inp_src_range,
                                          const int *ainp_dst_table, int inp_dst_range, int inp_brightness,
                                          int inp_contrast, int inp_saturation)
{
    return enter(-1, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.sws_setColorspaceDetails(real_scaler(adsp_scaler), ainp_src_table, inp_src_range,
                                                   ainp_dst_table, inp_dst_range, inp_brightness, inp_contrast,
                                                   inp_saturation);
    });
}

BRIDGE_ENTRY const AVClass *sws_get_class(void)
{
    using bridge::old::constant_of;
    static constexpr bridge::old::dsd_option dsl_options[] = {
        constant_of("fast_bilinear", SWS_FAST_BILINEAR),
        constant_of("bilinear", SWS_BILINEAR),
        constant_of("bicubic", 0x4),
        constant_of("experimental", 0x8),
        constant_of("neighbor", SWS_POINT),
        constant_of("area", 0x20),
        constant_of("bicublin", 0x40),
        constant_of("gauss", 0x80),
        constant_of("sinc", 0x100),
        constant_of("lanczos", 0x200),
        constant_of("spline", SWS_SPLINE),
        {},
    };
    static const AVClass dsl_class{"SWScaler", {}, bridge::old::table_of(dsl_options), {}};
    return &dsl_class;
}
