// The exported functions of encoders that are chosen by FFmpeg's codec.

#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/codecs/encoder_call.h"
#include "kivjniffmpeg/entries/codec_entry.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_encoders_ffmpeg.h>
#include <natives/PacketFields.h>

#include <memory>
#include <span>
#include <utility>

using kiv::jni::c_jnienv;
namespace PacketFields = natives::PacketFields;

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1encoders_1ffmpeg_n_1create_1aencoder(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jstring avop_codec, jint imp_samples, jint imp_channels,
    jint imp_sample_rate)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2731);
        const kiv::jni::c_jstring dsl_name(dsp_env, avop_codec);
        auto dsl_codec =
            encoder_call::create(adsl_ffmpeg, dsl_name.characters() == nullptr ? "" : dsl_name.characters(),
                                 imp_samples, imp_channels, imp_sample_rate);
        if (dsp_env.exception_pending()) // the receiver of trace lines threw: Java would not get the handle
            throw kiv::jni::c_jniexception("print_info");
        return to_handle(dsl_codec.release());
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1encoders_1ffmpeg_n_1aencoder_1encode(
    JNIEnv *adsp_env, jclass, jlong ilp_encoder, jbyteArray avop_pcm, jint imp_offset, jint imp_length,
    jlongArray avop_packet)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        auto *adsl_encoder = codec_of<c_audiocodec>(ilp_encoder, 2732);
        // Checked before anything is encoded: a packet that cannot be described would be lost.
        if (avop_packet == nullptr || dsp_env.get_array_length(avop_packet) < PacketFields::SIZE)
            throw_ffmpeg_exception(2734, "packet array is null or shorter than ", PacketFields::SIZE);
        const uint8_t *autl_pcm = copy_input(dsp_env, adsl_encoder->input(), avop_pcm, imp_offset, imp_length);
        if (autl_pcm == nullptr && avop_pcm != nullptr)
            throw_ffmpeg_exception(2735, "no samples to encode: length=", imp_length);
        c_avpacket dsl_packet;
        const auto ull_length = autl_pcm == nullptr ? size_t{0} : static_cast<size_t>(imp_length);
        if (!adsl_encoder->encode_packet({autl_pcm, ull_length}, dsl_packet))
            return nullptr;
        dsp_env.set_array_region(avop_packet, 0, PacketFields::SIZE, encoder_call::fields_of(dsl_packet).data());
        return kiv::jni::to_java(dsp_env,
                                 std::span<const uint8_t>(dsl_packet.data(), static_cast<size_t>(dsl_packet.size())));
    });
}
