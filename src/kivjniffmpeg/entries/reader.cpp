// The exported functions of the container reader.

#include "kivjniffmpeg/containers/media_reader.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_mediareader_ffmpeg.h>

#include <memory>
#include <span>

using kiv::jni::c_jnienv;

namespace
{

constexpr jsize im_packet_fields = 6;

c_mediareader *reader_of(jlong ilp_handle)
{
    return from_handle<c_mediareader>(ilp_handle, "ilp_hreader == 0", 2701);
}

jlongArray to_java(const c_jnienv &dsp_env, std::span<const int64_t> ailp_values)
{
    const auto iml_length = static_cast<jsize>(ailp_values.size());
    const jlongArray avol_array = dsp_env.new_jlong_array(iml_length);
    dsp_env.set_array_region(avol_array, 0, iml_length, ailp_values.data());
    return avol_array;
}

jbyteArray to_java(const c_jnienv &dsp_env, std::span<const uint8_t> autp_bytes)
{
    const auto iml_length = static_cast<jsize>(autp_bytes.size());
    const jbyteArray avol_array = dsp_env.new_jbyte_array(iml_length);
    if (iml_length > 0)
        dsp_env.set_array_region(avol_array, 0, iml_length, reinterpret_cast<const jbyte *>(autp_bytes.data()));
    return avol_array;
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1open(JNIEnv *adsp_env, jclass,
                                                                                             jlong ilp_hffmpeg,
                                                                                             jobject avop_source)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = from_handle<c_ffmpeg>(ilp_hffmpeg, "ilp_hffmpeg == 0", 2702);
        return to_handle(std::make_unique<c_mediareader>(adsl_ffmpeg, dsp_env, avop_source).release());
    });
}

JNIEXPORT jlongArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1info(JNIEnv *adsp_env,
                                                                                                       jclass,
                                                                                                       jlong ilp_reader)
{
    TRACE_FUNCTION(1);
    return enter_library(
        adsp_env, [&](c_jnienv &dsp_env) -> jlongArray { return to_java(dsp_env, reader_of(ilp_reader)->info()); });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1format_1name(
    JNIEnv *adsp_env, jclass, jlong ilp_reader)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        return dsp_env.new_jstring_utf(reader_of(ilp_reader)->format_name());
    });
}

JNIEXPORT jlongArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1stream(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlongArray {
        return to_java(dsp_env, reader_of(ilp_reader)->stream_info(imp_index));
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1codec_1name(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        return dsp_env.new_jstring_utf(reader_of(ilp_reader)->codec_name(imp_index));
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1extradata(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        return to_java(dsp_env, reader_of(ilp_reader)->extradata(imp_index));
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1read(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jlongArray avop_packet)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        c_mediareader &dsl_reader = *reader_of(ilp_reader);
        // Before anything is read: a packet that cannot be described would be lost.
        if (avop_packet == nullptr || dsp_env.get_array_length(avop_packet) < im_packet_fields)
            throw_ffmpeg_exception(2703, "packet array is null or shorter than ", im_packet_fields);
        c_avpacket dsl_packet;
        if (!dsl_reader.read(dsp_env, dsl_packet))
            return nullptr;
        const AVPacket &dsl_fields = *dsl_packet.packet();
        const jlong ailr_fields[im_packet_fields] = {dsl_fields.stream_index, dsl_fields.pts,   dsl_fields.dts,
                                                     dsl_fields.duration,     dsl_fields.flags, dsl_fields.pos};
        dsp_env.set_array_region(avop_packet, 0, im_packet_fields, ailr_fields);
        return to_java(dsp_env, std::span<const uint8_t>(dsl_packet.data(), static_cast<size_t>(dsl_packet.size())));
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1seek(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_stream, jlong ilp_time, jint imp_flags)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env,
                  [&](c_jnienv &dsp_env) { reader_of(ilp_reader)->seek(dsp_env, imp_stream, ilp_time, imp_flags); });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1delete(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_reader)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        std::unique_ptr<c_mediareader> dsl_reader(reader_of(ilp_reader));
        c_ffmpeg *adsl_ffmpeg = dsl_reader->get_ffmpeg();
        adsl_ffmpeg->add_holder(); // so that the last line below has a context to tell of
        dsl_reader.reset();
        const int32_t iml_counter = c_ffmpeg::drop_holder(adsl_ffmpeg, dsp_env);
        TRACE_LINE(im_level_debug, "%s#%s(): counter=%d", iml_counter);
    });
}
