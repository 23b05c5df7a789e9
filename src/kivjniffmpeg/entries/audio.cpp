// The exported functions of audio codecs.

#include "jni/array_holders.h"
#include "jni/exceptions.h"
#include "kivjniffmpeg/codecs/audio_call.h"
#include "kivjniffmpeg/entries/codec_entry.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_c_multimediaapi_ffmpeg.h>
#include <kiv_media_ffmpeg_natives_c_codecs_ffmpeg.h>
#include <natives/AudioFormatLayout.h>
#include <natives/AudioParams.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

using kiv::jni::c_jbytearray;
using kiv::jni::c_jintarray;
using kiv::jni::c_jnienv;
namespace AudioParams = natives::AudioParams;

namespace
{

std::unique_ptr<c_aformat> read_format(const c_jnienv &dsp_env, jintArray avop_format, jbyteArray avop_header)
{
    if (avop_format == nullptr)
        throw_ffmpeg_exception(2821, "audio format == NULL");
    c_jintarray dsl_format(dsp_env, avop_format, natives::AudioFormatLayout::SIZE);
    c_jbytearray dsl_header(dsp_env, avop_header, INT32_MAX);
    return c_aformat::create_from_java_array(dsl_format, dsl_header);
}

/** Java's handle of an open codec; 0 for none. */
jlong handle_of(const c_jnienv &dsp_env, std::unique_ptr<c_audiocodec> dsp_codec)
{
    if (dsp_codec == nullptr)
        return 0;
    if (dsp_env.exception_pending()) // the receiver of trace lines threw: Java would not get the handle
        throw kiv::jni::c_jniexception("print_info");
    return to_handle(dsp_codec.release());
}

/** Java's params array, read once and written once. Elements that it does not have are 0 and are not written. */
class c_audio_params
{
public:
    c_audio_params(const c_jnienv &dsp_env, jintArray avop_params, const c_audiocodec &dsp_codec)
        : dsc_env(dsp_env),
          avoc_params(avop_params),
          imc_count(avop_params == nullptr ? 0
                                           : std::min<jsize>(dsp_env.get_array_length(avop_params),
                                                             dsp_codec.is_continuous() ? AudioParams::SIZE_WITH_SKIPPED
                                                                                       : AudioParams::SIZE))
    {
        if (imc_count > 0)
            dsc_env.get_array_region(avoc_params, 0, imc_count, aimc_values.data());
    }

    audio_call::values &values() noexcept { return aimc_values; }

    void write() const
    {
        if (imc_count > 0)
            dsc_env.set_array_region(avoc_params, 0, imc_count, aimc_values.data());
    }

private:
    const c_jnienv &dsc_env;
    jintArray avoc_params;
    jsize imc_count;
    audio_call::values aimc_values{};
};

/** Java's arrays of input and output. */
class c_java_caller final : public audio_call::ca_caller
{
public:
    c_java_caller(const c_jnienv &dsp_env, jbyteArray avop_in, jbyteArray avop_out, const c_audio_params &dsp_params)
        : dsc_env(dsp_env), avoc_in(avop_in), avoc_out(avop_out), dsc_params(dsp_params)
    {
    }

    uint8_t *input(c_padded_bytes &dsp_memory, int32_t imp_offset, int32_t imp_length) override
    {
        return copy_input(dsc_env, dsp_memory, avoc_in, imp_offset, imp_length);
    }

    void is_taken() override
    {
        if (avoc_out == nullptr)
            dsc_params.write(); // copying into no array throws, and Java then sees what of its input was consumed
    }

