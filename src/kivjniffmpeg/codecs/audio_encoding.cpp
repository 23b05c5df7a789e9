// c_audiocodec: PCM to packets.

#include "jni/exceptions.h"
#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/codecs/audio_codec.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "memory/bytes.h"
#include "trace/trace.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace
{

struct s_av_free
{
    void operator()(uint8_t *autp_block) const noexcept { g_avutil.av_freep(&autp_block); }
};

std::unique_ptr<uint8_t, s_av_free> allocate_samples(int32_t imp_size)
{
    std::unique_ptr<uint8_t, s_av_free> dsl_block(
        static_cast<uint8_t *>(g_avutil.av_malloc(static_cast<size_t>(imp_size))));
    if (dsl_block == nullptr)
        throw_ffmpeg_exception(1823, "av_malloc failed");
    return dsl_block;
}

/** Queues a copy of the encoder's packet. */
void queue_packet(c_output_queue &dsp_queue, const c_avpacket &dsp_packet)
{
    c_framebuffer_reference dsl_buffer = c_native_buffer::make(dsp_packet.size(), 0);
    std::copy_n(dsp_packet.data(), dsp_packet.size(), dsl_buffer->data());
    dsp_queue.pushback(std::move(dsl_buffer));
}

} // namespace

void c_audiocodec::encode(const uint8_t *autp_data, int32_t imp_lendata, dsd_out_params &dsp_out)
{
    TRACE_FUNCTION(3);
    if (!is_open())
        throw_ffmpeg_exception(1805, "the encoder is not open");
    const AVCodecContext &dsl_context = *dsc_codec_ctx.context();
    const AVSampleFormat iel_source_format = dsc_src_format->sample_format();
    const int32_t iml_source_size = g_avutil.av_get_bytes_per_sample(iel_source_format);
    const int32_t iml_codec_size = g_avutil.av_get_bytes_per_sample(dsl_context.sample_fmt);
    if (dsl_context.channels < 1 || iml_source_size < 1 || iml_codec_size < 1)
        throw_ffmpeg_exception(1809, "cannot encode ", dsl_context.channels, " channels of ", iml_source_size,
                               " bytes");
    int32_t iml_frame_size = dsl_context.frame_size;
    if (iml_frame_size == 0) {
        // The whole input is one frame.
        iml_frame_size = static_cast<int32_t>(imp_lendata / (int64_t{dsl_context.channels} * iml_source_size));
        TRACE_LINE(im_level_debug, "%s#%s(): variable frame size: ump_lendata=%d bps=%d channels=%d inl_frame_size=%d",
                   imp_lendata, iml_source_size, dsl_context.channels, iml_frame_size);
    }
    TRACE_LINE(im_level_debug, "%s#%s(): sample_fmt=%d channel_layout=%d frame_size=%d channels=%d",
               static_cast<int>(dsl_context.sample_fmt), static_cast<int>(dsl_context.channel_layout),
               dsl_context.frame_size, dsl_context.channels);
    const int32_t iml_buffer_size =
        g_avutil.av_samples_get_buffer_size(nullptr, dsl_context.channels, iml_frame_size, dsl_context.sample_fmt, 0);
    if (iml_buffer_size < 1)
        throw_ffmpeg_exception(1819, "get_buffer_size failed error=", iml_buffer_size);
    const auto dsl_block = allocate_samples(iml_buffer_size);
    // No overflow: FFmpeg keeps the buffer size within 31 bits, and this is at most a few times as large.
    const int64_t ill_consume_max = int64_t{dsl_context.channels} * iml_frame_size * iml_source_size;
    TRACE_LINE(im_level_debug, "%s#%s(): buffer_size=%d consume_max=%d do_conversion=%d", iml_buffer_size,
               static_cast<int>(ill_consume_max), dsl_context.sample_fmt != iel_source_format ? 1 : 0);
    while (ill_consume_max <= imp_lendata - dsp_out.imc_processed_len) {
        const int32_t iml_processed = dsp_out.imc_processed_len;
        const auto iml_consume = static_cast<int32_t>(ill_consume_max);
        dsp_out.imc_processed_len += iml_consume;
        encode_frame({autp_data + iml_processed, static_cast<size_t>(iml_consume)},
                     {dsl_block.get(), static_cast<size_t>(iml_buffer_size)}, iml_frame_size, iml_processed);
    }
}

