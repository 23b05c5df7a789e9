/** @file Copies of bytes. */
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

/** Copies bytes to a place that has room for them. std::ranges::copy over spans becomes a loop of single bytes. */
inline void copy_bytes(std::span<const uint8_t> utp_from, std::span<uint8_t> utp_to) noexcept
{
    if (!utp_from.empty())
        std::memcpy(utp_to.data(), utp_from.data(), utp_from.size());
}
