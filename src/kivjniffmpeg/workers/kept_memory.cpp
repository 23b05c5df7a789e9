#include "kivjniffmpeg/workers/kept_memory.h"

#include <utility>

c_kept_memory::c_kept_memory(c_descriptor dsp_process, c_sealed_memory dsp_memory, size_t ulp_used) noexcept
    : dsc_process(std::move(dsp_process)), dsc_memory(std::move(dsp_memory)), ulc_used(ulp_used)
{
}

bool c_kept_memory::clear() noexcept
{
    // The descriptor of a process is readable when none of its threads runs any more.
    if (!bc_clear && descriptors::is_readable(dsc_process.get())) {
        bc_clear = dsc_memory.clear(ulc_used);
        dsc_process = c_descriptor();
    }
    return bc_clear;
}
