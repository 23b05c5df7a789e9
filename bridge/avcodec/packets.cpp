// Packets in the 56 line's layout.

#include "bridge/old/packets.h"

#include "bridge/old/entry.h"

#include <cerrno>

using bridge::enter;
using bridge::real::dsd_ffmpeg;

BRIDGE_ENTRY void av_init_packet(AVPacket *adsp_packet)
{
    bridge::old::set_packet_defaults(*adsp_packet);
}

BRIDGE_ENTRY void av_free_packet(AVPacket *adsp_packet)
{
    if (adsp_packet != nullptr)
        enter([&](const dsd_ffmpeg &dsp_ffmpeg) { bridge::old::free_packet(dsp_ffmpeg, *adsp_packet); });
}

BRIDGE_ENTRY int av_new_packet(AVPacket *adsp_packet, int inp_size)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const auto dsl_packet = bridge::old::make_packet(dsp_ffmpeg);
        if (const int inl_result = dsp_ffmpeg.av_new_packet(dsl_packet.get(), inp_size); inl_result < 0)
            return inl_result;
        bridge::old::move_packet(dsp_ffmpeg, *dsl_packet, *adsp_packet);
        return 0;
    });
}

BRIDGE_ENTRY uint8_t *av_packet_new_side_data(AVPacket *adsp_packet, int inp_type, int inp_size)
{
    return enter<uint8_t *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return bridge::old::add_side_data(dsp_ffmpeg, *adsp_packet, inp_type, inp_size);
    });
}

BRIDGE_ENTRY const char *av_packet_side_data_name(int inp_type)
{
    return enter<const char *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.av_packet_side_data_name(bridge::old::side_data_type_to_real(inp_type));
    });
}

BRIDGE_ENTRY int av_packet_merge_side_data(AVPacket *adsp_packet)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const int inl_merged = adsp_packet->side_data_elems > 0 ? 1 : 0;
        bridge::old::merge_side_data(dsp_ffmpeg, *adsp_packet);
        return inl_merged;
    });
}
