// The exported functions of encoders that are chosen by FFmpeg's codec.

#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/codecs/audio_codec.h"
#include "kivjniffmpeg/entries/codec_entry.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_encoders_ffmpeg.h>
#include <natives/PacketFields.h>
#include <natives/c_codecoptions_ffmpeg.h>

#include <array>
#include <memory>
#include <span>
#include <utility>

using kiv::jni::c_jnienv;
namespace PacketFields = natives::PacketFields;

namespace
{

static_assert(natives::c_codecoptions_ffmpeg::SAMPLES_16 == AV_SAMPLE_FMT_S16);
static_assert(natives::c_codecoptions_ffmpeg::SAMPLES_32 == AV_SAMPLE_FMT_S32);
static_assert(natives::c_codecoptions_ffmpeg::SAMPLES_FLOAT == AV_SAMPLE_FMT_FLT);

AVSampleFormat sample_format(jint imp_samples)
{
    if (imp_samples != AV_SAMPLE_FMT_S16 && imp_samples != AV_SAMPLE_FMT_S32 && imp_samples != AV_SAMPLE_FMT_FLT)
        throw_ffmpeg_exception(2733, "no such samples to encode: ", imp_samples);
    return static_cast<AVSampleFormat>(imp_samples);
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1encoders_1ffmpeg_n_1create_1aencoder(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jstring avop_codec, jint imp_samples, jint imp_channels,
    jint imp_sample_rate)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2731);
        const kiv::jni::c_jstring dsl_name(dsp_env, avop_codec);
        const AVCodecID iel_codec =
            admitted_codecs::require_encoder(dsl_name.characters() == nullptr ? "" : dsl_name.characters());
        auto dsl_codec = std::make_unique<c_audiocodec>(
            adsl_ffmpeg, c_aformat::of_samples(sample_format(imp_samples), imp_channels, imp_sample_rate),
            c_aformat::of_codec(iel_codec, imp_channels, imp_sample_rate));
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
        const AVPacket &dsl_avpacket = *dsl_packet.packet();
        std::array<jlong, PacketFields::SIZE> aill_fields{};
        aill_fields[PacketFields::PRESENTATION_TIME] = dsl_avpacket.pts;
        aill_fields[PacketFields::DECODING_TIME] = dsl_avpacket.dts;
        aill_fields[PacketFields::DURATION] = dsl_avpacket.duration;
        aill_fields[PacketFields::FLAGS] = dsl_avpacket.flags;
        aill_fields[PacketFields::POSITION] = -1;
        aill_fields[PacketFields::SKIP_START] = -1;
        dsp_env.set_array_region(avop_packet, 0, PacketFields::SIZE, aill_fields.data());
        return kiv::jni::to_java(dsp_env,
                                 std::span<const uint8_t>(dsl_packet.data(), static_cast<size_t>(dsl_packet.size())));
    });
}
