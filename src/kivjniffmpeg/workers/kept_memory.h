/** @file What a worker leaves to the next one. */
#pragma once

#include "kivjniffmpeg/workers/descriptors.h"
#include "kivjniffmpeg/workers/sealed_memory.h"

#include <cstddef>

/**
 * The memory that a killed worker shared. Its pages cost less than new ones, as the system clears and enters those one by one.
 * The next worker gets it when the old process has ended and all bytes are zero, so that it sees nothing of the last film.
 */
class c_kept_memory
{
public:
    /**
     * @param dsp_process of the worker
     * @param ulp_used bytes at its beginning that were in use
     */
    c_kept_memory(c_descriptor dsp_process, c_sealed_memory dsp_memory, size_t ulp_used) noexcept;

    /** Makes all bytes zero. @return false when the process has not ended yet, or the system does not take pages back */
    bool clear() noexcept;
    bool is_clear() const noexcept { return bc_clear; }

    c_sealed_memory &memory() noexcept { return dsc_memory; }

private:
    c_descriptor dsc_process;
    c_sealed_memory dsc_memory;
    size_t ulc_used;
    bool bc_clear = false;
};
