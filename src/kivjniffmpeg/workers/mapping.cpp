#include "kivjniffmpeg/workers/mapping.h"

#include <sys/mman.h>

#include <cerrno>
#include <system_error>
#include <utility>

c_mapping::c_mapping(int inp_memory, size_t ulp_size)
{
    void *avl_memory = mmap(nullptr, ulp_size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_NORESERVE, inp_memory, 0);
    if (avl_memory == MAP_FAILED)
        throw std::system_error(errno, std::generic_category(), "shared memory cannot be mapped");
    dsc_bytes = {static_cast<std::byte *>(avl_memory), ulp_size};
}

c_mapping::c_mapping(c_mapping &&dsp_other) noexcept : dsc_bytes(std::exchange(dsp_other.dsc_bytes, {})) {}

void c_mapping::make_blank()
{
    if (mmap(dsc_bytes.data(), dsc_bytes.size(), PROT_READ | PROT_WRITE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0) == MAP_FAILED)
        throw std::system_error(errno, std::generic_category(), "shared memory cannot be replaced");
}

c_mapping::~c_mapping()
{
    if (!dsc_bytes.empty())
        munmap(dsc_bytes.data(), dsc_bytes.size());
}
