#include "bridge/avcodec/avc_packets.h"

namespace bridge::avcodec
{

std::span<const uint8_t> whole_units(std::span<const uint8_t> utp_extradata,
                                     std::span<const uint8_t> utp_packet) noexcept
{
    constexpr size_t ul_least_extradata = 7;
    if (utp_extradata.size() < ul_least_extradata || utp_extradata[0] != 1)
        return utp_packet;
    const size_t ull_length_size = (utp_extradata[4] & 3U) + 1;
    size_t ull_whole = 0;
    while (utp_packet.size() - ull_whole > ull_length_size) {
        uint64_t ull_length = 0;
        for (const uint8_t utl_byte : utp_packet.subspan(ull_whole, ull_length_size))
            ull_length = ull_length << 8 | utl_byte;
        if (ull_length == 0 || ull_length > utp_packet.size() - ull_whole - ull_length_size)
            break;
        // A start code in place of the lengths: the packet has no lengths at all.
        if (ull_whole == 0 && ull_length_size == 4 && ull_length == 1)
            return utp_packet;
        ull_whole += ull_length_size + ull_length;
    }
    return ull_whole == 0 ? utp_packet : utp_packet.first(ull_whole);
}

} // namespace bridge::avcodec
