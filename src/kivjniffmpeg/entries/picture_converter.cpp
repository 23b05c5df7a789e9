// The exported functions of pixel formats and picture conversion.

#include "kivjniffmpeg/pictures/picture_converter.h"
#include "jni/array_holders.h"
#include "jni/exceptions.h"
#include "jni/java_arrays.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/formats/color_model.h"
#include "kivjniffmpeg/pictures/png_data.h"
#include "kivjniffmpeg/pictures/turning.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_pictureconverter_ffmpeg.h>
#include <natives/ConverterPlace.h>
#include <natives/PixelComponent.h>
#include <natives/PixelFormatFields.h>
#include <natives/PixelFormatFlags.h>

#include <array>
#include <iterator>
#include <memory>
#include <span>
#include <utility>

using kiv::jni::c_jnienv;
namespace ConverterPlace = natives::ConverterPlace;
namespace PixelComponent = natives::PixelComponent;
namespace PixelFormatFields = natives::PixelFormatFields;

namespace
{

// Java knows FFmpeg's flags under names of its own.
static_assert(natives::PixelFormatFlags::HIGH_BYTE_FIRST == AV_PIX_FMT_FLAG_BE);
static_assert(natives::PixelFormatFlags::PALETTE == AV_PIX_FMT_FLAG_PAL);
static_assert(natives::PixelFormatFlags::RGB == AV_PIX_FMT_FLAG_RGB);
static_assert(natives::PixelFormatFlags::UNUSED_PALETTE == AV_PIX_FMT_FLAG_PSEUDOPAL);
static_assert(PixelFormatFields::COMPONENT_FIELDS + PixelComponent::COUNT * PixelComponent::SIZE ==
              PixelFormatFields::SIZE);
static_assert(PixelComponent::COUNT == std::size(AVPixFmtDescriptor{}.comp));

/** A converter that keeps the library loaded. */
struct dsd_java_converter
{
    explicit dsd_java_converter(c_ffmpeg *adsp_ffmpeg) : dsc_ffmpeg(adsp_ffmpeg) {}

    c_ffmpeg_reference dsc_ffmpeg;
    c_picture_converter dsc_converter;
};

/** What a place says, still without memory. */
dsd_picture_place read_place(const c_jnienv &dsp_env, jintArray avop_place)
{
    kiv::jni::c_jintarray dsl_values(dsp_env, avop_place, ConverterPlace::SIZE);
    dsl_values.pin();
    const auto planes_from = [&dsl_values](int32_t imp_index) -> std::array<int32_t, 4> {
        return {dsl_values[imp_index], dsl_values[imp_index + 1], dsl_values[imp_index + 2], dsl_values[imp_index + 3]};
    };
    dsd_picture_place dsl_place{static_cast<AVPixelFormat>(dsl_values[ConverterPlace::PIXEL_FORMAT]),
                                dsl_values[ConverterPlace::WIDTH],
                                dsl_values[ConverterPlace::HEIGHT],
                                planes_from(ConverterPlace::PLANE_OFFSETS),
                                planes_from(ConverterPlace::LINE_SIZES),
                                dsl_values[ConverterPlace::COLOR_SPACE],
                                dsl_values[ConverterPlace::FULL_RANGE] != 0,
                                dsl_values[ConverterPlace::COLOR_PRIMARIES],
                                dsl_values[ConverterPlace::COLOR_TRANSFER],
                                {},
                                dsl_values[ConverterPlace::PEAK]};
    return dsl_place;
}

dsd_picture_place read_place(const c_jnienv &dsp_env, jobject avop_buffer, jintArray avop_place)
{
    dsd_picture_place dsl_place = read_place(dsp_env, avop_place);
    void *avl_memory = avop_buffer == nullptr ? nullptr : dsp_env.raw()->GetDirectBufferAddress(avop_buffer);
    if (avl_memory == nullptr)
        throw_ffmpeg_exception(2911, "a picture is not in a direct buffer");
    dsl_place.utc_block = {static_cast<uint8_t *>(avl_memory),
                           static_cast<size_t>(dsp_env.raw()->GetDirectBufferCapacity(avop_buffer))};
    return dsl_place;
}

/** A row of pixels after the other, as Java's arrays have them. */
void pack_rows(dsd_picture_place &dsp_place) noexcept
{
    dsp_place.aimc_offsets = {};
    dsp_place.aimc_linesizes = {dsp_place.imc_width * int32_t{sizeof(jint)}};
}

/** The memory of pinned pixels. */
std::span<uint8_t> bytes_of(std::span<jint> aimp_pixels) noexcept
{
    return {reinterpret_cast<uint8_t *>(aimp_pixels.data()), aimp_pixels.size_bytes()};
}

/** The converter of a handle. @throws c_ffmpeg_exception with the line number for a zero one */
dsd_java_converter *converter_of(jlong ilp_hconverter, int inp_line)
{
    return from_handle<dsd_java_converter>(ilp_hconverter, "ilp_hconverter == 0", inp_line);
}

} // namespace

