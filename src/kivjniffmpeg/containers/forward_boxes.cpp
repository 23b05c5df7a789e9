#include "kivjniffmpeg/containers/forward_boxes.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

void c_forward_boxes::pass(std::span<const uint8_t> utp_bytes) noexcept
{
    while (!utp_bytes.empty() && !bc_moov && !bc_samples) {
        if (ulc_skip > 0) {
            const auto ull_count = static_cast<size_t>(std::min<uint64_t>(ulc_skip, utp_bytes.size()));
            utp_bytes = utp_bytes.subspan(ull_count);
            ulc_skip -= ull_count;
            continue;
        }
        utc_header.at(ulc_header++) = utp_bytes.front();
        utp_bytes = utp_bytes.subspan(1);
        if (ulc_header >= ul_short_header)
            begin_box();
    }
}

/** The header has at least its short form. */
void c_forward_boxes::begin_box() noexcept
{
    const auto dsl_number = [this](size_t ulp_from, size_t ulp_bytes) {
        uint64_t ull_number = 0;
        for (const uint8_t utl_byte : std::span(utc_header).subspan(ulp_from, ulp_bytes))
            ull_number = ull_number << 8U | utl_byte;
        return ull_number;
    };
    uint64_t ull_size = dsl_number(0, 4);
    if (ull_size == 1 && ulc_header < ul_long_header)
        return; // the size has 64 bits and follows
    if (ull_size == 1)
        ull_size = dsl_number(ul_short_header, ul_short_header);
    std::array<char, 4> byrl_type{};
    std::memcpy(byrl_type.data(), utc_header.data() + 4, byrl_type.size());
    const std::string_view strl_type(byrl_type.data(), byrl_type.size());
    bc_moov = strl_type == "moov" || strl_type == "meta"; // the latter in AVIF
    bc_samples = strl_type == "mdat" && ull_size != ulc_header;
    // Without a size the box goes on to the end.
    ulc_skip =
        ull_size == 0 ? std::numeric_limits<uint64_t>::max() : std::max<uint64_t>(ull_size, ulc_header) - ulc_header;
    ulc_header = 0;
}
