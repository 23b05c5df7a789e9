/** @file Memory that two processes share. */
#pragma once

#include "kivjniffmpeg/workers/descriptors.h"
#include "kivjniffmpeg/workers/mapping.h"

#include <cstddef>
#include <span>

/** A piece of memory of zero bytes whose size nobody can change: who shrank it would end the other side. */
class c_sealed_memory
{
public:
    /** @throws std::system_error when there is none, or no addresses for it */
    explicit c_sealed_memory(size_t ulp_size);

    /** For the other process. */
    int descriptor() const noexcept { return dsc_descriptor.get(); }
    std::span<std::byte> bytes() const noexcept { return dsc_mapping.bytes(); }

    /** The other process has it, or is gone. The memory stays. */
    void close_descriptor() noexcept { dsc_descriptor = c_descriptor(); }

    /**
     * Moves the memory to other addresses. At the old ones there are zero bytes, which belong to nobody else, until this object
     * is destroyed; whoever still knows an address may use it.
     *
     * @pre the descriptor is open
     * @throws std::system_error when there are no addresses for it; then it stays
     */
    c_sealed_memory move_away();

    /**
     * Makes all bytes zero. Nobody else may write to them.
     *
     * @param ulp_used at the beginning, bytes that the next owner is likely to use; their pages stay
     * @return false when the system does not take the other pages back, or has no memory for these
     */
    bool clear(size_t ulp_used) noexcept;

    /** Returns the pages of a part to the system. Their bytes become zero. @return whether it took them */
    static bool discard(std::span<std::byte> utp_part) noexcept;

private:
    c_sealed_memory(c_descriptor dsp_descriptor, c_mapping dsp_mapping) noexcept;

    c_descriptor dsc_descriptor;
    c_mapping dsc_mapping;
};
