/** @file An owner of shared memory's addresses. */
#pragma once

#include <cstddef>
#include <span>

/** A piece of shared memory that can be read and written, until this object is destroyed. */
class c_mapping
{
public:
    /**
     * @param inp_memory descriptor of the memory; the mapping stays when it is closed
     * @throws std::system_error when it cannot be mapped
     */
    c_mapping(int inp_memory, size_t ulp_size);
    ~c_mapping();
    c_mapping(c_mapping &&dsp_other) noexcept;
    c_mapping(const c_mapping &) = delete;
    c_mapping &operator=(const c_mapping &) = delete;
    c_mapping &operator=(c_mapping &&) = delete;

    std::span<std::byte> bytes() const noexcept { return dsc_bytes; }

    /**
     * Puts zero bytes at these addresses that are not shared. No thread that uses an address meets a moment without any.
     *
     * @throws std::system_error when the system refuses that; then all is as before
     */
    void make_blank();

private:
    std::span<std::byte> dsc_bytes;
};