/** @return whether there is a packet. @param ilp_time of the first sample; may be AV_NOPTS_VALUE */
bool c_audiocodec::encode_into(c_avpacket &dsp_packet, std::span<const uint8_t> utp_samples,
                               std::span<uint8_t> utp_block, int32_t imp_frame_size, int64_t ilp_time)
{
    throw_if_pending();
    const AVCodecContext &dsl_context = *dsc_codec_ctx.context();
    c_avframe dsl_frame;
    dsl_frame->format = dsl_context.sample_fmt;
    dsl_frame->channel_layout = dsl_context.channel_layout;
    dsl_frame->channels = dsl_context.channels;
    dsl_frame->sample_rate = dsl_context.sample_rate;
    dsl_frame->nb_samples = imp_frame_size;
    dsl_frame->pts = ilp_time;
    dsl_frame.set_samples(dsl_context.channels, dsl_context.sample_fmt, utp_block.data(),
                          static_cast<int>(utp_block.size()), 0);
    if (dsl_context.sample_fmt != dsc_src_format->sample_format())
        dsc_swr_ctx.convert(utp_samples.data(), static_cast<uint32_t>(imp_frame_size), dsl_frame);
    else
        copy_bytes(utp_samples, utp_block);
    int inl_got_packet = 0;
    const int inl_err = g_avcodec.avcodec_encode_audio2(dsc_codec_ctx.context(), dsp_packet.packet(), dsl_frame.frame(),
                                                        &inl_got_packet);
    if (inl_err != 0)
        throw_ffmpeg_exception(1861, "Error encoding audio frame error=", inl_err);
    return inl_got_packet != 0;
}

void c_audiocodec::encode_frame(std::span<const uint8_t> utp_samples, std::span<uint8_t> utp_block,
                                int32_t imp_frame_size, int32_t imp_processed)
{
    TRACE_SCOPE("encode", 3);
    c_avpacket dsl_packet;
    if (!encode_into(dsl_packet, utp_samples, utp_block, imp_frame_size, AV_NOPTS_VALUE))
        return;
    TRACE_LINE(im_level_verbose, "%s#%s(): encoded audio packet processed=%d pkt.size=%d", imp_processed,
               dsl_packet.size());
    queue_packet(dsc_output_queue, dsl_packet);
}

bool c_audiocodec::encode_packet(std::span<const uint8_t> utp_samples, c_avpacket &dsp_packet)
{
    TRACE_FUNCTION(3);
    if (!is_open() || !is_of_codec())
        throw_ffmpeg_exception(1871, "the encoder is not open, or was chosen by a format tag");
    AVCodecContext &dsl_context = *dsc_codec_ctx.context();
    if (utp_samples.empty()) {
        int inl_got_packet = 0;
        const int inl_err =
            g_avcodec.avcodec_encode_audio2(&dsl_context, dsp_packet.packet(), nullptr, &inl_got_packet);
        if (inl_err != 0)
            throw_ffmpeg_exception(1872, "Error draining the encoder error=", inl_err);
        return inl_got_packet != 0;
    }
    const auto ull_bytes_of_sample =
        static_cast<size_t>(dsl_context.channels) * static_cast<size_t>(dsc_src_format->bits_per_sample() / 8);
    const size_t ull_samples = utp_samples.size() / ull_bytes_of_sample;
    if (utp_samples.size() % ull_bytes_of_sample != 0 || dsl_context.frame_size <= 0 ||
        ull_samples > static_cast<size_t>(dsl_context.frame_size))
        throw_ffmpeg_exception(1873, utp_samples.size(), " bytes are no frame of the encoder");
    const auto iml_samples = static_cast<int32_t>(ull_samples);
    const int32_t iml_buffer_size =
        g_avutil.av_samples_get_buffer_size(nullptr, dsl_context.channels, iml_samples, dsl_context.sample_fmt, 0);
    if (iml_buffer_size < 1)
        throw_ffmpeg_exception(1874, "get_buffer_size failed error=", iml_buffer_size);
    const auto dsl_block = allocate_samples(iml_buffer_size);
    const int64_t ill_time = std::exchange(ilc_encoded, ilc_encoded + iml_samples);
    return encode_into(dsp_packet, utp_samples, {dsl_block.get(), static_cast<size_t>(iml_buffer_size)}, iml_samples,
                       ill_time);
}
