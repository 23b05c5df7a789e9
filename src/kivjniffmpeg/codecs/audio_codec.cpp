#include "kivjniffmpeg/codecs/audio_codec.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/codecs/buffer_callbacks.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <climits>
#include <stdexcept>
#include <string>
#include <utility>

namespace
{

/** Of samples of 32 bits lossless encoders keep so many. */
constexpr int in_most_lossless_bits = 24;

/** The place in FFmpeg's list of the format that has the same samples in planes; else the first. */
const AVSampleFormat *nearest_format(const AVSampleFormat *aiep_formats, AVSampleFormat iep_source)
{
    if (aiep_formats == nullptr)
        return nullptr;
    for (const AVSampleFormat *aiel_format = aiep_formats; *aiel_format != AV_SAMPLE_FMT_NONE; ++aiel_format)
        if (format_tag_of(*aiel_format) == format_tag_of(iep_source) &&
            g_avutil.av_get_bytes_per_sample(*aiel_format) == g_avutil.av_get_bytes_per_sample(iep_source))
            return aiel_format;
    return aiep_formats;
}

} // namespace

c_audiocodec::c_audiocodec(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_src,
                           std::unique_ptr<c_aformat> dsp_dst)
    : c_codec(adsp_ffmpeg, "FFMPEG: audiocodec"),
      dsc_src_format(std::move(dsp_src)),
      dsc_dst_format(std::move(dsp_dst)),
      bc_decoder(dsc_dst_format->format_tag() == im_tag_pcm),
      dsc_codec(bc_decoder ? dsc_src_format->codec_id() : dsc_dst_format->codec_id(), bc_decoder),
      dsc_codec_ctx(dsc_codec, ds_buffer_callbacks)
{
    TRACE_FUNCTION(3);
    dsc_codec_ctx->opaque = static_cast<c_codec *>(this);
    if (dsc_src_format->sample_rate() != dsc_dst_format->sample_rate())
        throw_ffmpeg_exception(1611, "audio formats have different sample rate: src=", dsc_src_format->sample_rate(),
                               " dst=", dsc_dst_format->sample_rate());
    if (bc_decoder) {
        TRACE_LINE(im_level_debug, "%s#%s(): request_sample_fmt=%d", static_cast<int>(dsc_dst_format->sample_format()));
        if (dsc_src_format->stream() == nullptr || !dsc_src_format->specific_hdr().empty())
            dsc_codec_ctx.set_extradata(dsc_src_format->specific_hdr());
    } else {
        choose_sample_format();
    }
    trace_formats();
}

c_audiocodec::~c_audiocodec()
{
    TRACE_FUNCTION(3);
}

void c_audiocodec::choose_sample_format()
{
    TRACE_SCOPE("c_audiocodec", 3);
    const c_aformat &dsl_dst = *dsc_dst_format;
    if (dsl_dst.channels() < 1 || dsl_dst.sample_rate() < 1)
        throw_ffmpeg_exception(1619, "cannot encode ", dsl_dst.channels(), " channels of ", dsl_dst.sample_rate(),
                               " samples per second");
    const AVSampleFormat iel_source_format = dsc_src_format->sample_format();
    if (dsc_codec.supports_sample_format(iel_source_format)) {
        dsc_codec_ctx->sample_fmt = iel_source_format;
        return;
    }
    const AVSampleFormat *aiel_formats = dsc_codec.codec()->sample_fmts;
    if (is_of_codec())
        aiel_formats = nearest_format(aiel_formats, iel_source_format);
    if (aiel_formats == nullptr)
        throw_ffmpeg_exception(1626, "Encoder does not support any sample format!");
    if (*aiel_formats == AV_SAMPLE_FMT_NONE)
        throw_ffmpeg_exception(1628, "Encoder does not support any sample format!");
    const auto dsl_target =
        c_aformat::of_samples(*aiel_formats, dsc_src_format->channels(), dsc_src_format->sample_rate());
    const AVSampleFormat iel_format = dsl_target->sample_format();
    if (!dsc_codec.supports_sample_format(iel_format))
        throw_ffmpeg_exception(1633, "Encoder does not support sample format ", static_cast<int>(iel_format));
    dsc_codec_ctx->sample_fmt = iel_format;
    dsc_swr_ctx.set_src_format(*dsc_src_format);
    dsc_swr_ctx.set_dst_format(*dsl_target);
    dsc_swr_ctx.init();
}

