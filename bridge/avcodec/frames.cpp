// Frames and pictures, by the names that libavcodec has for them.

#include "bridge/old/frames.h"

#include "bridge/old/entry.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

using bridge::enter;
using bridge::real::dsd_ffmpeg;

BRIDGE_ENTRY AVFrame *avcodec_alloc_frame(void)
{
    return enter<AVFrame *>(nullptr, [](const dsd_ffmpeg &dsp_ffmpeg) {
        auto *adsl_frame = static_cast<AVFrame *>(dsp_ffmpeg.av_malloc(sizeof(AVFrame)));
        if (adsl_frame != nullptr)
            bridge::old::set_frame_defaults(*adsl_frame);
        return adsl_frame;
    });
}

BRIDGE_ENTRY void avcodec_get_frame_defaults(AVFrame *adsp_frame)
{
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) {
        if (adsp_frame->extended_data != nullptr)
            bridge::old::free_planes_array(dsp_ffmpeg, *adsp_frame);
        bridge::old::set_frame_defaults(*adsp_frame);
    });
}

BRIDGE_ENTRY int avcodec_fill_audio_frame(AVFrame *adsp_frame, int inp_channels, AVSampleFormat iep_format,
                                          const uint8_t *autp_samples, int inp_size, int inp_align)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const int inl_needed =
            dsp_ffmpeg.av_samples_get_buffer_size(nullptr, inp_channels, adsp_frame->nb_samples, iep_format, inp_align);
        if (inl_needed < 0 || inp_size < inl_needed)
            return AVERROR(EINVAL);
        adsp_frame->extended_data = adsp_frame->data;
        const int inl_planes = bridge::old::sound_planes(dsp_ffmpeg, iep_format, inp_channels);
        if (inl_planes > AV_NUM_DATA_POINTERS) {
            adsp_frame->extended_data =
                static_cast<uint8_t **>(dsp_ffmpeg.av_mallocz(sizeof(uint8_t *) * static_cast<size_t>(inl_planes)));
            if (adsp_frame->extended_data == nullptr)
                return AVERROR(ENOMEM);
        }
        const int inl_result =
            dsp_ffmpeg.av_samples_fill_arrays(adsp_frame->extended_data, &adsp_frame->linesize[0], autp_samples,
                                              inp_channels, adsp_frame->nb_samples, iep_format, inp_align);
        if (inl_result < 0)
            bridge::old::free_planes_array(dsp_ffmpeg, *adsp_frame);
        else if (adsp_frame->extended_data != adsp_frame->data)
            std::copy_n(adsp_frame->extended_data, AV_NUM_DATA_POINTERS, adsp_frame->data);
        return inl_result;
    });
}

BRIDGE_ENTRY int avpicture_get_size(AVPixelFormat iep_format, int inp_width, int inp_height)
{
    return enter(AVERROR(ENOSYS), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.av_image_get_buffer_size(dsp_ffmpeg.dsc_numbers.dsc_format_map.to_real(iep_format), inp_width,
                                                   inp_height, 1);
    });
}

BRIDGE_ENTRY unsigned int avcodec_pix_fmt_to_codec_tag(AVPixelFormat iep_format)
{
    return enter(0U, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.avcodec_pix_fmt_to_codec_tag(dsp_ffmpeg.dsc_numbers.dsc_format_map.to_real(iep_format));
    });
}

BRIDGE_ENTRY void avcodec_get_chroma_sub_sample(AVPixelFormat iep_format, int *ainp_width, int *ainp_height)
{
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) {
        if (const auto *adsl_format = dsp_ffmpeg.dsc_numbers.find_format(iep_format); adsl_format != nullptr) {
            *ainp_width = adsl_format->log2_chroma_w;
            *ainp_height = adsl_format->log2_chroma_h;
        }
    });
}
