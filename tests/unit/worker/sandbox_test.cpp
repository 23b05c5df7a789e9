// What a process can still do after it gave up its rights, tried in children that try it.

#include "worker/sandbox.h"
#include "worker/syscall_filter.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr int in_without_filter = 98;
constexpr sandbox::dsd_limits s_limits{uint64_t{64} << 20U, 1};

/** How a child ended: its exit status, or minus the signal. */
int run_inside(const std::function<int(int)> &work)
{
    std::array<int, 2> ainl_sockets{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ainl_sockets.data()), 0);
    const pid_t inl_parent = getpid();
    const pid_t inl_child = fork();
    if (inl_child == 0) {
        int inl_result = 99;
        try {
            const sandbox::dsd_held dsl_held = sandbox::enter(ainl_sockets[1], inl_parent, s_limits);
            inl_result = dsl_held.bc_filter && dsl_held.bc_limits ? work(ainl_sockets[1]) : in_without_filter;
        } catch (const std::exception &) {
            inl_result = 97;
        }
        syscall(SYS_exit_group, inl_result);
    }
    close(ainl_sockets[1]);
    int inl_status = 0;
    EXPECT_EQ(waitpid(inl_child, &inl_status, 0), inl_child);
    close(ainl_sockets[0]);
    return WIFSIGNALED(inl_status) ? -WTERMSIG(inl_status) : WEXITSTATUS(inl_status);
}

/** Calls the kernel past the C library, which would look at some arguments itself. */
template <class... ARGUMENTS> std::function<int(int)> call(long ilp_number, ARGUMENTS... arguments)
{
    return [=](int) { return syscall(ilp_number, arguments...) < 0 ? 1 : 0; };
}

/** Tests of what the kernel refuses, where it can. */
class sandbox_of_kernel : public testing::Test
{
protected:
    void SetUp() override
    {
        if (run_inside([](int) { return 0; }) == in_without_filter)
            GTEST_SKIP() << "this kernel has no filter of system calls, or no limits";
    }
};

TEST_F(sandbox_of_kernel, what_decoding_needs_is_left)
{
    EXPECT_EQ(run_inside([](int inp_channel) {
                  std::vector<std::vector<char>> dsl_blocks;
                  for (int inl_i = 0; inl_i < 64; inl_i++)
                      dsl_blocks.emplace_back(size_t{1} << 19U, 'x');
                  int inl_sum = 0;
                  std::thread dsl_thread([&] { inl_sum = dsl_blocks[63][5]; });
                  dsl_thread.join();
                  char byrl_text[] = "done";
                  iovec dsl_part{byrl_text, sizeof byrl_text};
                  msghdr dsl_message{};
                  dsl_message.msg_iov = &dsl_part;
                  dsl_message.msg_iovlen = 1;
                  std::this_thread::sleep_for(std::chrono::milliseconds(1));
                  return sendmsg(inp_channel, &dsl_message, 0) == sizeof byrl_text && inl_sum == 'x' ? 0 : 1;
              }),
              0);
}

TEST_F(sandbox_of_kernel, everything_else_ends_the_process)
{
    const std::string strl_file = "/etc/passwd";
    sockaddr_in dsl_address{};
    dsl_address.sin_family = AF_INET;
    char byrl_byte = 0;
    iovec dsl_here{&byrl_byte, 1};
    const pid_t inl_parent = getpid();
    const std::map<std::string, std::function<int(int)>> dsl_attempts{
        {"opens a file", call(SYS_openat, AT_FDCWD, strl_file.c_str(), O_RDONLY)},
        {"opens a file the old way", call(SYS_open, strl_file.c_str(), O_RDONLY)},
        {"looks at a file", call(SYS_access, strl_file.c_str(), R_OK)},
        {"makes a socket", call(SYS_socket, AF_INET, SOCK_STREAM, 0)},
        {"connects its socket",
         [&](int inp_channel) {
             return connect(inp_channel, reinterpret_cast<sockaddr *>(&dsl_address), sizeof dsl_address);
         }},
        {"forks", call(SYS_fork)},
        {"forks by vfork", call(SYS_vfork)},
        {"clones itself", call(SYS_clone, SIGCHLD, 0, 0, 0, 0)},
        {"clones itself in the same memory", call(SYS_clone, CLONE_VM | CLONE_VFORK | SIGCHLD, 0, 0, 0, 0)},
        {"executes", call(SYS_execve, "/bin/true", nullptr, nullptr)},
        {"reads its parent", call(SYS_process_vm_readv, inl_parent, &dsl_here, 1, &dsl_here, 1, 0)},
        {"traces its parent", call(SYS_ptrace, PTRACE_ATTACH, inl_parent, nullptr, nullptr)},
        {"kills its parent", call(SYS_kill, inl_parent, SIGTERM)},
        {"kills a thread of its parent", call(SYS_tgkill, inl_parent, inl_parent, SIGTERM)},
        {"makes memory executable", call(SYS_mprotect, &byrl_byte, 1, PROT_READ | PROT_EXEC)},
        {"maps executable memory", call(SYS_mmap, nullptr, 4096, PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)},
        {"maps a file",
         [](int inp_channel) { return mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, inp_channel, 0) == MAP_FAILED; }},
        {"writes to another descriptor", [](int inp_channel) { return write(inp_channel, "x", 1) == 1 ? 0 : 1; }},
        {"dumps itself again", call(SYS_prctl, PR_SET_DUMPABLE, 1)},
        {"calls as a 32-bit program",
         [](int) {
             long ill_result = 20; // getpid
             __asm__ volatile("int $0x80" : "+a"(ill_result)::"memory");
             return static_cast<int>(ill_result);
         }},
    };
    for (const auto &[strl_name, work] : dsl_attempts)
        EXPECT_EQ(run_inside(work), -SIGSYS) << "the child that " << strl_name;
}

TEST_F(sandbox_of_kernel, memory_and_processor_time_end)
{
    EXPECT_EQ(run_inside([](int) {
                  const std::unique_ptr<char[]> dsl_memory(new (std::nothrow) char[size_t{128} << 20U]);
                  return dsl_memory == nullptr ? 0 : 1;
              }),
              0);
    EXPECT_EQ(run_inside([](int) {
                  for (std::atomic<bool> bl_for_ever = true; bl_for_ever;) {
                  }
                  return 0;
              }),
              -SIGXCPU);
    EXPECT_EQ(run_inside([](int) -> int { std::abort(); }), -SIGABRT); // told from a forbidden call
}

TEST(sandbox, each_call_is_listed_once_here_and_in_the_document)
{
    std::ifstream dsl_file(KIV_SOURCE_DIR "/../docs/wall.md");
    const std::string strl_document{std::istreambuf_iterator<char>(dsl_file), {}};
    std::map<int, int> dsl_numbers;
    for (const syscall_filter::dsd_call &dsl_call : syscall_filter::calls()) {
        EXPECT_EQ(dsl_numbers[dsl_call.inc_number]++, 0) << dsl_call.strc_name;
        EXPECT_NE(strl_document.find("| `" + std::string(dsl_call.strc_name) + "` |"), std::string::npos);
    }
}

} // namespace