void c_audiocodec::set_up_encoder()
{
    const c_aformat &dsl_dst = *dsc_dst_format;
    dsc_codec_ctx->channels = dsl_dst.channels();
    dsc_codec_ctx->sample_rate = dsl_dst.sample_rate();
    dsc_codec_ctx->channel_layout = ulc_channel_layout != 0 ? ulc_channel_layout : dsl_dst.channel_layout();
    if (!is_of_codec())
        return;
    ilc_encoded = 0;
    dsc_codec_ctx->time_base = {1, dsl_dst.sample_rate()};
    if (dsc_src_format->sample_format() == AV_SAMPLE_FMT_S32)
        dsc_codec_ctx->bits_per_raw_sample = in_most_lossless_bits;
}

void c_audiocodec::set_up_decoder()
{
    TRACE_SCOPE("c_audiocodec", 3);
    const c_aformat &dsl_src = *dsc_src_format;
    dsc_codec_ctx->channels = dsl_src.channels();
    dsc_codec_ctx->sample_rate = dsl_src.sample_rate();
    dsc_codec_ctx->request_channel_layout = dsc_dst_format->channel_layout();
    dsc_codec_ctx->request_sample_fmt = dsc_dst_format->sample_format();
    dsc_codec_ctx->block_align = dsl_src.frame_size();
    dsc_codec_ctx->bits_per_coded_sample =
        dsl_src.bits_per_sample(); // the decoder of IMA ADPCM does not open without it
    if (dsl_src.stream() != nullptr)
        dsl_src.stream()->configure(*dsc_codec_ctx.context());
}

void c_audiocodec::trace_formats() const
{
    TRACE_SCOPE("c_audiocodec", 3);
    TRACE_LINE(im_level_debug, "%s#%s(): src_format: %s", dsc_src_format->to_string().c_str());
    TRACE_LINE(im_level_debug, "%s#%s(): dst_format: %s", dsc_dst_format->to_string().c_str());
}

bool c_audiocodec::is_mpeg_audio() const noexcept
{
    const AVCodecID iel_codec = dsc_src_format->codec_id();
    return iel_codec == AV_CODEC_ID_MP3 || iel_codec == AV_CODEC_ID_MP2 || iel_codec == AV_CODEC_ID_MP1;
}

bool c_audiocodec::open()
{
    TRACE_FUNCTION(3);
    if (is_open())
        return true;
    ilc_skipped = 0;
    // At every opening, because the codec overwrites these fields with those of its stream.
    if (bc_decoder)
        set_up_decoder();
    else
        set_up_encoder();
    return open_in_ffmpeg(dsc_codec_ctx, dsc_codec, dsl_trace);
}

bool c_audiocodec::close()
{
    TRACE_FUNCTION(3);
    reset();
    if (is_open()) {
        close_in_ffmpeg(dsc_codec_ctx);
        if (!bc_decoder)
            dsc_codec_ctx->extradata_size = 0; // the encoder owned the bytes and has freed them
    }
    return true;
}

bool c_audiocodec::reset()
{
    TRACE_FUNCTION(3);
    dsc_output_queue.clear();
    dsc_pending_packet.reset();
    bc_resampling = false;
    dsc_progress = c_decoder_progress(in_most_frames);
    inc_idle_drains = 0;
    if (is_open())
        g_avcodec.avcodec_flush_buffers(dsc_codec_ctx.context());
    return true;
}

int32_t c_audiocodec::process2(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, uint64_t ulp_timestamp,
                               dsd_out_params &dsp_out, uint32_t ump_outlen)
{
    TRACE_FUNCTION(3);
    if (imp_lendata < 0)
        throw std::invalid_argument("imp_lendata=" + std::to_string(imp_lendata));
    TRACE_LINE(im_level_debug, "%s#%s(): timestamp=%llu flags=%d im_lendata=%d format_tag=0x%x codec=%s",
               static_cast<unsigned long long>(ulp_timestamp), imp_flags, imp_lendata,
               static_cast<unsigned int>(dsc_src_format->format_tag()), dsc_codec.display_name());
    trace_formats();
    dsp_out = {};
    dsp_out.imc_flags = imp_flags;
    dsp_out.ilc_timestamp = static_cast<int64_t>(ulp_timestamp);
    if (imp_lendata == 0)
        return bc_decoder && (imp_flags & im_flag_drain) != 0 ? drain(dsp_out, imp_flags, ump_outlen) : ie_audio_done;
    if (bc_decoder)
        return decode(autp_data, imp_lendata, imp_flags, ulp_timestamp, dsp_out, ump_outlen);
    encode(autp_data, imp_lendata, dsp_out);
    return ie_audio_done;
}

