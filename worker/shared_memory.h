/** @file The memory that a worker shares with the process that gives it orders. */
#pragma once

#include "kivjniffmpeg/workers/mapping.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

/** A mapping of a sealed piece of memory. */
class c_shared_memory
{
public:
    /**
     * @param inp_descriptor of the piece; the mapping stays when it is closed
     * @throws std::system_error when it cannot be mapped, or has no room for the lanes
     */
    explicit c_shared_memory(int inp_descriptor);

    size_t size() const noexcept { return dsc_mapping.bytes().size(); }

    /** @throws std::out_of_range when the part is not within the memory behind the lanes */
    std::span<uint8_t> part(int64_t ilp_offset, int64_t ilp_length) const;

    /**
     * Takes the pages of a part at once, which is faster than one after the other when they are written to. The pages before a
     * part that was fetched count as fetched, and a large part is left as it is: it may be memory for a picture that never
     * comes. Any thread may call this.
     */
    void fetch_pages(std::span<uint8_t> utp_part) const noexcept;

    /** The bytes of a lane. @throws std::out_of_range when there is no such lane */
    std::span<uint8_t> lane(int32_t imp_lane) const;

private:
    std::span<uint8_t> bytes() const noexcept;

    c_mapping dsc_mapping;
    mutable std::atomic<uint8_t *> autc_fetched{}; /**< where the last part ends that was fetched */
};
