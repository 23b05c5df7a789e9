#include "kivjniffmpeg/containers/packet_fields.h"

#include "kivjniffmpeg/ffmpeg/skipped_samples.h"

namespace PacketFields = natives::PacketFields;

std::array<int64_t, PacketFields::SIZE_WITH_LENGTH> packet_fields(const AVPacket &dsp_packet)
{
    std::array<int64_t, PacketFields::SIZE_WITH_LENGTH> aill_fields{};
    aill_fields[PacketFields::STREAM] = dsp_packet.stream_index;
    aill_fields[PacketFields::PRESENTATION_TIME] = dsp_packet.pts;
    aill_fields[PacketFields::DECODING_TIME] = dsp_packet.dts;
    aill_fields[PacketFields::DURATION] = dsp_packet.duration;
    aill_fields[PacketFields::FLAGS] = dsp_packet.flags;
    aill_fields[PacketFields::POSITION] = dsp_packet.pos;
    const auto dsl_skipped =
        skipped_samples::find(dsp_packet.side_data, dsp_packet.side_data_elems, AV_PKT_DATA_SKIP_SAMPLES);
    aill_fields[PacketFields::SKIP_START] = dsl_skipped ? dsl_skipped->ilc_start : -1;
    aill_fields[PacketFields::SKIP_END] = dsl_skipped ? dsl_skipped->ilc_end : 0;
    aill_fields[PacketFields::LENGTH] = dsp_packet.size;
    return aill_fields;
}
