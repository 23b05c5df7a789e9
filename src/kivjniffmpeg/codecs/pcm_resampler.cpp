#include "kivjniffmpeg/codecs/pcm_resampler.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "trace/trace.h"

#include <climits>
#include <utility>

namespace
{

/** As many as libswresample has room for. */
constexpr int32_t im_most_channels = 32;

} // namespace

c_pcm_resampler::c_pcm_resampler(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_from, const c_aformat &dsp_to)
    : dsc_ffmpeg(adsp_ffmpeg), dsc_from(std::move(dsp_from))
{
    TRACE_FUNCTION(3);
    if (dsc_from->channels() < 1 || dsc_from->channels() > im_most_channels)
        throw_ffmpeg_exception(1751, "no conversion of ", dsc_from->channels(), " channels");
    dsc_swr.set_src_format(*dsc_from);
    dsc_swr.set_dst_format(dsp_to);
    dsc_swr.init();
}

std::unique_ptr<c_pcm_resampler> c_pcm_resampler::create(c_ffmpeg *adsp_ffmpeg, int32_t imp_samples,
                                                         int32_t imp_channels, int32_t imp_from, int32_t imp_to)
{
    if (imp_samples != AV_SAMPLE_FMT_S16 && imp_samples != AV_SAMPLE_FMT_S32 && imp_samples != AV_SAMPLE_FMT_FLT)
        throw_ffmpeg_exception(2753, "no such samples to resample: ", imp_samples);
    const auto iel_samples = static_cast<AVSampleFormat>(imp_samples);
    return std::make_unique<c_pcm_resampler>(adsp_ffmpeg, c_aformat::of_samples(iel_samples, imp_channels, imp_from),
                                             *c_aformat::of_samples(iel_samples, imp_channels, imp_to));
}

c_framebuffer_reference c_pcm_resampler::convert(std::span<const uint8_t> utp_pcm)
{
    TRACE_FUNCTION(3);
    const auto ull_frame_size =
        static_cast<size_t>(dsc_from->channels()) * static_cast<size_t>(dsc_from->bits_per_sample() / 8);
    const size_t ull_samples = utp_pcm.size() / ull_frame_size;
    if (utp_pcm.size() % ull_frame_size != 0 || ull_samples > INT_MAX)
        throw_ffmpeg_exception(1752, utp_pcm.size(), " bytes are no whole samples");
    const auto iml_samples = static_cast<int32_t>(ull_samples);
    const int64_t ill_size = int64_t{dsc_swr.most_out(iml_samples)} * static_cast<int64_t>(ull_frame_size);
    if (ill_size > INT_MAX)
        throw_ffmpeg_exception(1753, iml_samples, " samples are too many for one conversion");
    auto dsl_converted = c_native_buffer::make(static_cast<int32_t>(ill_size), 0);
    if (utp_pcm.empty()) {
        dsc_swr.flush(*dsl_converted.get());
        return dsl_converted;
    }
    c_avframe dsl_frame;
    dsl_frame->nb_samples = iml_samples;
    dsl_frame.set_samples(dsc_from->channels(), dsc_from->sample_format(), utp_pcm.data(),
                          static_cast<int>(utp_pcm.size()), 1);
    dsc_swr.convert(dsl_frame, *dsl_converted.get());
    return dsl_converted;
}
