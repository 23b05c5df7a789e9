#include "kivjniffmpeg/codecs/picture_maker.h"

#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

dsd_decoded_picture c_picture_maker::convert(c_avframe &dsp_decoded, AVPixelFormat iep_format, int32_t imp_width,
                                             int32_t imp_height)
{
    TRACE_FUNCTION(3);
    const AVFrame &dsl_from = *dsp_decoded.frame();
    SwsContext *adsl_sws = dsc_sws_ctx.prepare(dsl_from.width, dsl_from.height, dsp_decoded.pixel_format(), imp_width,
                                               imp_height, iep_format);
    if (adsl_sws == nullptr)
        return {};
    return make(dsl_from, iep_format, imp_width, imp_height, [&](AVFrame &dsp_to) {
        // kept on purpose: the slice has as many lines as the output, if the source has them. For RGB and palettes
        // libswscale crashes when the slice is much lower than the source.
        constexpr int inl_colours = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_RGB;
        const bool bl_whole = (g_avutil.av_pix_fmt_desc_get(dsp_decoded.pixel_format())->flags & inl_colours) != 0;
        const int inl_lines = bl_whole ? dsl_from.height : std::min(imp_height, dsl_from.height);
        g_swscale.sws_scale(adsl_sws, dsl_from.data, dsl_from.linesize, 0, inl_lines, dsp_to.data, dsp_to.linesize);
    });
}

dsd_decoded_picture c_picture_maker::duplicate(c_avframe &dsp_decoded)
{
    TRACE_FUNCTION(3);
    if (g_avutil.av_image_copy == nullptr)
        return {};
    const AVFrame &dsl_from = *dsp_decoded.frame();
    const AVPixelFormat iel_format = dsp_decoded.pixel_format();
    return make(dsl_from, iel_format, dsl_from.width, dsl_from.height, [&](AVFrame &dsp_to) {
        g_avutil.av_image_copy(dsp_to.data, dsp_to.linesize, dsl_from.data, dsl_from.linesize, iel_format,
                               dsl_from.width, dsl_from.height);
    });
}

/** A picture in memory of its own, which @p dsp_fill fills. */
template <class FILL>
dsd_decoded_picture c_picture_maker::make(const AVFrame &dsp_from, AVPixelFormat iep_format, int32_t imp_width,
                                          int32_t imp_height, FILL dsp_fill)
{
    auto dsl_picture = std::make_unique<c_avframe>();
    AVFrame &dsl_to = *dsl_picture->frame();
    dsl_to.format = iep_format;
    dsl_to.width = imp_width;
    dsl_to.height = imp_height;
    if (!dsc_codec_ctx.get_buffer(*dsl_picture))
        return {};
    dsp_fill(dsl_to);
    // The callback clears the line sizes when it releases the frame's own reference; the queue's keeps the memory.
    const auto ainl_linesizes = std::to_array(dsl_to.linesize);
    c_framebuffer_reference dsl_buffer = ffmpeg_get_framebuffer(*dsl_picture);
    dsc_codec_ctx.release_buffer(*dsl_picture);
    std::ranges::copy(ainl_linesizes, dsl_to.linesize);
    dsl_to.pkt_pts = dsp_from.pkt_pts;
    dsl_to.key_frame = dsp_from.key_frame;
    dsl_to.pict_type = dsp_from.pict_type;
    dsl_to.interlaced_frame = dsp_from.interlaced_frame;
    dsl_to.top_field_first = dsp_from.top_field_first;
    dsl_to.sample_aspect_ratio = dsp_from.sample_aspect_ratio;
    dsl_to.color_range = dsp_from.color_range;
    dsl_to.colorspace = dsp_from.colorspace;
    dsl_to.color_primaries = dsp_from.color_primaries;
    dsl_to.color_trc = dsp_from.color_trc;
    return {std::move(dsl_picture), std::move(dsl_buffer)};
}
