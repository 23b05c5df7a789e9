// The exported functions of the container writer.

#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/containers/java_channel.h"
#include "kivjniffmpeg/containers/media_writer.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_mediawriter_ffmpeg.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

using kiv::jni::c_jbytearray;
using kiv::jni::c_jnienv;

namespace
{

c_mediawriter *writer_of(jlong ilp_handle)
{
    return from_handle<c_mediawriter>(ilp_handle, "ilp_hwriter == 0", 2741);
}

std::string text_of(const c_jnienv &dsp_env, jstring avop_text)
{
    const kiv::jni::c_jstring dsl_text(dsp_env, avop_text);
    return dsl_text.characters() == nullptr ? std::string() : dsl_text.characters();
}

std::vector<uint8_t> bytes_of(const c_jnienv &dsp_env, jbyteArray avop_bytes)
{
    c_jbytearray dsl_bytes(dsp_env, avop_bytes, INT32_MAX);
    return kiv::jni::from_java(dsl_bytes, dsl_bytes.size());
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1mediawriter_1ffmpeg_n_1writer_1open(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jobject avop_sink, jboolean bp_seekable, jstring avop_format,
    jstring avop_codec, jlongArray avop_sound, jbyteArray avop_extradata)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2742);
        c_mediawriter::values aill_sound{};
        const auto iml_size = static_cast<jsize>(aill_sound.size());
        if (avop_sound == nullptr || dsp_env.get_array_length(avop_sound) < iml_size)
            throw_ffmpeg_exception(2743, "array of the sound is null or shorter than ", iml_size);
        dsp_env.get_array_region(avop_sound, 0, iml_size, aill_sound.data());
        const auto utl_extradata = bytes_of(dsp_env, avop_extradata);
        auto dsl_sink = std::make_unique<c_java_sink>(dsp_env, avop_sink);
        return to_handle(std::make_unique<c_mediawriter>(adsl_ffmpeg, std::move(dsl_sink), bp_seekable == JNI_TRUE,
                                                         text_of(dsp_env, avop_format), text_of(dsp_env, avop_codec),
                                                         aill_sound, utl_extradata)
                             .release());
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1mediawriter_1ffmpeg_n_1writer_1write(
    JNIEnv *adsp_env, jclass, jlong ilp_writer, jbyteArray avop_bytes, jlong ilp_time, jlong ilp_duration)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        auto *adsl_writer = writer_of(ilp_writer);
        c_padded_bytes dsl_padded;
        const jsize iml_size = avop_bytes == nullptr ? 0 : dsp_env.get_array_length(avop_bytes);
        const auto utl_bytes = dsl_padded.prepare(static_cast<size_t>(iml_size));
        if (iml_size > 0)
            dsp_env.get_array_region(avop_bytes, 0, iml_size, reinterpret_cast<jbyte *>(utl_bytes.data()));
        adsl_writer->write(utl_bytes, ilp_time, ilp_duration);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1mediawriter_1ffmpeg_n_1writer_1finish(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_writer,
                                                                                              jbyteArray avop_extradata)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env,
                  [&](c_jnienv &dsp_env) { writer_of(ilp_writer)->finish(bytes_of(dsp_env, avop_extradata)); });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1mediawriter_1ffmpeg_n_1writer_1delete(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_writer)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        std::unique_ptr<c_mediawriter> dsl_writer(writer_of(ilp_writer));
        c_ffmpeg *adsl_ffmpeg = dsl_writer->get_ffmpeg();
        adsl_ffmpeg->add_holder(); // the last line below reports on it
        dsl_writer.reset();
        const int32_t iml_counter = c_ffmpeg::drop_holder(adsl_ffmpeg, dsp_env);
        TRACE_LINE(im_level_debug, "%s#%s(): counter=%d", iml_counter);
    });
}
