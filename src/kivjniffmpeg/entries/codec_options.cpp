// The exported functions of codec options.

#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/codecs/allocation_limit.h"
#include "kivjniffmpeg/codecs/audio_codec.h"
#include "kivjniffmpeg/codecs/video_codec.h"
#include "kivjniffmpeg/entries/codec_entry.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_codecoptions_ffmpeg.h>
#include <natives/FfmpegText.h>
#include <natives/c_codecoptions_ffmpeg.h>

#include <algorithm>
#include <string_view>

namespace
{

static_assert(natives::c_codecoptions_ffmpeg::LOG_ERROR == AV_LOG_ERROR);

/** What FFmpeg or the bridge says of itself; null when it says nothing. */
const char *ffmpeg_text(jint imp_text)
{
    const auto of = [](const char *(*strp_function)(void)) {
        return strp_function == nullptr ? nullptr : strp_function();
    };
    switch (imp_text) {
    case natives::FfmpegText::VERSION:
        return of(g_avutil.av_version_info);
    case natives::FfmpegText::LICENCE:
        return of(g_avutil.avutil_license);
    case natives::FfmpegText::BRIDGE:
        return of(g_avutil.kiv_bridge_description);
    case natives::FfmpegText::BRIDGE_ERROR:
        return of(g_avutil.kiv_bridge_error);
    default:
        throw_ffmpeg_exception(2552, "no such text of FFmpeg: ", imp_text);
    }
}

/** The text, valid as long as the holder; empty for null. */
std::string_view text_of(const kiv::jni::c_jstring &dsp_name)
{
    return dsp_name.characters() == nullptr ? std::string_view() : std::string_view(dsp_name.characters());
}

} // namespace

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1codecoptions_1ffmpeg_n_1vcodec_1set_1option(
    JNIEnv *adsp_env, jclass, jlong ilp_codec, jstring avop_name, jlong ilp_value)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) {
        auto *adsl_codec = codec_of<c_videocodec>(ilp_codec, 2502);
        const kiv::jni::c_jstring dsl_name(dsp_env, avop_name);
        adsl_codec->set_option(text_of(dsl_name), ilp_value);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1codecoptions_1ffmpeg_n_1acodec_1set_1option(
    JNIEnv *adsp_env, jclass, jlong ilp_codec, jstring avop_name, jlong ilp_value)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) {
        auto *adsl_codec = codec_of<c_audiocodec>(ilp_codec, 2521);
        const kiv::jni::c_jstring dsl_name(dsp_env, avop_name);
        adsl_codec->set_option(text_of(dsl_name), ilp_value);
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1codecoptions_1ffmpeg_n_1acodec_1get_1option(JNIEnv *adsp_env,
                                                                                                     jclass,
                                                                                                     jlong ilp_codec,
                                                                                                     jstring avop_name)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) -> jlong {
        const auto *adsl_codec = codec_of<c_audiocodec>(ilp_codec, 2521);
        const kiv::jni::c_jstring dsl_name(dsp_env, avop_name);
        return adsl_codec->property(text_of(dsl_name));
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1codecoptions_1ffmpeg_n_1acodec_1get_1extradata(
    JNIEnv *adsp_env, jclass, jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) -> jbyteArray {
        const auto utl_extradata = codec_of<c_audiocodec>(ilp_codec, 2521)->extradata();
        return utl_extradata.empty() ? nullptr : kiv::jni::to_java(dsp_env, utl_extradata);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1codecoptions_1ffmpeg_n_1set_1log_1level(JNIEnv *adsp_env,
                                                                                                jclass,
                                                                                                jlong ilp_hffmpeg,
                                                                                                jint imp_level)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](kiv::jni::c_jnienv &) {
        context_of(ilp_hffmpeg, 2541); // FFmpeg is loaded while there is a context
        g_avutil.av_log_set_level(imp_level);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1codecoptions_1ffmpeg_n_1set_1allocation_1limit(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jlong ilp_bytes)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](kiv::jni::c_jnienv &) {
        context_of(ilp_hffmpeg, 2542);
        allocation_limit::set(ilp_bytes);
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1codecoptions_1ffmpeg_n_1get_1ffmpeg_1text(JNIEnv *adsp_env,
                                                                                                     jclass,
                                                                                                     jlong ilp_hffmpeg,
                                                                                                     jint imp_text)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) -> jstring {
        context_of(ilp_hffmpeg, 2551); // FFmpeg is loaded while there is a context
        const char *strl_text = ffmpeg_text(imp_text);
        return strl_text == nullptr ? nullptr : dsp_env.new_jstring_utf(strl_text);
    });
}
