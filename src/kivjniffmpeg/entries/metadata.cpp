// The exported functions for what a container says of itself.

#include "jni/java_arrays.h"
#include "kivjniffmpeg/containers/media_metadata.h"
#include "kivjniffmpeg/containers/media_reader.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_metadata_ffmpeg.h>
#include <natives/FieldOrders.h>

using kiv::jni::c_jnienv;
using kiv::jni::to_java;

namespace
{

// Java knows FFmpeg's numbers under names of its own.
static_assert(natives::FieldOrders::PROGRESSIVE == AV_FIELD_PROGRESSIVE);
static_assert(natives::FieldOrders::TOP_TOP == AV_FIELD_TT);
static_assert(natives::FieldOrders::BOTTOM_BOTTOM == AV_FIELD_BB);
static_assert(natives::FieldOrders::TOP_BOTTOM == AV_FIELD_TB);
static_assert(natives::FieldOrders::BOTTOM_TOP == AV_FIELD_BT);

const c_mediareader &reader_of(jlong ilp_handle)
{
    return *from_handle<const c_mediareader>(ilp_handle, "ilp_hreader == 0", 2709);
}

} // namespace

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1metadata_1ffmpeg_n_1metadata_1tags(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_kind, jint imp_first)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        return to_java(dsp_env, std::span<const uint8_t>(
                                    media_metadata::tags(reader_of(ilp_reader).container(), imp_kind, imp_first)));
    });
}

JNIEXPORT jlongArray JNICALL Java_kiv_media_ffmpeg_natives_c_1metadata_1ffmpeg_n_1metadata_1chapters(JNIEnv *adsp_env,
                                                                                                     jclass,
                                                                                                     jlong ilp_reader)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlongArray {
        return to_java(dsp_env, media_metadata::chapters(reader_of(ilp_reader).container()));
    });
}

JNIEXPORT jlongArray JNICALL Java_kiv_media_ffmpeg_natives_c_1metadata_1ffmpeg_n_1metadata_1programs(JNIEnv *adsp_env,
                                                                                                     jclass,
                                                                                                     jlong ilp_reader)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlongArray {
        return to_java(dsp_env, media_metadata::programs(reader_of(ilp_reader).container()));
    });
}

JNIEXPORT jobjectArray JNICALL Java_kiv_media_ffmpeg_natives_c_1metadata_1ffmpeg_n_1metadata_1names(JNIEnv *adsp_env,
                                                                                                    jclass,
                                                                                                    jlong ilp_reader,
                                                                                                    jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jobjectArray {
        return to_java(dsp_env, media_metadata::names(reader_of(ilp_reader).stream_at(imp_index)));
    });
}

JNIEXPORT jlongArray JNICALL Java_kiv_media_ffmpeg_natives_c_1metadata_1ffmpeg_n_1metadata_1light(JNIEnv *adsp_env,
                                                                                                  jclass,
                                                                                                  jlong ilp_reader,
                                                                                                  jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlongArray {
        const auto dsl_light = media_metadata::light(reader_of(ilp_reader).stream_at(imp_index));
        return dsl_light ? to_java(dsp_env, *dsl_light) : nullptr;
    });
}

JNIEXPORT jlongArray JNICALL Java_kiv_media_ffmpeg_natives_c_1metadata_1ffmpeg_n_1metadata_1side_1data(JNIEnv *adsp_env,
                                                                                                       jclass,
                                                                                                       jlong ilp_reader,
                                                                                                       jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlongArray {
        const auto dsl_data = media_metadata::side_data(reader_of(ilp_reader).stream_at(imp_index));
        return dsl_data ? to_java(dsp_env, *dsl_data) : nullptr;
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1metadata_1ffmpeg_n_1metadata_1picture(JNIEnv *adsp_env,
                                                                                                    jclass,
                                                                                                    jlong ilp_reader,
                                                                                                    jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        const auto utl_picture = media_metadata::picture(reader_of(ilp_reader).stream_at(imp_index));
        return utl_picture.empty() ? nullptr : to_java(dsp_env, utl_picture);
    });
}
