#include "bridge/avcodec/options.h"

#include "bridge/old/entry.h"
#include "bridge/old/fields.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
#include <string_view>

namespace bridge::avcodec
{

namespace
{

#define BRIDGE_OPTION(name, field) old::option_of(name, offsetof(AVCodecContext, field), sizeof(AVCodecContext::field))
constexpr old::dsd_option s_options[] = {
    BRIDGE_OPTION("b", bit_rate),
    BRIDGE_OPTION("flags", flags),
    BRIDGE_OPTION("flags2", flags2),
    BRIDGE_OPTION("time_base", time_base),
    BRIDGE_OPTION("delay", delay),
    BRIDGE_OPTION("codec_tag", codec_tag),
    BRIDGE_OPTION("video_size", width),
    BRIDGE_OPTION("pixel_format", pix_fmt),
    BRIDGE_OPTION("aspect", sample_aspect_ratio),
    BRIDGE_OPTION("ar", sample_rate),
    BRIDGE_OPTION("ac", channels),
    BRIDGE_OPTION("frame_size", frame_size),
    BRIDGE_OPTION("block_align", block_align),
    BRIDGE_OPTION("channel_layout", channel_layout),
    BRIDGE_OPTION("request_channel_layout", request_channel_layout),
    BRIDGE_OPTION("request_sample_fmt", request_sample_fmt),
    BRIDGE_OPTION("strict", strict_std_compliance),
    BRIDGE_OPTION("err_detect", err_recognition),
    BRIDGE_OPTION("bits_per_coded_sample", bits_per_coded_sample),
    BRIDGE_OPTION("bits_per_raw_sample", bits_per_raw_sample),
    BRIDGE_OPTION("threads", thread_count),
    BRIDGE_OPTION("profile", profile),
    BRIDGE_OPTION("level", level),
    BRIDGE_OPTION("color_primaries", color_primaries),
    BRIDGE_OPTION("color_trc", color_trc),
    BRIDGE_OPTION("colorspace", colorspace),
    BRIDGE_OPTION("color_range", color_range),
    BRIDGE_OPTION("chroma_sample_location", chroma_sample_location),
    BRIDGE_OPTION("field_order", field_order),
    old::constant_of("explode", AV_EF_EXPLODE),
    old::constant_of("emu_edge", CODEC_FLAG_EMU_EDGE),
    old::constant_of("truncated", CODEC_FLAG_TRUNCATED),
    old::constant_of("skip_manual", CODEC_FLAG2_SKIP_MANUAL),
    old::constant_of("experimental", FF_COMPLIANCE_EXPERIMENTAL),
    {},
};

#define BRIDGE_FRAME_OPTION(name) old::option_of(#name, offsetof(AVFrame, name), sizeof(AVFrame::name))
constexpr old::dsd_option s_frame_options[] = {
    BRIDGE_FRAME_OPTION(width),       BRIDGE_FRAME_OPTION(height),         BRIDGE_FRAME_OPTION(format),
    BRIDGE_FRAME_OPTION(sample_rate), BRIDGE_FRAME_OPTION(channel_layout), {},
};

int set_number(void *avp_context, const char *strp_name, int64_t ilp_value)
{
    const auto dsl_options = std::span(s_options).first(std::size(s_options) - 1);
    const auto dsl_option = std::ranges::find(dsl_options, std::string_view(strp_name), &old::dsd_option::name);
    if (dsl_option == dsl_options.end() || dsl_option->type == old::in_type_constant)
        return old::in_option_not_found;
    auto *autl_field = static_cast<std::byte *>(avp_context) + dsl_option->offset;
    const auto inl_value = static_cast<int>(ilp_value);
    if (dsl_option->type == old::in_type_wide_integer)
        std::memcpy(autl_field, &ilp_value, sizeof ilp_value);
    else
        std::memcpy(autl_field, &inl_value, sizeof inl_value);
    return 0;
}

int set_text(void *avp_context, const char *strp_name, const char *strp_value)
{
    auto &dsl_context = *static_cast<AVCodecContext *>(avp_context);
    if (std::string_view(strp_name) == "video_size")
        return std::sscanf(strp_value, "%dx%d", &dsl_context.width, &dsl_context.height) == 2 ? 0 : AVERROR(EINVAL);
    int64_t ill_value = 0;
    return std::sscanf(strp_value, "%ld", &ill_value) == 1 ? set_number(avp_context, strp_name, ill_value)
                                                           : AVERROR(EINVAL);
}

} // namespace

const old::dsd_option_class ds_context_class{
    {"AVCodecContext", {}, old::table_of(s_options), {}}, &set_text, &set_number};

} // namespace bridge::avcodec

BRIDGE_ENTRY const AVClass *avcodec_get_class(void)
{
    return &bridge::avcodec::ds_context_class.dsc_class;
}

BRIDGE_ENTRY const AVClass *avcodec_get_frame_class(void)
{
    static const AVClass dsl_class{"AVFrame", {}, bridge::old::table_of(bridge::avcodec::s_frame_options), {}};
    return &dsl_class;
}
