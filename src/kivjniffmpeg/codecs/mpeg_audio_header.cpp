#include "kivjniffmpeg/codecs/mpeg_audio_header.h"

#include "trace/trace.h"

bool starts_with_mpeg_audio_header(std::span<const uint8_t> utp_bytes) noexcept
{
    const auto at = [utp_bytes](size_t ulp_index) -> unsigned int {
        return ulp_index < utp_bytes.size() ? utp_bytes[ulp_index] : 0U;
    };
    const unsigned int unl_first = at(0);
    const unsigned int unl_second = at(1);
    const unsigned int unl_third = at(2);
    const bool bl_sync = unl_first == 0xFF && (unl_second & 0xE0) == 0xE0;
    const bool bl_layer = (unl_second & 0x06) != 0;
    const bool bl_sample_rate = (unl_third & 0x0C) != 0x0C;
    const bool bl_bit_rate = (unl_third & 0xF0) != 0xF0;
    return bl_sync && bl_layer && bl_sample_rate && bl_bit_rate;
}

void trace_mpeg_audio_headers(std::span<const uint8_t> utp_bytes)
{
    TRACE_SCOPE("decode", 3);
    if (!trace_is_wanted())
        return;
    constexpr size_t ull_behind = 4;
    for (size_t ull_offset = 0; ull_offset + ull_behind < utp_bytes.size(); ++ull_offset) {
        if (starts_with_mpeg_audio_header(utp_bytes.subspan(ull_offset)))
            TRACE_LINE(im_level_debug, "%s#%s(): header at off=%d total=%d", static_cast<int>(ull_offset),
                       static_cast<int>(utp_bytes.size()));
    }
}
