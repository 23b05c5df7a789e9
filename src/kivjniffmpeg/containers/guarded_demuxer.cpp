#include "kivjniffmpeg/containers/guarded_demuxer.h"

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <span>
#include <utility>

void c_guarded_demuxer::install(AVFormatContext &dsp_context) noexcept
{
    for (AVStream *adsl_stream : std::span(dsp_context.streams, dsp_context.nb_streams))
        prepare(*adsl_stream);
    static_cast<AVInputFormat &>(dsc_format) = *dsp_context.iformat;
    dsc_format.adsc_guard = this;
    dsc_original = std::exchange(dsc_format.read_packet, read_packet_nothrow);
    dsp_context.iformat = &dsc_format;
}

int c_guarded_demuxer::read_packet_nothrow(AVFormatContext *adsp_context, AVPacket *adsp_packet) noexcept
{
    return static_cast<dsd_format *>(adsp_context->iformat)->adsc_guard->read_packet(*adsp_context, *adsp_packet);
}

int c_guarded_demuxer::read_packet(AVFormatContext &dsp_context, AVPacket &dsp_packet) noexcept
{
    const int inl_result = dsc_original(&dsp_context, &dsp_packet);
    if (inl_result < 0)
        return inl_result;
    dsc_limits.add_packet();
    if (!dsc_limits.allow(&dsp_context)) {
        g_avcodec.av_free_packet(&dsp_packet);
        return AVERROR_EXIT;
    }
    // FFmpeg checks the index only after this.
    if (std::cmp_less(dsp_packet.stream_index, dsp_context.nb_streams) && dsp_packet.stream_index >= 0)
        prepare(*dsp_context.streams[dsp_packet.stream_index]);
    return inl_result;
}

void c_guarded_demuxer::prepare(AVStream &dsp_stream) noexcept
{
    // FFmpeg examines streams by decoding them, and does not check the samples to skip that packets name there.
    dsp_stream.codec->flags2 |= CODEC_FLAG2_SKIP_MANUAL;
    // FFmpeg's Matroska reader sorts the packets of this codec into a buffer, whose size it does not check.
    if (dsp_stream.codec->codec_id == AV_CODEC_ID_RA_288)
        dsp_stream.discard = AVDISCARD_ALL;
}
