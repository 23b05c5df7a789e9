// Frames in the 56 line's layout.

#include "bridge/old/frames.h"

#include "bridge/old/entry.h"

#include <cerrno>
#include <memory>
#include <new>

using bridge::enter;
using bridge::real::dsd_ffmpeg;

BRIDGE_ENTRY AVFrame *av_frame_alloc(void)
{
    return enter<AVFrame *>(nullptr, [](const dsd_ffmpeg &dsp_ffmpeg) {
        auto *adsl_frame = static_cast<AVFrame *>(dsp_ffmpeg.av_malloc(sizeof(AVFrame)));
        if (adsl_frame != nullptr)
            bridge::old::set_frame_defaults(*adsl_frame);
        return adsl_frame;
    });
}

BRIDGE_ENTRY void av_frame_unref(AVFrame *adsp_frame)
{
    if (adsp_frame != nullptr)
        enter([&](const dsd_ffmpeg &dsp_ffmpeg) { bridge::old::unref_frame(dsp_ffmpeg, *adsp_frame); });
}

BRIDGE_ENTRY void av_frame_free(AVFrame **aadsp_frame)
{
    if (aadsp_frame == nullptr || *aadsp_frame == nullptr)
        return;
    av_frame_unref(*aadsp_frame);
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) { dsp_ffmpeg.av_freep(aadsp_frame); });
}

BRIDGE_ENTRY void av_frame_set_channels(AVFrame *adsp_frame, int inp_channels)
{
    adsp_frame->channels = inp_channels;
}

BRIDGE_ENTRY int av_frame_get_buffer(AVFrame *adsp_frame, int inp_align)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto &dsl_layout = dsp_ffmpeg.adsc_layout->frame;
        const auto release = [&](bridge::real::frame *adsp_real) { dsp_ffmpeg.av_frame_free(&adsp_real); };
        const std::unique_ptr<bridge::real::frame, decltype(release)> dsl_real(dsp_ffmpeg.av_frame_alloc(), release);
        if (dsl_real == nullptr)
            throw std::bad_alloc();
        const bool bl_picture = adsp_frame->width > 0 && adsp_frame->height > 0;
        dsl_layout.width.of(dsl_real.get()) = adsp_frame->width;
        dsl_layout.height.of(dsl_real.get()) = adsp_frame->height;
        dsl_layout.nb_samples.of(dsl_real.get()) = bl_picture ? 0 : adsp_frame->nb_samples;
        dsl_layout.format.of(dsl_real.get()) =
            bl_picture ? dsp_ffmpeg.dsc_numbers.dsc_format_map.to_real(adsp_frame->format) : adsp_frame->format;
        bridge::real::channel_layout &dsl_channels = dsl_layout.ch_layout.of(dsl_real.get());
        if (adsp_frame->channel_layout != 0)
            dsp_ffmpeg.av_channel_layout_from_mask(&dsl_channels, adsp_frame->channel_layout);
        else
            dsl_channels = {bridge::real::in_order_unspecified, adsp_frame->channels, 0, nullptr};
        if (const int inl_result = dsp_ffmpeg.av_frame_get_buffer(dsl_real.get(), inp_align); inl_result < 0)
            return inl_result;
        const auto iel_samples = static_cast<AVSampleFormat>(adsp_frame->format);
        bridge::old::copy_planes(
            dsp_ffmpeg, dsl_real.get(), *adsp_frame,
            bl_picture ? 0 : bridge::old::sound_planes(dsp_ffmpeg, iel_samples, dsl_channels.nb_channels));
        bridge::old::move_buffers(dsp_ffmpeg, dsl_real.get(), *adsp_frame);
        return 0;
    });
}
