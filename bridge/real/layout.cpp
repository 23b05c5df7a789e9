#include "bridge/real/layout.h"

#include <algorithm>
#include <iterator>

namespace bridge::real
{

namespace
{

constexpr dsd_layout s_layouts[] = {
#include "bridge/tables/layouts.inc"
};

// The structures that types.h declares.
#define BRIDGE_SAME(structure, field)                                                                                  \
    static_assert(std::ranges::all_of(s_layouts, [](const dsd_layout &dsp_layout) {                                    \
        return dsp_layout.structure.field.imc_offset == offsetof(structure, field);                                    \
    }))
BRIDGE_SAME(channel_layout, order);
BRIDGE_SAME(channel_layout, nb_channels);
BRIDGE_SAME(packet_side_data, data);
BRIDGE_SAME(packet_side_data, size);
BRIDGE_SAME(packet_side_data, type);
BRIDGE_SAME(packet, buf);
BRIDGE_SAME(packet, pts);
BRIDGE_SAME(packet, dts);
BRIDGE_SAME(packet, data);
BRIDGE_SAME(packet, size);
BRIDGE_SAME(packet, stream_index);
BRIDGE_SAME(packet, flags);
BRIDGE_SAME(packet, side_data);
BRIDGE_SAME(packet, side_data_elems);
BRIDGE_SAME(packet, duration);
BRIDGE_SAME(packet, pos);
BRIDGE_SAME(codec, name);
BRIDGE_SAME(codec, long_name);
BRIDGE_SAME(codec, type);
BRIDGE_SAME(codec, id);
BRIDGE_SAME(codec, capabilities);
BRIDGE_SAME(codec, sample_fmts);
BRIDGE_SAME(codec_descriptor, id);
BRIDGE_SAME(codec_descriptor, type);
BRIDGE_SAME(codec_descriptor, name);
BRIDGE_SAME(codec_descriptor, long_name);
BRIDGE_SAME(chapter, id);
BRIDGE_SAME(chapter, time_base);
BRIDGE_SAME(chapter, start);
BRIDGE_SAME(chapter, end);
BRIDGE_SAME(chapter, metadata);
BRIDGE_SAME(program, id);
BRIDGE_SAME(program, stream_index);
BRIDGE_SAME(program, nb_stream_indexes);
BRIDGE_SAME(program, metadata);
BRIDGE_SAME(program, program_num);
BRIDGE_SAME(program, pmt_pid);
BRIDGE_SAME(program, pcr_pid);
BRIDGE_SAME(parser, pict_type);
BRIDGE_SAME(parser, pts);
BRIDGE_SAME(parser, dts);
BRIDGE_SAME(parser, key_frame);
BRIDGE_SAME(input_format, name);
BRIDGE_SAME(input_format, long_name);
BRIDGE_SAME(input_format, flags);
BRIDGE_SAME(io_context, buffer);
BRIDGE_SAME(io_context, buffer_size);
BRIDGE_SAME(io_context, buf_ptr);
BRIDGE_SAME(io_context, buf_end);
BRIDGE_SAME(io_context, opaque);
BRIDGE_SAME(io_context, pos);
BRIDGE_SAME(io_context, eof_reached);
BRIDGE_SAME(io_context, error);
BRIDGE_SAME(io_context, seekable);
#undef BRIDGE_SAME

} // namespace

const dsd_layout *find_layout(int inp_avcodec_major) noexcept
{
    const auto *adsl_found = std::ranges::find(s_layouts, inp_avcodec_major, &dsd_layout::inc_avcodec);
    return adsl_found == std::end(s_layouts) ? nullptr : adsl_found;
}

} // namespace bridge::real
