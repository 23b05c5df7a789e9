/** @file Whether an MP4 that is read forward only describes its samples before they come. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/**
 * Follows the outermost boxes of an MP4 or QuickTime file as its bytes pass, in pieces of any size.
 *
 * FFmpeg's reader goes over samples to the box "moov" behind them, and then goes back. Forward only it would read the
 * whole, and find every packet missing.
 */
class c_forward_boxes
{
public:
    /** The next bytes. */
    void pass(std::span<const uint8_t> utp_bytes) noexcept;

    /** Whether samples came, and "moov" did not. */
    bool samples_first() const noexcept { return bc_samples && !bc_moov; }

private:
    void begin_box() noexcept;

    static constexpr size_t ul_short_header = 8;
    static constexpr size_t ul_long_header = 16;

    std::array<uint8_t, ul_long_header> utc_header{};
    size_t ulc_header = 0; // how many bytes of it came
    uint64_t ulc_skip = 0; // bytes of the box that do not matter
    bool bc_moov = false;
    bool bc_samples = false;
};
