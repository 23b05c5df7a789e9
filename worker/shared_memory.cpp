#include "worker/shared_memory.h"

#include <natives/WorkerLane.h>

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace WorkerLane = natives::WorkerLane;

static_assert(WorkerLane::LANES * WorkerLane::SIZE <= WorkerLane::END);

namespace
{

size_t size_of(int inp_memory)
{
    struct stat dsl_status
    {
    };
    if (fstat(inp_memory, &dsl_status) != 0)
        throw std::system_error(errno, std::generic_category(), "shared memory without a size");
    const auto ull_size = static_cast<size_t>(dsl_status.st_size);
    if (ull_size <= WorkerLane::END)
        throw std::system_error(EINVAL, std::generic_category(), "shared memory is too small");
    return ull_size;
}

} // namespace

c_shared_memory::c_shared_memory(int inp_descriptor) : dsc_mapping(inp_descriptor, size_of(inp_descriptor)) {}

std::span<uint8_t> c_shared_memory::bytes() const noexcept
{
    const auto dsl_bytes = dsc_mapping.bytes();
    return {reinterpret_cast<uint8_t *>(dsl_bytes.data()), dsl_bytes.size()};
}

std::span<uint8_t> c_shared_memory::part(int64_t ilp_offset, int64_t ilp_length) const
{
    const auto ill_size = static_cast<int64_t>(size());
    if (ilp_offset < WorkerLane::END || ilp_length < 0 || ilp_offset > ill_size || ilp_length > ill_size - ilp_offset)
        throw std::out_of_range("a part outside of the shared memory");
    return bytes().subspan(static_cast<size_t>(ilp_offset), static_cast<size_t>(ilp_length));
}

void c_shared_memory::fetch_pages(std::span<uint8_t> utp_part) const noexcept
{
    uint8_t *autl_end = utp_part.data() + utp_part.size();
    uint8_t *autl_begin = std::max(utp_part.data(), autc_fetched.load(std::memory_order_relaxed));
    constexpr size_t ul_large = size_t{8} << 20U;
    if (autl_begin >= autl_end || utp_part.size() > ul_large)
        return;
    autc_fetched.store(autl_end, std::memory_order_relaxed);
    constexpr uintptr_t ul_page = 4096;
    autl_begin -= reinterpret_cast<uintptr_t>(autl_begin) % ul_page;
    // Kernels before 5.14 do not know it. Then pages come when they are written to.
    madvise(autl_begin, static_cast<size_t>(autl_end - autl_begin), MADV_POPULATE_READ);
}

std::span<uint8_t> c_shared_memory::lane(int32_t imp_lane) const
{
    if (imp_lane < 0 || imp_lane >= WorkerLane::LANES)
        throw std::out_of_range("no such lane");
    return bytes().subspan(static_cast<size_t>(imp_lane) * WorkerLane::SIZE, WorkerLane::SIZE);
}
