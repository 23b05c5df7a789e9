#include "kivjniffmpeg/ffmpeg/scaler.h"

#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

namespace
{

/** Up to this many rows, libswscale crashes when it scales them to another number of rows with cubic curves. */
constexpr int in_too_few_rows = 4;
/**
 * Up to this width, SWS_FAST_BILINEAR may divide by zero. The other filters shrink a wide picture that far in two
 * steps, and crash unless they get all its rows at once. SWS_POINT is safe.
 */
constexpr int in_too_few_columns = 4;

/** FFmpeg's numbers of the matrices of BT.2020, which FFmpeg 2.5 to 2.8 do not have, and their coefficients as newer ones. */
constexpr int in_bt2020 = 9;
constexpr int in_bt2020_constant_luminance = 10;
constexpr int ain_bt2020[] = {110013, 140363, 12277, 42626};

int safe_flags(int inp_flags, int inp_src_height, int inp_dst_width, int inp_dst_height)
{
    if ((inp_flags & SWS_FAST_BILINEAR) != 0)
        return inp_dst_width <= in_too_few_columns ? (inp_flags & ~in_sws_filters) | SWS_POINT : inp_flags;
    return inp_src_height <= in_too_few_rows && inp_dst_height != inp_src_height
               ? (inp_flags & ~in_sws_filters) | SWS_BILINEAR
               : inp_flags;
}

} // namespace

c_sws_ctx::~c_sws_ctx()
{
    TRACE_FUNCTION(3);
    reset();
}

SwsContext *c_sws_ctx::prepare(int inp_src_width, int inp_src_height, AVPixelFormat iep_src_format, int inp_dst_width,
                               int inp_dst_height, AVPixelFormat iep_dst_format, int inp_flags)
{
    TRACE_FUNCTION(3);
    if (g_avutil.av_pix_fmt_desc_get(iep_src_format) == nullptr ||
        g_avutil.av_pix_fmt_desc_get(iep_dst_format) == nullptr)
        return nullptr;
    const std::array<int, 7> ainl_asked{inp_src_width,  inp_src_height, iep_src_format, inp_dst_width,
                                        inp_dst_height, iep_dst_format, inp_flags};
    if (adsc_sws != nullptr && ainl_asked == ainc_asked)
        return adsc_sws;
    reset();
    ainc_asked = ainl_asked;
    adsc_sws = g_swscale.sws_getCachedContext(
        nullptr, inp_src_width, inp_src_height, iep_src_format, inp_dst_width, inp_dst_height, iep_dst_format,
        safe_flags(inp_flags, inp_src_height, inp_dst_width, inp_dst_height), nullptr, nullptr, nullptr);
    return adsc_sws;
}

void c_sws_ctx::set_colours(int inp_colorspace, bool bp_full_range) noexcept
{
    const std::pair dsl_colours(inp_colorspace, bp_full_range);
    if (dsc_colours == dsl_colours || g_swscale.sws_getCoefficients == nullptr ||
        g_swscale.sws_getColorspaceDetails == nullptr || g_swscale.sws_setColorspaceDetails == nullptr)
        return;
    int *ainl_table = nullptr;
    int inl_src_range = 0;
    int inl_dst_range = 0;
    int inl_brightness = 0;
    int inl_contrast = 0;
    int inl_saturation = 0;
    if (g_swscale.sws_getColorspaceDetails(adsc_sws, &ainl_table, &inl_src_range, &ainl_table, &inl_dst_range,
                                           &inl_brightness, &inl_contrast, &inl_saturation) < 0)
        return;
    const bool bl_bt2020 = inp_colorspace == in_bt2020 || inp_colorspace == in_bt2020_constant_luminance;
    const int *ainl_matrix = bl_bt2020 ? ain_bt2020 : g_swscale.sws_getCoefficients(inp_colorspace);
    g_swscale.sws_setColorspaceDetails(adsc_sws, ainl_matrix, bp_full_range ? 1 : inl_src_range, ainl_matrix,
                                       inl_dst_range, inl_brightness, inl_contrast, inl_saturation);
    dsc_colours = dsl_colours;
}

void c_sws_ctx::reset() noexcept
{
    // sws_init_context would leak the tables of a scaler that was used; a new scaler behaves the same.
    if (adsc_sws != nullptr)
        g_swscale.sws_freeContext(adsc_sws);
    adsc_sws = nullptr;
    dsc_colours.reset();
}
