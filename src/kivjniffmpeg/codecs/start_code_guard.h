/** @file Start codes kept whole for decoders that take packets cut anywhere. */
#pragma once

#include "kivjniffmpeg/ffmpeg/padded_bytes.h"

#include <cstdint>
#include <span>
#include <vector>

/**
 * Withholds a start code that begins at the end of a packet and puts it before the next packet.
 *
 * A start code that is cut in two makes FFmpeg's splitter go back into its memory, which 2.8.1 has lost when the picture
 * between the two packets began a new sequence. The splitter finds a code with its last byte, so it finds the same
 * pictures as before. Used by the thread that runs the codec.
 */
class c_start_code_guard
{
public:
    /** Start codes that share bytes over more than this many bytes are dropped: no stream looks like that. */
    static constexpr size_t ul_longest_start_codes = 64;

    /**
     * @param utp_packet copied
     * @return the bytes withheld before and this packet's, up to the start code that its end begins. FFmpeg's input
     *         padding, all zero, follows them. Valid until the next call.
     */
    std::span<uint8_t> guard(std::span<const uint8_t> utp_packet);

    /** Drops what is withheld: nothing comes that could complete it. */
    void clear() noexcept { utc_withheld.clear(); }

private:
    c_padded_bytes dsc_joined;
    std::vector<uint8_t> utc_withheld;
};
