#include "bridge/avcodec/options.h"

#include "bridge/old/entry.h"
#include "bridge/old/fields.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

namespace bridge::avcodec
{

namespace
{

/** A number of the context under the name that the 56 line has for it. */
struct dsd_number
{
    const char *strc_name;
    int inc_offset;
    bool bc_wide; // of 64 bits
};

#define BRIDGE_NUMBER(name, field)                                                                                     \
    dsd_number                                                                                                         \
    {                                                                                                                  \
        name, offsetof(AVCodecContext, field), sizeof(AVCodecContext::field) == sizeof(int64_t)                        \
    }
constexpr dsd_number s_numbers[] = {
    BRIDGE_NUMBER("b", bit_rate),
    BRIDGE_NUMBER("flags", flags),
    BRIDGE_NUMBER("flags2", flags2),
    BRIDGE_NUMBER("delay", delay),
    BRIDGE_NUMBER("codec_tag", codec_tag),
    BRIDGE_NUMBER("pixel_format", pix_fmt),
    BRIDGE_NUMBER("ar", sample_rate),
    BRIDGE_NUMBER("ac", channels),
    BRIDGE_NUMBER("frame_size", frame_size),
    BRIDGE_NUMBER("block_align", block_align),
    BRIDGE_NUMBER("channel_layout", channel_layout),
    BRIDGE_NUMBER("request_channel_layout", request_channel_layout),
    BRIDGE_NUMBER("request_sample_fmt", request_sample_fmt),
    BRIDGE_NUMBER("strict", strict_std_compliance),
    BRIDGE_NUMBER("bits_per_coded_sample", bits_per_coded_sample),
    BRIDGE_NUMBER("bits_per_raw_sample", bits_per_raw_sample),
    BRIDGE_NUMBER("threads", thread_count),
    BRIDGE_NUMBER("profile", profile),
};

int set_number(void *avp_context, const char *strp_name, int64_t ilp_value)
{
    const auto *adsl_number = std::ranges::find(s_numbers, std::string_view(strp_name), &dsd_number::strc_name);
    if (adsl_number == std::end(s_numbers))
        return old::in_option_not_found;
    auto *autl_field = static_cast<std::byte *>(avp_context) + adsl_number->inc_offset;
    const auto inl_value = static_cast<int>(ilp_value);
    if (adsl_number->bc_wide)
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

constexpr old::dsd_option_class ds_context_class{{"AVCodecContext", {}, nullptr, {}}, &set_text, &set_number};

} // namespace bridge::avcodec
