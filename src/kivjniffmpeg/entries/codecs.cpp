// The exported functions of the list of codecs.

#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_codecs_ffmpeg.h>
#include <natives/CodecFields.h>

#include <array>

using kiv::jni::c_jnienv;
namespace CodecFields = natives::CodecFields;

namespace
{

AVCodecID codec_of_name(const c_jnienv &dsp_env, jstring avop_name)
{
    const kiv::jni::c_jstring dsl_name(dsp_env, avop_name);
    return dsl_name.characters() == nullptr ? AV_CODEC_ID_NONE : admitted_codecs::find(dsl_name.characters());
}

} // namespace

JNIEXPORT jobjectArray JNICALL Java_kiv_media_ffmpeg_natives_c_1codecs_1ffmpeg_n_1codec_1names(JNIEnv *adsp_env, jclass,
                                                                                               jlong ilp_hffmpeg)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jobjectArray {
        context_of(ilp_hffmpeg, 2721);
        return kiv::jni::to_java(dsp_env, admitted_codecs::names());
    });
}

JNIEXPORT jintArray JNICALL Java_kiv_media_ffmpeg_natives_c_1codecs_1ffmpeg_n_1codec(JNIEnv *adsp_env, jclass,
                                                                                     jlong ilp_hffmpeg,
                                                                                     jstring avop_name)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jintArray {
        context_of(ilp_hffmpeg, 2722);
        const AVCodecID iel_codec = codec_of_name(dsp_env, avop_name);
        const AVCodec *adsl_decoder = g_avcodec.avcodec_find_decoder(iel_codec);
        const AVCodec *adsl_encoder = g_avcodec.avcodec_find_encoder(iel_codec);
        if (iel_codec == AV_CODEC_ID_NONE || (adsl_decoder == nullptr && adsl_encoder == nullptr))
            return nullptr;
        std::array<jint, CodecFields::SIZE> aiml_values{};
        aiml_values[CodecFields::CODEC_ID] = iel_codec;
        aiml_values[CodecFields::MEDIA_TYPE] = (adsl_decoder != nullptr ? adsl_decoder : adsl_encoder)->type;
        aiml_values[CodecFields::DECODER] = adsl_decoder != nullptr ? 1 : 0;
        aiml_values[CodecFields::ENCODER] = adsl_encoder != nullptr ? 1 : 0;
        return kiv::jni::to_java(dsp_env, aiml_values);
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1codecs_1ffmpeg_n_1codec_1title(JNIEnv *adsp_env, jclass,
                                                                                          jlong ilp_hffmpeg,
                                                                                          jstring avop_name)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        context_of(ilp_hffmpeg, 2723);
        const AVCodec *adsl_decoder = g_avcodec.avcodec_find_decoder(codec_of_name(dsp_env, avop_name));
        const bool bl_title = adsl_decoder != nullptr && adsl_decoder->long_name != nullptr;
        return bl_title ? dsp_env.new_jstring_utf(adsl_decoder->long_name) : nullptr;
    });
}
