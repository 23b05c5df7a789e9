#include "kivjniffmpeg/workers/descriptors.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>

c_descriptor::~c_descriptor()
{
    if (inc_descriptor >= 0)
        close(inc_descriptor);
}

namespace
{

[[noreturn]] void fail(const char *strp_what)
{
    throw std::system_error(errno, std::generic_category(), strp_what);
}

/** Repeats a call that a signal ended. */
template <class CALL> ssize_t repeat(CALL dsp_call)
{
    ssize_t ill_result = 0;
    do {
        ill_result = dsp_call();
    } while (ill_result < 0 && errno == EINTR);
    return ill_result;
}

} // namespace

std::pair<c_descriptor, c_descriptor> descriptors::socket_pair()
{
    std::array<int, 2> ainl_ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ainl_ends.data()) != 0)
        fail("no socket for a worker");
    return {c_descriptor(ainl_ends[0]), c_descriptor(ainl_ends[1])};
}

void descriptors::send(int inp_socket, std::span<const std::byte> dsp_record, std::span<const int> ainp_descriptors)
{
    iovec dsl_part{const_cast<std::byte *>(dsp_record.data()), dsp_record.size()}; // sendmsg does not write to it
    alignas(cmsghdr) std::array<char, CMSG_SPACE(ul_most * sizeof(int))> byrl_control{};
    msghdr dsl_message{};
    dsl_message.msg_iov = &dsl_part;
    dsl_message.msg_iovlen = 1;
    if (!ainp_descriptors.empty()) {
        const size_t ull_count = std::min(ainp_descriptors.size(), ul_most);
        dsl_message.msg_control = byrl_control.data();
        dsl_message.msg_controllen = CMSG_SPACE(ull_count * sizeof(int));
        cmsghdr *adsl_head = CMSG_FIRSTHDR(&dsl_message);
        adsl_head->cmsg_level = SOL_SOCKET;
        adsl_head->cmsg_type = SCM_RIGHTS;
        adsl_head->cmsg_len = CMSG_LEN(ull_count * sizeof(int));
        std::memcpy(CMSG_DATA(adsl_head), ainp_descriptors.data(), ull_count * sizeof(int));
    }
    if (repeat([&] { return sendmsg(inp_socket, &dsl_message, MSG_NOSIGNAL); }) < 0)
        fail("a worker's socket is closed");
}

descriptors::dsd_received descriptors::receive(int inp_socket, std::span<std::byte> dsp_room)
{
    iovec dsl_part{dsp_room.data(), dsp_room.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(ul_most * sizeof(int))> byrl_control{};
    msghdr dsl_message{};
    dsl_message.msg_iov = &dsl_part;
    dsl_message.msg_iovlen = 1;
    dsl_message.msg_control = byrl_control.data();
    dsl_message.msg_controllen = byrl_control.size();
    const ssize_t ill_length = repeat([&] { return recvmsg(inp_socket, &dsl_message, MSG_CMSG_CLOEXEC); });
    if (ill_length < 0)
        fail("a worker's socket cannot be read");
    dsd_received dsl_received;
    dsl_received.ulc_length = static_cast<size_t>(ill_length);
    for (cmsghdr *adsl_head = CMSG_FIRSTHDR(&dsl_message); adsl_head != nullptr;
         adsl_head = CMSG_NXTHDR(&dsl_message, adsl_head)) {
        if (adsl_head->cmsg_level != SOL_SOCKET || adsl_head->cmsg_type != SCM_RIGHTS)
            continue;
        const size_t ull_count = std::min((adsl_head->cmsg_len - CMSG_LEN(0)) / sizeof(int), ul_most);
        for (size_t ull_index = 0; ull_index < ull_count; ++ull_index) {
            int inl_descriptor = -1;
            std::memcpy(&inl_descriptor, CMSG_DATA(adsl_head) + ull_index * sizeof(int), sizeof inl_descriptor);
            dsl_received.adsc_descriptors[ull_index] = c_descriptor(inl_descriptor);
        }
    }
    return dsl_received;
}

bool descriptors::is_readable(int inp_descriptor, std::chrono::milliseconds dsp_longest) noexcept
{
    using clock = std::chrono::steady_clock;
    pollfd dsl_polled{inp_descriptor, POLLIN, 0};
    const auto dsl_end = clock::now() + dsp_longest;
    int inl_ready = 0;
    do { // a virtual machine's signals end the wait early
        const auto dsl_left = std::chrono::duration_cast<std::chrono::milliseconds>(dsl_end - clock::now());
        inl_ready = poll(&dsl_polled, 1, static_cast<int>(std::max<int64_t>(dsl_left.count(), 0)));
    } while (inl_ready < 0 && errno == EINTR);
    return inl_ready > 0;
}
