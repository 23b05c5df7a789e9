#include "bridge/avcodec/encoder.h"

#include "bridge/old/contexts.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <new>
#include <utility>

namespace bridge::avcodec
{

c_encoder::c_encoder(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecContext &dsp_context, const dsd_codec &dsp_codec)
    : dsc_ffmpeg(dsp_ffmpeg),
      dsc_context(dsp_context),
      dsc_codec(dsp_codec),
      dsc_real(make_context(dsp_ffmpeg, dsp_codec.adsc_real))
{
}

int c_encoder::open()
{
    old::configure_real(dsc_ffmpeg, dsc_context, dsc_real.get(), dsc_codec.dsc_old.type);
    choose_layout();
    if (const int inl_result = dsc_ffmpeg.avcodec_open2(dsc_real.get(), dsc_codec.adsc_real, nullptr); inl_result < 0)
        return inl_result;
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->context;
    old::describe_to_old(dsc_ffmpeg, dsc_real.get(), dsc_context);
    old::copy_extradata_to_old(dsc_ffmpeg, dsc_real.get(), dsc_context);
    dsc_context.time_base = dsl_layout.time_base.of(dsc_real.get());
    dsc_context.delay = std::max(dsc_context.delay, dsl_layout.initial_padding.of(dsc_real.get()));
    return 0;
}

namespace
{

/** The places of the channels that the 56 line's AAC encoder takes, by their number. */
constexpr uint64_t aul_aac_layouts[] = {0x0, 0x4, 0x3, 0x7, 0x107, 0x37, 0x3F};

} // namespace

/** The 56 line encodes a number of channels without a layout. The newer FFmpeg wants to know where they are. */
void c_encoder::choose_layout()
{
    real::channel_layout &dsl_channels = dsc_ffmpeg.adsc_layout->context.ch_layout.of(dsc_real.get());
    if (dsl_channels.order != real::in_order_unspecified || dsl_channels.nb_channels <= 0)
        return;
    const auto ull_channels = static_cast<size_t>(dsl_channels.nb_channels);
    if (dsc_codec.dsc_old.id == AV_CODEC_ID_AAC && ull_channels < std::size(aul_aac_layouts))
        dsc_ffmpeg.av_channel_layout_from_mask(&dsl_channels, aul_aac_layouts[ull_channels]);
    else
        dsc_ffmpeg.av_channel_layout_default(&dsl_channels, dsl_channels.nb_channels);
}

int c_encoder::encode(const AVFrame *adsp_frame, AVPacket &dsp_packet, bool &bp_packet)
{
    bp_packet = false;
    bc_fed = bc_fed || adsp_frame != nullptr;
    const bool bl_nothing_to_drain = adsp_frame == nullptr && dsc_waiting.empty() &&
                                     (!bc_fed || (dsc_codec.dsc_old.capabilities & CODEC_CAP_DELAY) == 0);
    if (!bl_nothing_to_drain) {
        if (const int inl_result = send(adsp_frame); inl_result < 0)
            return inl_result;
        if (const int inl_result = receive(); inl_result < 0)
            return inl_result;
    }
    if (dsc_waiting.empty())
        return 0;
    old::move_packet(dsc_ffmpeg, *dsc_waiting.front(), dsp_packet);
    dsc_waiting.pop_front();
    bp_packet = true;
    ++old::context::frame_number.of(&dsc_context);
    return 0;
}

int c_encoder::send(const AVFrame *adsp_frame)
{
    if (adsp_frame == nullptr)
        return std::exchange(bc_draining, true) ? 0 : dsc_ffmpeg.avcodec_send_frame(dsc_real.get(), nullptr);
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->frame;
    const auto &dsl_codec_layout = dsc_ffmpeg.adsc_layout->context;
    const real_frame dsl_frame = make_frame(dsc_ffmpeg);
    dsl_layout.format.of(dsl_frame.get()) = adsp_frame->format;
    dsl_layout.nb_samples.of(dsl_frame.get()) = adsp_frame->nb_samples;
    dsl_layout.sample_rate.of(dsl_frame.get()) = dsl_codec_layout.sample_rate.of(dsc_real.get());
    dsl_layout.pts.of(dsl_frame.get()) = adsp_frame->pts;
    dsc_ffmpeg.av_channel_layout_copy(&dsl_layout.ch_layout.of(dsl_frame.get()),
                                      &dsl_codec_layout.ch_layout.of(dsc_real.get()));
    std::ranges::copy(adsp_frame->data, dsl_layout.data.of(dsl_frame.get()));
    std::ranges::copy(adsp_frame->linesize, dsl_layout.linesize.of(dsl_frame.get()));
    // The planes stay the caller's: FFmpeg copies samples that nobody counts references to.
    uint8_t **&aautl_planes = dsl_layout.extended_data.of(dsl_frame.get());
    uint8_t **aautl_own = std::exchange(aautl_planes, adsp_frame->extended_data != nullptr &&
                                                              adsp_frame->extended_data != adsp_frame->data
                                                          ? adsp_frame->extended_data
                                                          : dsl_layout.data.of(dsl_frame.get()));
    const int inl_result = dsc_ffmpeg.avcodec_send_frame(dsc_real.get(), dsl_frame.get());
    aautl_planes = aautl_own;
    return inl_result;
}

/** Takes the packets that are ready: an encoder with packets that nobody took refuses frames. One, when it is drained. */
int c_encoder::receive()
{
    for (;;) {
        old::real_packet dsl_packet = old::make_packet(dsc_ffmpeg);
        const int inl_result = dsc_ffmpeg.avcodec_receive_packet(dsc_real.get(), dsl_packet.get());
        if (inl_result == AVERROR_EOF) // some encoders complete their header at the end
            old::copy_extradata_to_old(dsc_ffmpeg, dsc_real.get(), dsc_context);
        if (inl_result == AVERROR(EAGAIN) || inl_result == AVERROR_EOF)
            return 0;
        if (inl_result < 0)
            return inl_result;
        dsc_waiting.push_back(std::move(dsl_packet));
        if (bc_draining)
            return 0; // the caller bounds the calls
    }
}

} // namespace bridge::avcodec
