// The exported functions of the splitter.

#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/containers/packet_splitter.h"
#include "kivjniffmpeg/entries/codec_entry.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_splitter_ffmpeg.h>
#include <natives/PacketFlags.h>
#include <natives/SplitterFields.h>

#include <array>
#include <memory>
#include <span>

using kiv::jni::c_jnienv;
using kiv::jni::to_java;
namespace SplitterFields = natives::SplitterFields;

namespace
{

c_packet_splitter *splitter_of(jlong ilp_handle)
{
    return from_handle<c_packet_splitter>(ilp_handle, "ilp_hsplitter == 0", 2761);
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1splitter_1ffmpeg_n_1create_1splitter(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_hffmpeg,
                                                                                              jstring avop_codec)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2762);
        const kiv::jni::c_jstring dsl_codec(dsp_env, avop_codec);
        const char *strl_codec = dsl_codec.characters() == nullptr ? "" : dsl_codec.characters();
        return to_handle(std::make_unique<c_packet_splitter>(adsl_ffmpeg, strl_codec).release());
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1splitter_1ffmpeg_n_1split(
    JNIEnv *adsp_env, jclass, jlong ilp_splitter, jbyteArray avop_bytes, jint imp_offset, jint imp_length,
    jlongArray avop_fields)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        c_packet_splitter &dsl_splitter = *splitter_of(ilp_splitter);
        std::array<jlong, SplitterFields::SIZE> aill_fields{};
        if (avop_fields == nullptr || dsp_env.get_array_length(avop_fields) < SplitterFields::SIZE)
            throw_ffmpeg_exception(2763, "array of a packet is null or shorter than ", SplitterFields::SIZE);
        dsp_env.get_array_region(avop_fields, 0, SplitterFields::SIZE, aill_fields.data());
        const uint8_t *autl_bytes =
            copy_input(dsp_env, dsl_splitter.input(), avop_bytes, imp_offset, avop_bytes == nullptr ? 0 : imp_length);
        const auto dsl_piece = dsl_splitter.split(
            {autl_bytes, autl_bytes == nullptr ? size_t{0} : static_cast<size_t>(imp_length)},
            aill_fields[SplitterFields::PRESENTATION_TIME], aill_fields[SplitterFields::DECODING_TIME]);
        aill_fields[SplitterFields::USED] = static_cast<jlong>(dsl_piece.ulc_used);
        aill_fields[SplitterFields::PRESENTATION_TIME] = dsl_splitter.state().pts;
        aill_fields[SplitterFields::DECODING_TIME] = dsl_splitter.state().dts;
        aill_fields[SplitterFields::FLAGS] = dsl_splitter.is_key() ? natives::PacketFlags::KEY : 0;
        dsp_env.set_array_region(avop_fields, 0, SplitterFields::SIZE, aill_fields.data());
        return dsl_piece.utc_packet.empty() ? nullptr : to_java(dsp_env, dsl_piece.utc_packet);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1splitter_1ffmpeg_n_1splitter_1restart(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_splitter)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) { splitter_of(ilp_splitter)->restart(); });
}

JNIEXPORT jlongArray JNICALL
Java_kiv_media_ffmpeg_natives_c_1splitter_1ffmpeg_n_1splitter_1get_1stream(JNIEnv *adsp_env, jclass, jlong ilp_splitter)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlongArray {
        return to_java(dsp_env, splitter_of(ilp_splitter)->stream_info());
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1splitter_1ffmpeg_n_1splitter_1get_1codec_1name(
    JNIEnv *adsp_env, jclass, jlong ilp_splitter)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        return dsp_env.new_jstring_utf(splitter_of(ilp_splitter)->codec_name());
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1splitter_1ffmpeg_n_1splitter_1delete(JNIEnv *adsp_env, jclass,
                                                                                             jlong ilp_splitter)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        std::unique_ptr<c_packet_splitter> dsl_splitter(splitter_of(ilp_splitter));
        c_ffmpeg *adsl_ffmpeg = dsl_splitter->get_ffmpeg();
        adsl_ffmpeg->add_holder(); // the last line below reports on it
        dsl_splitter.reset();
        const int32_t iml_counter = c_ffmpeg::drop_holder(adsl_ffmpeg, dsp_env);
        TRACE_LINE(im_level_debug, "%s#%s(): counter=%d", iml_counter);
    });
}