    bool put(const ca_ffmpeg_buffer &dsp_buffer, int64_t ilp_offset) override
    {
        if (avoc_out == nullptr)
            return dsp_buffer.copy_to(nullptr, 0);
        const int64_t ill_length = dsc_env.get_array_length(avoc_out);
        if (ilp_offset < 0 || ilp_offset > ill_length || dsp_buffer.data_size() > ill_length - ilp_offset)
            return false;
        if (dsp_buffer.data_size() > 0)
            dsc_env.set_array_region(avoc_out, static_cast<jsize>(ilp_offset), dsp_buffer.data_size(),
                                     reinterpret_cast<const jbyte *>(dsp_buffer.data() + dsp_buffer.data_offset()));
        return true;
    }

private:
    const c_jnienv &dsc_env;
    jbyteArray avoc_in;
    jbyteArray avoc_out;
    const c_audio_params &dsc_params;
};

jbyteArray export_format(JNIEnv *adsp_env, jlong ilp_codec,
                         const c_aformat &(c_audiocodec::*adsp_getter)() const noexcept)
{
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        return (codec_of<c_audiocodec>(ilp_codec)->*adsp_getter)().export_to_java_array(dsp_env);
    });
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1create_1acodec_1to_1pcm(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jintArray avop_format, jbyteArray avop_header)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2831);
        auto dsl_src = read_format(dsp_env, avop_format, avop_header);
        TRACE_LINE(im_level_debug, "%s#%s(): src_format: %s", dsl_src->to_string().c_str());
        return handle_of(dsp_env, audio_call::open_to_pcm(adsl_ffmpeg, std::move(dsl_src)));
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1codecs_1ffmpeg_n_1create_1acodec(JNIEnv *adsp_env, jclass,
                                                                                          jlong ilp_hffmpeg,
                                                                                          jlongArray avop_stream,
                                                                                          jbyteArray avop_extradata)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2712);
        auto dsl_src = c_aformat::of_stream(read_coded_stream(dsp_env, avop_stream, avop_extradata));
        TRACE_LINE(im_level_debug, "%s#%s(): src_format: %s", dsl_src->to_string().c_str());
        return handle_of(dsp_env, audio_call::open_to_pcm(adsl_ffmpeg, std::move(dsl_src)));
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1create_1acodec_1from_1pcm(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jintArray avop_format, jbyteArray avop_header)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2843);
        auto dsl_dst = read_format(dsp_env, avop_format, avop_header);
        TRACE_LINE(im_level_debug, "%s#%s(): dst_format: %s", dsl_dst->to_string().c_str());
        return handle_of(dsp_env, audio_call::open_from_pcm(adsl_ffmpeg, std::move(dsl_dst)));
    });
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1open(JNIEnv *adsp_env, jclass,
                                                                                          jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_audiocodec>(adsp_env, ilp_codec, &c_codec::open);
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1close(JNIEnv *adsp_env, jclass,
                                                                                           jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_audiocodec>(adsp_env, ilp_codec, &c_codec::close);
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1reset(JNIEnv *adsp_env, jclass,
                                                                                           jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_audiocodec>(adsp_env, ilp_codec, &c_codec::reset);
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1get_1name(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return name_of<c_audiocodec>(adsp_env, ilp_codec);
}

JNIEXPORT jint JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1process(
    JNIEnv *adsp_env, jclass, jlong ilp_codec, jbyteArray avop_in, jbyteArray avop_out, jintArray avop_params)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jint {
        c_audiocodec &dsl_codec = *codec_of<c_audiocodec>(ilp_codec);
        c_audio_params dsl_params(dsp_env, avop_params, dsl_codec);
        c_java_caller dsl_caller(dsp_env, avop_in, avop_out, dsl_params);
        const jint iml_result = audio_call::process(dsl_codec, dsl_params.values(), dsl_caller, dsl_trace);
        dsl_params.write();
        return iml_result;
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1delete(JNIEnv *adsp_env, jclass,
                                                                                        jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    delete_codec<c_audiocodec>(adsp_env, ilp_codec, dsl_trace, true);
}

JNIEXPORT jbyteArray JNICALL
Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1get_1acodec_1src_1format(JNIEnv *adsp_env, jclass, jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return export_format(adsp_env, ilp_codec, &c_audiocodec::get_src_format);
}

JNIEXPORT jbyteArray JNICALL
Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1get_1acodec_1dst_1format(JNIEnv *adsp_env, jclass, jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return export_format(adsp_env, ilp_codec, &c_audiocodec::get_dst_format);
}
