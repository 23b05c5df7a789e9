/** @file Packets of H.264 as MP4 has them: units with their length in front. */
#pragma once

#include <cstdint>
#include <span>

namespace bridge::avcodec
{

/**
 * The bytes of a packet up to the first unit whose length is impossible. The 56 line decodes the units before it, and the
 * newer FFmpeg none.
 *
 * @param utp_extradata the decoder's; it has the size of the lengths
 * @return the whole packet, if the first unit is impossible or units have no lengths
 */
std::span<const uint8_t> whole_units(std::span<const uint8_t> utp_extradata,
                                     std::span<const uint8_t> utp_packet) noexcept;

} // namespace bridge::avcodec
