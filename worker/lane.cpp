#include "worker/lane.h"

#include "worker/bytes.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <natives/WorkerAnswer.h>
#include <natives/WorkerLane.h>
#include <natives/WorkerOrder.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <utility>

namespace WorkerAnswer = natives::WorkerAnswer;
namespace WorkerLane = natives::WorkerLane;
namespace WorkerOrder = natives::WorkerOrder;

namespace
{

/** How often the turn is looked at before the thread sleeps: some ten microseconds, about as long as waking it takes. */
constexpr int in_looks = 500;
/** After a wait that was longer, only one of so many begins with looking. */
constexpr uint32_t um_long_waits = 16;

bool is_callers(uint32_t ump_turn) noexcept
{
    return ump_turn % 2 == 0;
}

} // namespace

c_lane::c_lane(const c_shared_memory &dsp_memory, int32_t imp_lane)
    : dsc_memory(dsp_memory), utc_lane(dsp_memory.lane(imp_lane)), utc_half(utc_lane.first(WorkerLane::HALF_SIZE))
{
}

void c_lane::turn_to_other_half() noexcept
{
    const bool bl_first = utc_half.data() == utc_lane.data();
    utc_half = utc_lane.subspan(bl_first ? WorkerLane::HALF_SIZE : 0, WorkerLane::HALF_SIZE);
}

template <class T> T c_lane::read(int32_t imp_field) const noexcept
{
    T dsl_value{};
    std::memcpy(&dsl_value, utc_half.data() + imp_field, sizeof dsl_value);
    return dsl_value;
}

template <class T> void c_lane::write(int32_t imp_field, T dsp_value) const noexcept
{
    std::memcpy(utc_half.data() + imp_field, &dsp_value, sizeof dsp_value);
}

uint32_t &c_lane::turn() const noexcept
{
    return *reinterpret_cast<uint32_t *>(utc_half.data() + WorkerLane::TURN);
}

uint32_t &c_lane::number(int32_t imp_field) const noexcept
{
    return *reinterpret_cast<uint32_t *>(utc_lane.data() + imp_field);
}

uint32_t &c_lane::progress() const noexcept
{
    return number(WorkerLane::PROGRESS);
}

size_t c_lane::take_closed(std::span<int64_t, WorkerLane::MOST_CLOSED> ailp_slots) const noexcept
{
    const std::atomic_ref uml_taken(number(WorkerLane::CLOSED_TAKEN));
    const uint32_t uml_written = std::atomic_ref(number(WorkerLane::CLOSED)).load(std::memory_order_acquire);
    size_t ull_count = 0;
    for (uint32_t uml_next = uml_taken.load(std::memory_order_relaxed);
         uml_next != uml_written && ull_count < ailp_slots.size(); ++uml_next) {
        const auto uml_place = uml_next % uint32_t{WorkerLane::MOST_CLOSED} * sizeof(int32_t);
        ailp_slots[ull_count++] = number(WorkerLane::CLOSED_SLOTS + static_cast<int32_t>(uml_place));
    }
    uml_taken.store(uml_written, std::memory_order_release);
    return ull_count;
}

std::span<uint8_t> c_lane::block() const
{
    int64_t ill_block = 0;
    int32_t iml_size = 0;
    std::memcpy(&ill_block, utc_lane.data() + WorkerLane::BLOCK, sizeof ill_block);
    std::memcpy(&iml_size, utc_lane.data() + WorkerLane::BLOCK_SIZE, sizeof iml_size);
    return iml_size <= 0 ? std::span<uint8_t>() : dsc_memory.part(ill_block, iml_size);
}

void c_lane::wait_for_turn()
{
    const std::atomic_ref uml_turn(turn());
    const bool bl_looks = umc_long_waits % um_long_waits == 0;
    for (int inl_look = 0; inl_look < (bl_looks ? in_looks : 1); ++inl_look) {
        if (!is_callers(uml_turn.load(std::memory_order_acquire))) {
            umc_long_waits = bl_looks ? 0 : umc_long_waits;
            return;
        }
        __builtin_ia32_pause();
    }
    ++umc_long_waits;
    for (uint32_t uml_seen = uml_turn.load(); is_callers(uml_seen); uml_seen = uml_turn.load(std::memory_order_acquire))
        syscall(SYS_futex, &turn(), FUTEX_WAIT, uml_seen, nullptr, nullptr, 0);
}

