#include "kivjniffmpeg/codecs/start_code_guard.h"

#include "memory/bytes.h"

#include <algorithm>

namespace
{

/** Whether the bytes may begin a start code, 00 00 01 xx or H.263's 00 00 8x xx; they may be fewer than its four. */
bool may_begin_start_code(std::span<const uint8_t> utp_bytes)
{
    const auto is_unknown_or = [utp_bytes](size_t ulp_index, auto dsp_fits) {
        return ulp_index >= utp_bytes.size() || dsp_fits(utp_bytes[ulp_index]);
    };
    const auto is_zero = [](uint8_t utp_byte) { return utp_byte == 0; };
    const auto is_third = [](uint8_t utp_byte) { return utp_byte == 1 || (utp_byte & 0xFC) == 0x80; };
    return is_unknown_or(0, is_zero) && is_unknown_or(1, is_zero) && is_unknown_or(2, is_third);
}

/** Bytes at the end that are the first, but not all, of a start code. Start codes that share a byte count as one. */
size_t begun_start_code_length(std::span<const uint8_t> utp_bytes)
{
    constexpr size_t ull_most = 3; // of the four bytes of a start code
    size_t ull_whole = utp_bytes.size();
    for (size_t ull_back = ull_most; ull_back > 0;) {
        if (ull_whole >= ull_back && may_begin_start_code(utp_bytes.subspan(ull_whole - ull_back))) {
            ull_whole -= ull_back;
            ull_back = ull_most;
        } else {
            --ull_back;
        }
    }
    return utp_bytes.size() - ull_whole;
}

} // namespace

std::span<uint8_t> c_start_code_guard::guard(std::span<const uint8_t> utp_packet)
{
    const std::span utl_joined = dsc_joined.prepare(utc_withheld.size() + utp_packet.size());
    copy_bytes(utc_withheld, utl_joined);
    copy_bytes(utp_packet, utl_joined.subspan(utc_withheld.size()));
    const std::span utl_begun = utl_joined.last(begun_start_code_length(utl_joined));
    utc_withheld.assign(utl_begun.begin(), utl_begun.end());
    if (utc_withheld.size() > ul_longest_start_codes)
        utc_withheld.clear();
    std::ranges::fill(utl_begun, uint8_t{0}); // padding from now on
    return utl_joined.first(utl_joined.size() - utl_begun.size());
}
