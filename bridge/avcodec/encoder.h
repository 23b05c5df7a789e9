/** @file One opened encoder. */
#pragma once

#include "bridge/avcodec/codecs.h"
#include "bridge/avcodec/state.h"
#include "bridge/old/packets.h"

#include <deque>

namespace bridge::avcodec
{

/** Encodes sound in the manner of the 56 line, a frame a call. One thread at a time. */
class c_encoder final : public ca_state
{
public:
    /** @throws std::bad_alloc */
    c_encoder(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecContext &dsp_context, const dsd_codec &dsp_codec);

    /** @return 0 or an FFmpeg error. @throws std::bad_alloc */
    int open();

    /**
     * Encodes a frame, or drains the encoder.
     *
     * @param adsp_frame null to drain
     * @param dsp_packet receives a packet if one is ready; it has memory of its own
     * @param bp_packet receives whether there is one
     * @return 0 or an FFmpeg error
     * @throws std::bad_alloc
     */
    int encode(const AVFrame *adsp_frame, AVPacket &dsp_packet, bool &bp_packet);

private:
    void choose_layout();
    int send(const AVFrame *adsp_frame);
    int receive();

    const real::dsd_ffmpeg &dsc_ffmpeg;
    AVCodecContext &dsc_context;
    const dsd_codec &dsc_codec;
    real_context dsc_real;
    std::deque<old::real_packet> dsc_waiting;
    bool bc_fed = false; // without a frame, some encoders deliver packets for ever when they are drained
    bool bc_draining = false;
};

} // namespace bridge::avcodec
