/** @file Start codes kept whole for decoders that take packets cut anywhere. */
#pragma once

#include "kivjniffmpeg/ffmpeg/padded_bytes.h"

#include <cstdint>
#include <span>
#include <vector>

/**
 * Withholds the beginning of a start code at the end of a packet, and puts it before the next packet.
 *
 * When a start code is cut in two, FFmpeg's splitter reads its beginning again from its own memory, which 2.8.1 has
 * lost if the picture in between began a new sequence. The splitter reports a start code at its last byte, so
 * withholding the others changes no picture. Used by the thread that runs the codec.
 */
class c_start_code_guard
{
public:
    /** A longer chain of start codes that share bytes is dropped, because no stream has one. */
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
