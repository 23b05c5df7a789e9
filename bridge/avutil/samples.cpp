// Sample formats, whose numbers are the same on both sides.

#include "bridge/old/entry.h"

#include <cerrno>

using bridge::enter;

BRIDGE_ENTRY int av_get_bytes_per_sample(AVSampleFormat iep_format)
{
    return enter(0, [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_get_bytes_per_sample(iep_format); });
}

BRIDGE_ENTRY int av_sample_fmt_is_planar(AVSampleFormat iep_format)
{
    return enter(0, [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_sample_fmt_is_planar(iep_format); });
}

BRIDGE_ENTRY const char *av_get_sample_fmt_name(AVSampleFormat iep_format)
{
    return enter<const char *>(nullptr,
                               [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_get_sample_fmt_name(iep_format); });
}

BRIDGE_ENTRY int av_samples_get_buffer_size(int *ainp_linesize, int inp_channels, int inp_samples,
                                            AVSampleFormat iep_format, int inp_align)
{
    return enter(AVERROR(ENOSYS), [&](const auto &dsp_ffmpeg) {
        return dsp_ffmpeg.av_samples_get_buffer_size(ainp_linesize, inp_channels, inp_samples, iep_format, inp_align);
    });
}

BRIDGE_ENTRY void av_get_channel_layout_string(char *strp_text, int inp_size, int inp_channels, uint64_t ulp_layout)
{
    enter([&](const auto &dsp_ffmpeg) {
        bridge::real::channel_layout dsl_layout{};
        if (ulp_layout == 0 || dsp_ffmpeg.av_channel_layout_from_mask(&dsl_layout, ulp_layout) < 0)
            dsp_ffmpeg.av_channel_layout_default(&dsl_layout, inp_channels);
        dsp_ffmpeg.av_channel_layout_describe(&dsl_layout, strp_text, static_cast<size_t>(inp_size));
        dsp_ffmpeg.av_channel_layout_uninit(&dsl_layout);
    });
}
