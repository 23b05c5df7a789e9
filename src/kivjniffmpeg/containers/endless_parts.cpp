#include "kivjniffmpeg/containers/endless_parts.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr int in_any = -1;
constexpr int ain_nikon_list[] = {'L', 'I', 'S', 'T', in_any, in_any, in_any, in_any, 'n', 'c', 'd', 't'};
constexpr int ain_asf_markers[] = {0x01, 0xCD, 0x87, 0xF4, 0x51, 0xA9, 0xCF, 0x11,
                                   0x8E, 0xE6, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65};

} // namespace

void c_endless_parts::rename(std::span<uint8_t> utp_bytes) noexcept
{
    rename(utp_bytes, ain_nikon_list);
    rename(utp_bytes, ain_asf_markers);
    const size_t ull_new = std::min(utp_bytes.size(), utc_last.size());
    std::shift_left(utc_last.begin(), utc_last.end(), static_cast<ptrdiff_t>(ull_new));
    std::ranges::copy(utp_bytes.last(ull_new), utc_last.end() - static_cast<ptrdiff_t>(ull_new));
}

void c_endless_parts::rename(std::span<uint8_t> utp_bytes, std::span<const int> inp_name) noexcept
{
    // Whole files pass here, so the name is looked for by its last byte, vector by vector.
    for (auto utl_rest = utp_bytes; !utl_rest.empty();) {
        auto *autl_found = static_cast<uint8_t *>(std::memchr(utl_rest.data(), inp_name.back(), utl_rest.size()));
        if (autl_found == nullptr)
            return;
        const auto ull_end = static_cast<size_t>(autl_found - utp_bytes.data()) + 1;
        // A byte by its distance before the end, in these bytes or in those before.
        const auto dsl_back = [&](size_t ulp_distance) {
            return ulp_distance <= ull_end ? utp_bytes[ull_end - ulp_distance]
                                           : utc_last[utc_last.size() + ull_end - ulp_distance];
        };
        size_t ull_distance = 1;
        for (; ull_distance <= inp_name.size(); ++ull_distance) {
            const int inl_byte = inp_name[inp_name.size() - ull_distance];
            if (inl_byte != in_any && inl_byte != dsl_back(ull_distance))
                break;
        }
        if (ull_distance > inp_name.size())
            *autl_found = '-';
        utl_rest = utp_bytes.subspan(ull_end);
    }
}
