// Containers that are written.

#include "bridge/avformat/container.h"
#include "bridge/old/contexts.h"
#include "bridge/old/packets.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

namespace bridge::avformat
{

int c_container::open_output(const char *strp_format, const char *strp_name)
{
    bc_output = true;
    return dsc_ffmpeg.avformat_alloc_output_context2(&adsc_real, nullptr, strp_format, strp_name);
}

/** Makes FFmpeg's stream of the one that the caller has described by its codec context. */
int c_container::add_real_stream(AVStream &dsp_stream)
{
    const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
    real::stream *adsl_real = dsc_ffmpeg.avformat_new_stream(adsc_real, nullptr);
    const auto free_context = [this](real::context *adsp_context) { dsc_ffmpeg.avcodec_free_context(&adsp_context); };
    const std::unique_ptr<real::context, decltype(free_context)> dsl_described(
        dsc_ffmpeg.avcodec_alloc_context3(nullptr), free_context);
    if (adsl_real == nullptr || dsl_described == nullptr)
        throw std::bad_alloc();
    const AVCodecContext &dsl_codec = *dsp_stream.codec;
    old::configure_real(dsc_ffmpeg, dsl_codec, dsl_described.get(), dsl_codec.codec_type);
    dsl_layout.context.codec_type.of(dsl_described.get()) = dsl_codec.codec_type;
    dsl_layout.context.codec_id.of(dsl_described.get()) =
        dsc_ffmpeg.dsc_numbers.dsc_codec_map.to_real(dsl_codec.codec_id);
    dsl_layout.context.initial_padding.of(dsl_described.get()) =
        std::max(old::context::initial_padding.of(&dsl_codec), dsl_codec.delay);
    real::channel_layout &dsl_channels = dsl_layout.context.ch_layout.of(dsl_described.get());
    if (dsl_channels.order == real::in_order_unspecified && dsl_channels.nb_channels > 0)
        dsc_ffmpeg.av_channel_layout_default(&dsl_channels, dsl_channels.nb_channels);
    dsl_layout.stream.time_base.of(adsl_real) = dsp_stream.time_base;
    return dsc_ffmpeg.avcodec_parameters_from_context(dsl_layout.stream.codecpar.of(adsl_real), dsl_described.get());
}

int c_container::write_header(AVDictionary **aadsp_options)
{
    if (adsc_real == nullptr || !bc_output || dsc_source != nullptr || context().pb == nullptr)
        return AVERROR(EINVAL);
    const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
    for (const auto &dsl_stream : dsc_streams)
        if (const int inl_result = add_real_stream(dsl_stream->dsc_old); inl_result < 0)
            return inl_result;
    dsc_source = std::make_unique<c_real_source>(dsc_ffmpeg, *reinterpret_cast<old::dsd_source *>(context().pb));
    dsl_layout.format_context.pb.of(adsc_real) = dsc_source->get();
    const int inl_result = dsc_ffmpeg.avformat_write_header(adsc_real, aadsp_options);
    if (inl_result < 0)
        return inl_result;
    real::stream **aadsl_streams = dsl_layout.format_context.streams.of(adsc_real);
    for (size_t ull_stream = 0; ull_stream < dsc_streams.size(); ++ull_stream)
        dsc_streams[ull_stream]->dsc_old.time_base = dsl_layout.stream.time_base.of(aadsl_streams[ull_stream]);
    return 0;
}

int c_container::write(AVPacket &dsp_packet)
{
    const auto free_old = [this](AVPacket *adsp_packet) { old::free_packet(dsc_ffmpeg, *adsp_packet); };
    const std::unique_ptr<AVPacket, decltype(free_old)> dsl_owned(&dsp_packet, free_old);
    if (dsc_source == nullptr || !bc_output)
        return AVERROR(EINVAL);
    const old::real_packet dsl_packet = old::make_packet(dsc_ffmpeg);
    old::copy_side_data(dsc_ffmpeg, dsp_packet, *dsl_packet);
    dsl_packet->data = dsp_packet.data; // FFmpeg copies bytes that nobody counts references to
    dsl_packet->size = dsp_packet.size;
    dsl_packet->pts = dsp_packet.pts;
    dsl_packet->dts = dsp_packet.dts;
    dsl_packet->duration = dsp_packet.duration;
    dsl_packet->flags = dsp_packet.flags;
    dsl_packet->stream_index = dsp_packet.stream_index;
    return dsc_ffmpeg.av_interleaved_write_frame(adsc_real, dsl_packet.get());
}

int c_container::write_trailer()
{
    return dsc_source == nullptr || !bc_output ? AVERROR(EINVAL) : dsc_ffmpeg.av_write_trailer(adsc_real);
}

} // namespace bridge::avformat
