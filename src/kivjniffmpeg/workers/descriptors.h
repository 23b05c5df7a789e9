/** @file Owners of descriptors, and records that carry some over a socket. */
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <span>
#include <utility>

/** Owns a descriptor. */
class c_descriptor
{
public:
    explicit c_descriptor(int inp_descriptor = -1) noexcept : inc_descriptor(inp_descriptor) {}
    c_descriptor(c_descriptor &&dsp_other) noexcept : inc_descriptor(std::exchange(dsp_other.inc_descriptor, -1)) {}
    c_descriptor &operator=(c_descriptor &&dsp_other) noexcept
    {
        std::swap(inc_descriptor, dsp_other.inc_descriptor);
        return *this;
    }
    c_descriptor(const c_descriptor &) = delete;
    c_descriptor &operator=(const c_descriptor &) = delete;
    ~c_descriptor();

    int get() const noexcept { return inc_descriptor; }
    int detach() noexcept { return std::exchange(inc_descriptor, -1); }
    explicit operator bool() const noexcept { return inc_descriptor >= 0; }

private:
    int inc_descriptor;
};

namespace descriptors
{

/** Both ends of a new socket that carries records. @throws std::system_error */
std::pair<c_descriptor, c_descriptor> socket_pair();

/** Sends a record, and descriptors with it. @throws std::system_error */
void send(int inp_socket, std::span<const std::byte> dsp_record, std::span<const int> ainp_descriptors = {});

/** The most descriptors that come with a record. */
inline constexpr size_t ul_most = 2;

/** A record that arrived. */
struct dsd_received
{
    size_t ulc_length = 0; /**< bytes of the record; 0 when the other end is closed */
    std::array<c_descriptor, ul_most> adsc_descriptors;
};

/** Waits for a record, which is cut to the room for it. @throws std::system_error */
dsd_received receive(int inp_socket, std::span<std::byte> dsp_room);

/** Whether a record, the other end's close or a process's end is there, or comes within the time. */
bool is_readable(int inp_descriptor, std::chrono::milliseconds dsp_longest = {}) noexcept;

} // namespace descriptors
