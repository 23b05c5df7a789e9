// Memory that goes from one process to the next.

#include "kivjniffmpeg/workers/kept_memory.h"

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <system_error>

namespace
{

constexpr size_t ul_size = size_t{1} << 20U;
constexpr size_t ul_used = size_t{64} << 10U;

bool is_zero(std::span<const std::byte> utp_bytes)
{
    return std::ranges::all_of(utp_bytes, [](std::byte bp_one) { return bp_one == std::byte{}; });
}

/** A process that writes to all of the memory again and again. */
class c_writer
{
public:
    explicit c_writer(const c_sealed_memory &dsp_memory) : inc_process(fork())
    {
        if (inc_process == 0)
            for (volatile auto *autl_first = reinterpret_cast<volatile uint8_t *>(dsp_memory.bytes().data());;)
                for (size_t ull_at = 0; ull_at < ul_size; ++ull_at)
                    autl_first[ull_at] = 7;
        while (dsp_memory.bytes().back() == std::byte{})
            usleep(100);
    }
    ~c_writer()
    {
        kill(inc_process, SIGKILL);
        waitpid(inc_process, nullptr, 0);
    }
    c_writer(const c_writer &) = delete;
    c_writer &operator=(const c_writer &) = delete;

    c_descriptor descriptor() const { return c_descriptor(static_cast<int>(syscall(SYS_pidfd_open, inc_process, 0))); }

private:
    pid_t inc_process;
};

} // namespace

TEST(kept_memory, is_clear_only_when_its_process_has_ended)
{
    c_sealed_memory dsl_memory(ul_size);
    const auto utl_old = dsl_memory.bytes();
    std::optional<c_kept_memory> dsl_kept;
    {
        const c_writer dsl_writer(dsl_memory);
        dsl_kept.emplace(dsl_writer.descriptor(), dsl_memory.move_away(), ul_used);
        EXPECT_FALSE(dsl_kept->clear());
        EXPECT_FALSE(dsl_kept->is_clear());
        EXPECT_FALSE(is_zero(dsl_kept->memory().bytes()));
        EXPECT_TRUE(is_zero(utl_old)) << "old addresses show what the process writes";
        std::ranges::fill(utl_old, std::byte{9});
    }
    EXPECT_TRUE(dsl_kept->clear());
    EXPECT_TRUE(is_zero(dsl_kept->memory().bytes()));
    std::ranges::fill(dsl_kept->memory().bytes(), std::byte{5});
    EXPECT_EQ(utl_old.front(), std::byte{9}) << "old addresses show the next owner's bytes";
}

TEST(kept_memory, that_cannot_be_moved_stays)
{
    c_sealed_memory dsl_memory(ul_size);
    dsl_memory.close_descriptor();
    dsl_memory.bytes().front() = std::byte{3};
    EXPECT_THROW(dsl_memory.move_away(), std::system_error);
    EXPECT_EQ(dsl_memory.bytes().front(), std::byte{3});
    EXPECT_TRUE(c_sealed_memory::discard(dsl_memory.bytes()));
    EXPECT_TRUE(is_zero(dsl_memory.bytes()));
}
