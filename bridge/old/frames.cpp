#include "bridge/old/frames.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

namespace bridge::old
{

void set_frame_defaults(AVFrame &dsp_frame) noexcept
{
    std::memset(static_cast<void *>(&dsp_frame), 0, sizeof dsp_frame);
    dsp_frame.pts = AV_NOPTS_VALUE;
    dsp_frame.pkt_pts = AV_NOPTS_VALUE;
    dsp_frame.pkt_dts = AV_NOPTS_VALUE;
    frame::best_effort_timestamp.of(&dsp_frame) = AV_NOPTS_VALUE;
    frame::pkt_pos.of(&dsp_frame) = -1;
    frame::pkt_size.of(&dsp_frame) = -1;
    dsp_frame.key_frame = 1;
    dsp_frame.sample_aspect_ratio = {0, 1};
    dsp_frame.format = -1;
    dsp_frame.extended_data = dsp_frame.data;
    frame::color_primaries.of(&dsp_frame) = in_unspecified_colour;
    frame::color_trc.of(&dsp_frame) = in_unspecified_colour;
    dsp_frame.colorspace = in_unspecified_colour;
}

void free_planes_array(const real::dsd_ffmpeg &dsp_ffmpeg, AVFrame &dsp_frame) noexcept
{
    if (dsp_frame.extended_data != dsp_frame.data)
        dsp_ffmpeg.av_freep(&dsp_frame.extended_data);
    dsp_frame.extended_data = dsp_frame.data;
}

void unref_frame(const real::dsd_ffmpeg &dsp_ffmpeg, AVFrame &dsp_frame) noexcept
{
    for (AVBufferRef *&adsl_buffer : dsp_frame.buf)
        if (adsl_buffer != nullptr)
            dsp_ffmpeg.av_buffer_unref(&adsl_buffer);
    for (int inl_buffer = 0; inl_buffer < dsp_frame.nb_extended_buf; ++inl_buffer)
        dsp_ffmpeg.av_buffer_unref(&dsp_frame.extended_buf[inl_buffer]);
    dsp_ffmpeg.av_freep(&dsp_frame.extended_buf);
    free_planes_array(dsp_ffmpeg, dsp_frame);
    set_frame_defaults(dsp_frame);
}

void copy_planes(const real::dsd_ffmpeg &dsp_ffmpeg, const real::frame *adsp_from, AVFrame &dsp_to, int inp_planes)
{
    const auto &dsl_layout = dsp_ffmpeg.adsc_layout->frame;
    std::ranges::copy(dsl_layout.data.of(adsp_from), dsp_to.data);
    std::ranges::copy(dsl_layout.linesize.of(adsp_from), dsp_to.linesize);
    dsp_to.extended_data = dsp_to.data;
    if (inp_planes <= AV_NUM_DATA_POINTERS)
        return;
    const size_t ull_bytes = sizeof(uint8_t *) * static_cast<size_t>(inp_planes);
    auto **aautl_planes = static_cast<uint8_t **>(dsp_ffmpeg.av_malloc(ull_bytes));
    if (aautl_planes == nullptr)
        throw std::bad_alloc();
    std::memcpy(aautl_planes, dsl_layout.extended_data.of(adsp_from), ull_bytes);
    dsp_to.extended_data = aautl_planes;
}

void move_buffers(const real::dsd_ffmpeg &dsp_ffmpeg, real::frame *adsp_from, AVFrame &dsp_to) noexcept
{
    const auto &dsl_layout = dsp_ffmpeg.adsc_layout->frame;
    for (size_t ull_buffer = 0; ull_buffer < std::size(dsp_to.buf); ++ull_buffer)
        dsp_to.buf[ull_buffer] = std::exchange(dsl_layout.buf.of(adsp_from)[ull_buffer], nullptr);
    dsp_to.extended_buf = std::exchange(dsl_layout.extended_buf.of(adsp_from), nullptr);
    dsp_to.nb_extended_buf = std::exchange(dsl_layout.nb_extended_buf.of(adsp_from), 0);
}

int sound_planes(const real::dsd_ffmpeg &dsp_ffmpeg, AVSampleFormat iep_format, int inp_channels) noexcept
{
    return dsp_ffmpeg.av_sample_fmt_is_planar(iep_format) != 0 ? inp_channels : 1;
}

namespace
{

/** A mark of the frame, in the field that older majors have or in the flags of the newer ones. */
int mark_of(const real::dsd_frame_layout &dsp_layout, const real::dsd_field<real::frame, int> &dsp_field, int inp_flag,
            const real::frame *adsp_frame)
{
    if (dsp_field.exists())
        return dsp_field.of(adsp_frame);
    return (dsp_layout.flags.of(adsp_frame) & inp_flag) != 0 ? 1 : 0;
}

} // namespace

void copy_description(const real::dsd_ffmpeg &dsp_ffmpeg, const real::frame *adsp_from, AVFrame &dsp_to,
                      AVMediaType iep_type) noexcept
{
    const auto &dsl_layout = dsp_ffmpeg.adsc_layout->frame;
    dsp_to.nb_samples = dsl_layout.nb_samples.of(adsp_from);
    dsp_to.format = iep_type == AVMEDIA_TYPE_VIDEO ? dsp_ffmpeg.dsc_numbers.old_format(dsl_layout.format.of(adsp_from))
                                                   : dsl_layout.format.of(adsp_from);
    dsp_to.key_frame = mark_of(dsl_layout, dsl_layout.key_frame, real::in_frame_flag_key, adsp_from);
    dsp_to.pkt_pts = dsl_layout.pts.of(adsp_from);
    dsp_to.pkt_dts = dsl_layout.pkt_dts.of(adsp_from);
    frame::best_effort_timestamp.of(&dsp_to) = dsl_layout.best_effort_timestamp.of(adsp_from);
    dsp_to.sample_rate = dsl_layout.sample_rate.of(adsp_from);
    const real::channel_layout &dsl_channels = dsl_layout.ch_layout.of(adsp_from);
    dsp_to.channels = dsl_channels.nb_channels;
    dsp_to.channel_layout = dsl_channels.order == real::in_order_native ? dsl_channels.mask : 0;
    if (iep_type == AVMEDIA_TYPE_AUDIO)
        return; // packets of sound are small: this is noticed
    dsp_to.width = dsl_layout.width.of(adsp_from);
    dsp_to.height = dsl_layout.height.of(adsp_from);
    dsp_to.pict_type = dsl_layout.pict_type.of(adsp_from);
    dsp_to.sample_aspect_ratio = dsl_layout.sample_aspect_ratio.of(adsp_from);
    frame::quality.of(&dsp_to) = dsl_layout.quality.of(adsp_from);
    frame::repeat_pict.of(&dsp_to) = dsl_layout.repeat_pict.of(adsp_from);
    dsp_to.interlaced_frame =
        mark_of(dsl_layout, dsl_layout.interlaced_frame, real::in_frame_flag_interlaced, adsp_from);
    dsp_to.top_field_first =
        mark_of(dsl_layout, dsl_layout.top_field_first, real::in_frame_flag_top_field_first, adsp_from);
    if (dsl_layout.palette_has_changed.exists())
        frame::palette_has_changed.of(&dsp_to) = dsl_layout.palette_has_changed.of(adsp_from);
    dsp_to.color_range = dsl_layout.color_range.of(adsp_from);
    frame::color_primaries.of(&dsp_to) = dsl_layout.color_primaries.of(adsp_from);
    frame::color_trc.of(&dsp_to) = dsl_layout.color_trc.of(adsp_from);
    dsp_to.colorspace = dsl_layout.colorspace.of(adsp_from);
    frame::chroma_location.of(&dsp_to) = dsl_layout.chroma_location.of(adsp_from);
}

} // namespace bridge::old
