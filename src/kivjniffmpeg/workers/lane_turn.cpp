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
/** A turn that counts as progress all the time ends after this many times the longest time without any. */
constexpr int in_longest_turn = 10;
/** A worker that dies wakes nobody, so the thread looks after it this often. */
constexpr timespec s_nap{0, 20'000'000};

/** A number in a lane. The worker may change it at any time. */
uint32_t *address(const c_worker &dsp_worker, int32_t imp_lane, int32_t imp_field) noexcept
{
    const auto ull_at = static_cast<size_t>(imp_lane) * WorkerLane::SIZE + static_cast<size_t>(imp_field);
    return reinterpret_cast<uint32_t *>(dsp_worker.memory().data() + ull_at);
}

uint32_t *turn_of(const c_worker &dsp_worker, lane_turn::dsd_half dsp_half) noexcept
{
    return address(dsp_worker, dsp_half.imc_lane, dsp_half.imc_half * WorkerLane::HALF_SIZE + WorkerLane::TURN);
}

} // namespace

void lane_turn::check(const c_worker &dsp_worker, int32_t imp_lane)
{
    if (imp_lane < 0 || imp_lane >= WorkerLane::LANES || dsp_worker.memory().size() < size_t{WorkerLane::END})
        throw std::out_of_range("no such lane");
}

lane_turn::dsd_half lane_turn::checked(const c_worker &dsp_worker, int32_t imp_lane, int32_t imp_half)
{
    check(dsp_worker, imp_lane);
    if (imp_half < 0 || imp_half >= WorkerLane::HALVES)
        throw std::out_of_range("no such half of a lane");
    return {imp_lane, imp_half};
}

void lane_turn::give(const c_worker &dsp_worker, dsd_half dsp_half, uint32_t ump_turn) noexcept
{
    uint32_t *auml_turn = turn_of(dsp_worker, dsp_half);
    std::atomic_ref(*auml_turn).store(ump_turn, std::memory_order_release);
    syscall(SYS_futex, auml_turn, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

lane_turn::ie_end lane_turn::take(const c_worker &dsp_worker, dsd_half dsp_half, uint32_t ump_turn, bool bp_soon,
                                  std::chrono::milliseconds dsp_longest) noexcept
{
    using clock = std::chrono::steady_clock;
    uint32_t *auml_turn = turn_of(dsp_worker, dsp_half);
    const std::atomic_ref uml_turn(*auml_turn);
    const std::atomic_ref uml_progress(*address(dsp_worker, dsp_half.imc_lane, WorkerLane::PROGRESS));
    const auto answer = [&] {
        return uml_turn.load(std::memory_order_acquire) == ump_turn + 1 ? ie_end::ie_answered : ie_end::ie_lied;
    };
    for (int inl_look = 0; inl_look < (bp_soon ? in_looks : 1); ++inl_look) {
        if (uml_turn.load(std::memory_order_acquire) != ump_turn)
            return answer();
        __builtin_ia32_pause();
    }
    uint32_t uml_seen = uml_progress.load(std::memory_order_relaxed);
    const auto dsl_begin = clock::now();
    auto dsl_seen_at = dsl_begin;
    while (uml_turn.load(std::memory_order_acquire) == ump_turn) {
        syscall(SYS_futex, auml_turn, FUTEX_WAIT, ump_turn, &s_nap, nullptr, 0);
        if (uml_turn.load(std::memory_order_acquire) != ump_turn)
            break;
        if (dsp_worker.has_ended())
            // It may have answered before its end.
            return uml_turn.load(std::memory_order_acquire) == ump_turn ? ie_end::ie_ended : answer();
        const auto dsl_now = clock::now();
        if (dsl_now - dsl_begin >= in_longest_turn * dsp_longest)
            return ie_end::ie_silent;
        if (const uint32_t uml_now = uml_progress.load(std::memory_order_relaxed); uml_now != uml_seen) {
            uml_seen = uml_now;
            dsl_seen_at = dsl_now;
        } else if (dsl_now - dsl_seen_at >= dsp_longest) {
            return ie_end::ie_silent;
        }
    }
    return answer();
}
