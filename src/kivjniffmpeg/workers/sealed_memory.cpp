#include "kivjniffmpeg/workers/sealed_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace
{

c_descriptor sealed(size_t ulp_size)
{
    c_descriptor dsl_memory(memfd_create("kivjniffmpeg", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!dsl_memory || ftruncate(dsl_memory.get(), static_cast<off_t>(ulp_size)) != 0 ||
        fcntl(dsl_memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
        throw std::system_error(errno, std::generic_category(), "no shared memory");
    return dsl_memory;
}

} // namespace

c_sealed_memory::c_sealed_memory(size_t ulp_size)
    : dsc_descriptor(sealed(ulp_size)), dsc_mapping(dsc_descriptor.get(), ulp_size)
{
}

c_sealed_memory::c_sealed_memory(c_descriptor dsp_descriptor, c_mapping dsp_mapping) noexcept
    : dsc_descriptor(std::move(dsp_descriptor)), dsc_mapping(std::move(dsp_mapping))
{
}

c_sealed_memory c_sealed_memory::move_away()
{
    c_mapping dsl_elsewhere(dsc_descriptor.get(), bytes().size());
    dsc_mapping.make_blank();
    return {std::exchange(dsc_descriptor, c_descriptor()), std::move(dsl_elsewhere)};
}

bool c_sealed_memory::clear(size_t ulp_used) noexcept
{
    const auto utl_used = bytes().first(std::min(ulp_used, bytes().size()));
    if (!discard(bytes().subspan(utl_used.size())))
        return false;
    // Pages that are there already are mapped several at a time, and a missing one that cannot be had is an error here, not a
    // signal below. Kernels before 5.14 do not know it.
    if (!utl_used.empty() && madvise(utl_used.data(), utl_used.size(), MADV_POPULATE_READ) != 0 && errno != EINVAL)
        return false;
    std::ranges::fill(utl_used, std::byte{});
    return true;
}

bool c_sealed_memory::discard(std::span<std::byte> utp_part) noexcept
{
    return utp_part.empty() || madvise(utp_part.data(), utp_part.size(), MADV_REMOVE) == 0;
}
