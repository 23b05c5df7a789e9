// The exported functions of pixel formats and picture conversion.

#include "kivjniffmpeg/pictures/picture_converter.h"
#include "jni/array_holders.h"
#include "jni/exceptions.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/formats/color_model.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_pictureconverter_ffmpeg.h>

#include <array>
#include <memory>

using kiv::jni::c_jnienv;

namespace
{

constexpr int32_t im_place_length = 13;

/** A converter that keeps the library loaded. */
struct dsd_java_converter
{
    explicit dsd_java_converter(c_ffmpeg *adsp_ffmpeg) : dsc_ffmpeg(adsp_ffmpeg) {}

    c_ffmpeg_reference dsc_ffmpeg;
    c_picture_converter dsc_converter;
};

dsd_picture_place read_place(const c_jnienv &dsp_env, jobject avop_buffer, jintArray avop_place)
{
    kiv::jni::c_jintarray dsl_values(dsp_env, avop_place, im_place_length);
    dsl_values.pin();
    dsd_picture_place dsl_place{static_cast<AVPixelFormat>(dsl_values[0]),
                                dsl_values[1],
                                dsl_values[2],
                                {dsl_values[3], dsl_values[4], dsl_values[5], dsl_values[6]},
                                {dsl_values[7], dsl_values[8], dsl_values[9], dsl_values[10]},
                                dsl_values[11],
                                dsl_values[12] != 0,
                                {}};
    dsl_values.release();
    void *avl_memory = avop_buffer == nullptr ? nullptr : dsp_env.raw()->GetDirectBufferAddress(avop_buffer);
    if (avl_memory == nullptr)
        throw_ffmpeg_exception(2911, "a picture is not in a direct buffer");
    dsl_place.utc_block = {static_cast<uint8_t *>(avl_memory),
                           static_cast<size_t>(dsp_env.raw()->GetDirectBufferCapacity(avop_buffer))};
    return dsl_place;
}

} // namespace

JNIEXPORT jintArray JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1pixel_1format(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jint imp_format)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jintArray {
        from_handle<c_ffmpeg>(ilp_hffmpeg, "ilp_hffmpeg == 0", 2921);
        const AVPixFmtDescriptor *adsl_descriptor =
            g_avutil.av_pix_fmt_desc_get(static_cast<AVPixelFormat>(imp_format));
        if (adsl_descriptor == nullptr)
            return nullptr;
        std::array<jint, 26> aiml_values{adsl_descriptor->nb_components, adsl_descriptor->log2_chroma_w,
                                         adsl_descriptor->log2_chroma_h, adsl_descriptor->flags,
                                         g_avutil.av_get_bits_per_pixel(adsl_descriptor)};
        size_t uml_at = 6;
        for (const AVComponentDescriptor &dsl_component : adsl_descriptor->comp) {
            aiml_values[uml_at++] = dsl_component.plane;
            aiml_values[uml_at++] = dsl_component.step_minus1 + 1;
            aiml_values[uml_at++] = dsl_component.offset_plus1 - 1;
            aiml_values[uml_at++] = dsl_component.shift;
            aiml_values[uml_at++] = dsl_component.depth_minus1 + 1;
        }
        const auto iml_length = static_cast<jsize>(aiml_values.size());
        const jintArray avol_array = dsp_env.new_jint_array(iml_length);
        dsp_env.set_array_region(avol_array, 0, iml_length, aiml_values.data());
        return avol_array;
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1pixel_1format_1name(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jint imp_format)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        from_handle<c_ffmpeg>(ilp_hffmpeg, "ilp_hffmpeg == 0", 2951);
        const char *strl_name = pixfmt2string(static_cast<AVPixelFormat>(imp_format));
        return strl_name == nullptr ? nullptr : dsp_env.new_jstring_utf(strl_name);
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1create_1converter(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &) -> jlong {
        auto *adsl_ffmpeg = from_handle<c_ffmpeg>(ilp_hffmpeg, "ilp_hffmpeg == 0", 2961);
        return to_handle(std::make_unique<dsd_java_converter>(adsl_ffmpeg).release());
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1convert(
    JNIEnv *adsp_env, jclass, jlong ilp_converter, jobject avop_from, jintArray avop_from_place, jobject avop_to,
    jintArray avop_to_place, jint imp_flags)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        auto *adsl_converter = from_handle<dsd_java_converter>(ilp_converter, "ilp_hconverter == 0", 2971);
        adsl_converter->dsc_converter.convert(read_place(dsp_env, avop_from, avop_from_place),
                                              read_place(dsp_env, avop_to, avop_to_place), imp_flags);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1delete_1converter(
    JNIEnv *adsp_env, jclass, jlong ilp_converter)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) {
        const std::unique_ptr<dsd_java_converter> dsl_converter(
            from_handle<dsd_java_converter>(ilp_converter, "ilp_hconverter == 0", 2981));
    });
}
