// The exported functions of the resampler.

#include "jni/java_arrays.h"
#include "kivjniffmpeg/codecs/pcm_resampler.h"
#include "kivjniffmpeg/entries/codec_entry.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_resampler_ffmpeg.h>

#include <memory>
#include <span>

using kiv::jni::c_jnienv;

namespace
{

c_pcm_resampler *resampler_of(jlong ilp_handle)
{
    return from_handle<c_pcm_resampler>(ilp_handle, "ilp_hresampler == 0", 2751);
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1resampler_1ffmpeg_n_1create_1resampler(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jint imp_samples, jint imp_channels, jint imp_from, jint imp_to)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2752);
        return to_handle(c_pcm_resampler::create(adsl_ffmpeg, imp_samples, imp_channels, imp_from, imp_to).release());
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1resampler_1ffmpeg_n_1resample(
    JNIEnv *adsp_env, jclass, jlong ilp_resampler, jbyteArray avop_pcm, jint imp_offset, jint imp_length)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        auto *adsl_resampler = resampler_of(ilp_resampler);
        const uint8_t *autl_pcm = copy_input(dsp_env, adsl_resampler->input(), avop_pcm, imp_offset, imp_length);
        if (autl_pcm == nullptr && avop_pcm != nullptr)
            throw_ffmpeg_exception(2754, "no samples to resample: length=", imp_length);
        const auto dsl_converted =
            adsl_resampler->convert({autl_pcm, autl_pcm == nullptr ? size_t{0} : static_cast<size_t>(imp_length)});
        return kiv::jni::to_java(
            dsp_env, std::span<const uint8_t>(dsl_converted->data(), static_cast<size_t>(dsl_converted->data_size())));
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1resampler_1ffmpeg_n_1resampler_1delete(JNIEnv *adsp_env, jclass,
                                                                                               jlong ilp_resampler)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        std::unique_ptr<c_pcm_resampler> dsl_resampler(resampler_of(ilp_resampler));
        c_ffmpeg *adsl_ffmpeg = dsl_resampler->get_ffmpeg();
        adsl_ffmpeg->add_holder(); // the last line below reports on it
        dsl_resampler.reset();
        const int32_t iml_counter = c_ffmpeg::drop_holder(adsl_ffmpeg, dsp_env);
        TRACE_LINE(im_level_debug, "%s#%s(): counter=%d", iml_counter);
    });
}