c_lane::dsd_order c_lane::take_turn(std::vector<uint8_t> &utp_values)
{
    wait_for_turn();
    const auto iml_length = read<int32_t>(WorkerLane::LENGTH);
    const auto utl_area = dsc_memory.part(read<int64_t>(WorkerLane::AREA), read<int32_t>(WorkerLane::AREA_SIZE));
    if (iml_length < 0 || static_cast<size_t>(iml_length) > utl_area.size())
        throw std::out_of_range("a message outside of its area");
    const auto utl_message = utl_area.first(static_cast<size_t>(iml_length));
    if (utp_values.capacity() > ul_most_kept_bytes)
        utp_values = {};
    utp_values.assign(utl_message.begin(), utl_message.end());
    return {read<int32_t>(WorkerLane::KIND), c_message_reader(std::span(utp_values))};
}

/** @param ulp_left so many bytes of the message are in the area already */
void c_lane::give_turn(int32_t imp_kind, std::span<const uint8_t> utp_message, size_t ulp_left)
{
    const auto utl_area = dsc_memory.part(read<int64_t>(WorkerLane::AREA), read<int32_t>(WorkerLane::AREA_SIZE));
    if (utp_message.size() > utl_area.size())
        throw std::out_of_range("a message larger than its area");
    copy_bytes(utp_message.subspan(ulp_left), utl_area.subspan(ulp_left));
    ulc_left = 0;
    write(WorkerLane::KIND, imp_kind);
    write(WorkerLane::LENGTH, static_cast<int32_t>(utp_message.size()));
    std::atomic_ref(progress()).fetch_add(1, std::memory_order_relaxed);
    std::atomic_ref(turn()).fetch_add(1, std::memory_order_release);
    syscall(SYS_futex, &turn(), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void c_lane::leave(std::span<const uint8_t> utp_results)
{
    const auto utl_area = dsc_memory.part(read<int64_t>(WorkerLane::AREA), read<int32_t>(WorkerLane::AREA_SIZE));
    if (utp_results.size() > utl_area.size())
        return;
    copy_bytes(utp_results.subspan(ulc_left), utl_area.subspan(ulc_left, utp_results.size() - ulc_left));
    ulc_left = utp_results.size();
    // The caller reads the numbers when the process has ended, which may be between any two lines.
    std::atomic_thread_fence(std::memory_order_release);
    write(WorkerLane::LENGTH, static_cast<int32_t>(utp_results.size()));
    std::atomic_thread_fence(std::memory_order_release);
    write(WorkerLane::KIND, int32_t{WorkerAnswer::PART});
}

c_lane::dsd_order c_lane::wait_for_order()
{
    for (;;) {
        dsd_order dsl_order = take_turn(utc_values);
        if (dsl_order.imc_kind != WorkerOrder::AGAIN) {
            ++ulc_orders;
            return dsl_order;
        }
        finish(std::exchange(dsc_results, {}));
    }
}

size_t c_lane::room() const noexcept
{
    return static_cast<size_t>(std::max(read<int32_t>(WorkerLane::AREA_SIZE), 0));
}

void c_lane::finish(const c_message_writer &dsp_results)
{
    if (dsp_results.bytes().size() <= room()) {
        give_turn(WorkerAnswer::DONE, dsp_results.bytes(), ulc_left);
        turn_to_other_half();
        return;
    }
    c_message_writer dsl_size;
    dsl_size.put(static_cast<int32_t>(dsp_results.bytes().size()));
    dsc_results = dsp_results;
    give_turn(WorkerAnswer::LARGER, dsl_size.bytes());
}

void c_lane::fail(int32_t imp_failure, const char *strp_text)
{
    c_message_writer dsl_values;
    dsl_values.put(imp_failure);
    dsl_values.put_text(strp_text);
    if (dsl_values.bytes().size() > room()) {
        dsl_values.clear();
        dsl_values.put(imp_failure);
        dsl_values.put_none();
    }
    give_turn(WorkerAnswer::FAILED, dsl_values.bytes());
    turn_to_other_half();
}

int64_t c_lane::ask(int32_t imp_kind, const c_message_writer &dsp_values)
{
    give_turn(imp_kind, dsp_values.bytes());
    std::vector<uint8_t> utl_values; // those of the order are in use
    dsd_order dsl_answer = take_turn(utl_values);
    if (dsl_answer.imc_kind != WorkerOrder::REPLY)
        throw c_channel_failed();
    return dsl_answer.dsc_message.take<int64_t>();
}
