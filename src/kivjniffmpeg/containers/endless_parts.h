/** @file Keeps parts of containers from FFmpeg in whose readers it may never return. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/**
 * Renames two parts of containers on their way to FFmpeg, which then skips them: the markers of ASF, which FFmpeg counts
 * behind the end of the file too, and the list of Nikon tags in AVI, whose end FFmpeg waits for where a file ends before.
 * Both loops ask for no bytes, so that no limit ends them. The library uses nothing of these parts.
 *
 * The bytes of a name may come in several portions: the change is made in its last byte.
 */
class c_endless_parts
{
public:
    /** The next bytes do not follow the last ones. */
    void jump() noexcept { utc_last = {}; }

    /** Renames the parts whose names end in these bytes. */
    void rename(std::span<uint8_t> utp_bytes) noexcept;

private:
    static constexpr size_t ul_longest_name = 16;

    void rename(std::span<uint8_t> utp_bytes, std::span<const int> inp_name) noexcept;

    std::array<uint8_t, ul_longest_name> utc_last{}; // the bytes before the next ones
};
