#include "kivjniffmpeg/workers/lane_turn.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <natives/WorkerLane.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <ctime>
#include <stdexcept>

namespace WorkerLane = natives::WorkerLane;

namespace
{

/** How often the turn is read before the thread sleeps: some ten microseconds, about as long as waking it takes. */
constexpr int in_looks = 500;
/** A worker that dies wakes nobody, so the thread looks after it this often. */
constexpr timespec s_nap{0, 20'000'000};

/** A number in a lane. The worker may change it at any time. */
std::atomic_ref<uint32_t> field(const c_worker &dsp_worker, int32_t imp_lane, int32_t imp_field) noexcept
{
    const auto ull_at = static_cast<size_t>(imp_lane) * WorkerLane::SIZE + static_cast<size_t>(imp_field);
    return std::atomic_ref(*reinterpret_cast<uint32_t *>(dsp_worker.memory().data() + ull_at));
}

uint32_t *address(const c_worker &dsp_worker, int32_t imp_lane) noexcept
{
    const auto ull_at = static_cast<size_t>(imp_lane) * WorkerLane::SIZE + WorkerLane::TURN;
    return reinterpret_cast<uint32_t *>(dsp_worker.memory().data() + ull_at);
}

} // namespace

void lane_turn::check(const c_worker &dsp_worker, int32_t imp_lane)
{
    if (imp_lane < 0 || imp_lane >= WorkerLane::LANES || dsp_worker.memory().size() < size_t{WorkerLane::END})
        throw std::out_of_range("no such lane");
}

void lane_turn::give(const c_worker &dsp_worker, int32_t imp_lane, uint32_t ump_turn) noexcept
{
    field(dsp_worker, imp_lane, WorkerLane::TURN).store(ump_turn, std::memory_order_release);
    syscall(SYS_futex, address(dsp_worker, imp_lane), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

lane_turn::ie_end lane_turn::take(const c_worker &dsp_worker, int32_t imp_lane, uint32_t ump_turn,
                                  std::chrono::milliseconds dsp_longest) noexcept
{
    using clock = std::chrono::steady_clock;
    const auto uml_turn = field(dsp_worker, imp_lane, WorkerLane::TURN);
    const auto uml_progress = field(dsp_worker, imp_lane, WorkerLane::PROGRESS);
    const auto answer = [&] {
        return uml_turn.load(std::memory_order_acquire) == ump_turn + 1 ? ie_end::ie_answered : ie_end::ie_lied;
    };
    for (int inl_look = 0; inl_look < in_looks; ++inl_look) {
        if (uml_turn.load(std::memory_order_acquire) != ump_turn)
            return answer();
        __builtin_ia32_pause();
    }
    uint32_t uml_seen = uml_progress.load(std::memory_order_relaxed);
    auto dsl_seen_at = clock::now();
    while (uml_turn.load(std::memory_order_acquire) == ump_turn) {
        syscall(SYS_futex, address(dsp_worker, imp_lane), FUTEX_WAIT, ump_turn, &s_nap, nullptr, 0);
        if (uml_turn.load(std::memory_order_acquire) != ump_turn)
            break;
        if (dsp_worker.has_ended())
            // It may have answered before its end.
            return uml_turn.load(std::memory_order_acquire) == ump_turn ? ie_end::ie_ended : answer();
        if (const uint32_t uml_now = uml_progress.load(std::memory_order_relaxed); uml_now != uml_seen) {
            uml_seen = uml_now;
            dsl_seen_at = clock::now();
        } else if (clock::now() - dsl_seen_at >= dsp_longest) {
            return ie_end::ie_silent;
        }
    }
    return answer();
}