void c_audiocodec::throw_if_open() const
{
    if (is_open())
        throw_ffmpeg_exception(1661, "options are set before the codec is opened");
}

void c_audiocodec::set_option(std::string_view strp_name, int64_t ilp_value)
{
    if (strp_name == "continuous") {
        set_continuous(ilp_value != 0);
    } else if (strp_name == "sample_format") {
        set_sample_format(ilp_value);
    } else if (strp_name == "channel_layout") {
        set_channel_layout(static_cast<uint64_t>(ilp_value));
    } else if (strp_name == "bit_rate") {
        if (ilp_value < 0 || ilp_value > INT_MAX)
            throw_ffmpeg_exception(2535, "no such bit rate: ", ilp_value);
        set_bit_rate(static_cast<int32_t>(ilp_value));
    } else {
        throw_ffmpeg_exception(2533, "no such codec option to set: ", strp_name);
    }
}

void c_audiocodec::set_bit_rate(int32_t imp_bits_per_second)
{
    TRACE_FUNCTION(3);
    throw_if_open();
    dsc_codec_ctx->bit_rate = imp_bits_per_second;
}

void c_audiocodec::set_channel_layout(uint64_t ulp_layout)
{
    TRACE_FUNCTION(3);
    throw_if_open();
    ulc_channel_layout = ulp_layout;
}

void c_audiocodec::set_continuous(bool bp_continuous)
{
    TRACE_FUNCTION(3);
    throw_if_open();
    bc_continuous = bp_continuous;
    // Otherwise FFmpeg drops samples of its own accord, and what a container says of their packet is lost with them.
    if (bc_decoder && bp_continuous)
        dsc_codec_ctx->flags2 |= CODEC_FLAG2_SKIP_MANUAL;
}

void c_audiocodec::set_sample_format(int64_t ilp_format)
{
    TRACE_FUNCTION(3);
    throw_if_open();
    if (!bc_decoder)
        throw_ffmpeg_exception(1671, "an encoder has no other sample format");
    if (ilp_format != AV_SAMPLE_FMT_S16 && ilp_format != AV_SAMPLE_FMT_S32 && ilp_format != AV_SAMPLE_FMT_FLT)
        throw_ffmpeg_exception(1672, "no such sample format: ", ilp_format);
    dsc_dst_format = c_aformat::of_samples(static_cast<AVSampleFormat>(ilp_format), dsc_dst_format->channels(),
                                           dsc_dst_format->sample_rate());
    dsc_resamplers.clear();
    bc_resampling = false;
}

int64_t c_audiocodec::property(std::string_view strp_name) const
{
    if (strp_name == "bit_rate")
        return dsc_codec_ctx->bit_rate;
    if (strp_name == "block_align")
        return dsc_codec_ctx->block_align;
    if (strp_name == "frame_size")
        return dsc_codec_ctx->frame_size;
    if (strp_name == "initial_padding")
        return dsc_codec_ctx->delay;
    if (strp_name == "holds_back")
        return (dsc_codec.codec()->capabilities & CODEC_CAP_DELAY) != 0 ? 1 : 0;
    if (strp_name == "skipped_samples")
        return ilc_skipped;
    if (strp_name == "bits_per_coded_sample")
        return dsc_codec_ctx->bits_per_coded_sample;
    throw_ffmpeg_exception(1679, "no such codec option: ", strp_name);
}

std::span<const uint8_t> c_audiocodec::extradata() const
{
    const AVCodecContext *adsl_context = dsc_codec_ctx.context();
    if (adsl_context->extradata == nullptr || adsl_context->extradata_size <= 0)
        return {};
    return {adsl_context->extradata, static_cast<size_t>(adsl_context->extradata_size)};
}
