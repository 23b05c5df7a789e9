#include "kivjniffmpeg/codecs/encoder_call.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"

#include <natives/c_codecoptions_ffmpeg.h>

namespace PacketFields = natives::PacketFields;

namespace
{

static_assert(natives::c_codecoptions_ffmpeg::SAMPLES_16 == AV_SAMPLE_FMT_S16);
static_assert(natives::c_codecoptions_ffmpeg::SAMPLES_32 == AV_SAMPLE_FMT_S32);
static_assert(natives::c_codecoptions_ffmpeg::SAMPLES_FLOAT == AV_SAMPLE_FMT_FLT);

AVSampleFormat sample_format(int32_t imp_samples)
{
    if (imp_samples != AV_SAMPLE_FMT_S16 && imp_samples != AV_SAMPLE_FMT_S32 && imp_samples != AV_SAMPLE_FMT_FLT)
        throw_ffmpeg_exception(2733, "no such samples to encode: ", imp_samples);
    return static_cast<AVSampleFormat>(imp_samples);
}

} // namespace

std::unique_ptr<c_audiocodec> encoder_call::create(c_ffmpeg *adsp_ffmpeg, const std::string &strp_codec,
                                                   int32_t imp_samples, int32_t imp_channels, int32_t imp_sample_rate)
{
    const AVCodecID iel_codec = admitted_codecs::require_encoder(strp_codec);
    return std::make_unique<c_audiocodec>(
        adsp_ffmpeg, c_aformat::of_samples(sample_format(imp_samples), imp_channels, imp_sample_rate),
        c_aformat::of_codec(iel_codec, imp_channels, imp_sample_rate));
}

std::array<int64_t, PacketFields::SIZE> encoder_call::fields_of(const c_avpacket &dsp_packet)
{
    const AVPacket &dsl_avpacket = *dsp_packet.packet();
    std::array<int64_t, PacketFields::SIZE> aill_fields{};
    aill_fields[PacketFields::PRESENTATION_TIME] = dsl_avpacket.pts;
    aill_fields[PacketFields::DECODING_TIME] = dsl_avpacket.dts;
    aill_fields[PacketFields::DURATION] = dsl_avpacket.duration;
    aill_fields[PacketFields::FLAGS] = dsl_avpacket.flags;
    aill_fields[PacketFields::POSITION] = -1;
    aill_fields[PacketFields::SKIP_START] = -1;
    return aill_fields;
}