JNIEXPORT jintArray JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1pixel_1format(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jint imp_format)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jintArray {
        context_of(ilp_hffmpeg, 2921);
        const AVPixFmtDescriptor *adsl_descriptor =
            g_avutil.av_pix_fmt_desc_get(static_cast<AVPixelFormat>(imp_format));
        if (adsl_descriptor == nullptr)
            return nullptr;
        std::array<jint, PixelFormatFields::SIZE> aiml_values{};
        aiml_values[PixelFormatFields::COMPONENTS] = adsl_descriptor->nb_components;
        aiml_values[PixelFormatFields::CHROMA_SHIFT_X] = adsl_descriptor->log2_chroma_w;
        aiml_values[PixelFormatFields::CHROMA_SHIFT_Y] = adsl_descriptor->log2_chroma_h;
        aiml_values[PixelFormatFields::FLAGS] = adsl_descriptor->flags;
        aiml_values[PixelFormatFields::BITS_PER_PIXEL] = g_avutil.av_get_bits_per_pixel(adsl_descriptor);
        jint *aiml_fields = &aiml_values[PixelFormatFields::COMPONENT_FIELDS];
        for (const AVComponentDescriptor &dsl_component : adsl_descriptor->comp) {
            aiml_fields[PixelComponent::PLANE] = dsl_component.plane;
            aiml_fields[PixelComponent::STEP] = dsl_component.step_minus1 + 1;
            aiml_fields[PixelComponent::OFFSET] = dsl_component.offset_plus1 - 1;
            aiml_fields[PixelComponent::SHIFT] = dsl_component.shift;
            aiml_fields[PixelComponent::DEPTH] = dsl_component.depth_minus1 + 1;
            aiml_fields += PixelComponent::SIZE;
        }
        return kiv::jni::to_java(dsp_env, aiml_values);
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1pixel_1format_1name(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jint imp_format)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        context_of(ilp_hffmpeg, 2951);
        const char *strl_name = pixfmt2string(static_cast<AVPixelFormat>(imp_format));
        return strl_name == nullptr ? nullptr : dsp_env.new_jstring_utf(strl_name);
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1create_1converter(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2961);
        return to_handle(std::make_unique<dsd_java_converter>(adsl_ffmpeg).release());
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1convert(
    JNIEnv *adsp_env, jclass, jlong ilp_converter, jobject avop_from, jintArray avop_from_place, jobject avop_to,
    jintArray avop_to_place, jint imp_flags)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        auto *adsl_converter = converter_of(ilp_converter, 2971);
        adsl_converter->dsc_converter.convert(read_place(dsp_env, avop_from, avop_from_place),
                                              read_place(dsp_env, avop_to, avop_to_place), imp_flags);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1convert_1into(
    JNIEnv *adsp_env, jclass, jlong ilp_converter, jobject avop_from, jintArray avop_from_place, jintArray avop_pixels,
    jintArray avop_to_place, jint imp_flags, jint imp_degrees, jboolean bp_mirrored)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        c_picture_converter &dsl_converter = converter_of(ilp_converter, 2976)->dsc_converter;
        const dsd_picture_place dsl_from = read_place(dsp_env, avop_from, avop_from_place);
        dsd_picture_place dsl_to = read_place(dsp_env, avop_to_place);
        pack_rows(dsl_to);
        const dsd_turn dsl_turn{imp_degrees, bp_mirrored != JNI_FALSE};
        kiv::jni::c_jintarray_rw dsl_pixels(dsp_env, avop_pixels, INT32_MAX);
        if (imp_degrees == 0 && !dsl_turn.bc_mirrored) {
            dsl_pixels.pin();
            dsl_to.utc_block = bytes_of(dsl_pixels.writable_elements());
            if (dsl_converter.convert_quickly(dsl_from, dsl_to))
                return;
            dsl_pixels.release();
        }
        // FFmpeg may take its time, so the array is not pinned meanwhile.
        dsl_to.utc_block = dsl_converter.scratch(sizeof(jint) * static_cast<size_t>(dsl_pixels.size()));
        dsl_converter.convert(dsl_from, dsl_to, imp_flags);
        dsd_picture_place dsl_turned = dsl_to;
        if (dsl_turn.swaps_sides())
            std::swap(dsl_turned.imc_width, dsl_turned.imc_height);
        pack_rows(dsl_turned);
        dsl_pixels.pin();
        dsl_turned.utc_block = bytes_of(dsl_pixels.writable_elements());
        turn_picture(dsl_to, dsl_turned, dsl_turn);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1turn(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jobject avop_from, jintArray avop_from_place, jobject avop_to,
    jintArray avop_to_place, jint imp_degrees, jboolean bp_mirrored)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        context_of(ilp_hffmpeg, 2979);
        turn_picture(read_place(dsp_env, avop_from, avop_from_place), read_place(dsp_env, avop_to, avop_to_place),
                     {imp_degrees, bp_mirrored != JNI_FALSE});
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1png_1data(
    JNIEnv *adsp_env, jclass, jintArray avop_pixels, jint imp_width, jint imp_height)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        kiv::jni::c_jintarray dsl_pixels(dsp_env, avop_pixels, INT32_MAX);
        if (imp_width < 1 || imp_height < 1 || int64_t{imp_width} * imp_height > dsl_pixels.size())
            throw_ffmpeg_exception(2977, "no image has ", imp_width, "x", imp_height, " of these pixels");
        dsl_pixels.pin();
        const c_png_rows dsl_rows(dsl_pixels.elements(), imp_width, imp_height);
        dsl_pixels.release();
        return kiv::jni::to_java(dsp_env, dsl_rows.compress());
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1pictureconverter_1ffmpeg_n_1delete_1converter(
    JNIEnv *adsp_env, jclass, jlong ilp_converter)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) {
        const std::unique_ptr<dsd_java_converter> dsl_converter(converter_of(ilp_converter, 2981));
    });
}
