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

void wait_while(uint32_t &ump_word, uint32_t ump_value) noexcept
{
    const std::atomic_ref uml_word(ump_word);
    for (int inl_look = 0; inl_look < in_looks; ++inl_look) {
        if (uml_word.load(std::memory_order_acquire) != ump_value)
            return;
        __builtin_ia32_pause();
    }
    while (uml_word.load(std::memory_order_acquire) == ump_value)
        syscall(SYS_futex, &ump_word, FUTEX_WAIT, ump_value, nullptr, nullptr, 0);
}

bool is_callers(uint32_t ump_turn) noexcept
{
    return ump_turn % 2 == 0;
}

} // namespace

c_lane::c_lane(const c_shared_memory &dsp_memory, int32_t imp_lane)
    : dsc_memory(dsp_memory), utc_lane(dsp_memory.lane(imp_lane))
{
}

template <class T> T c_lane::read(int32_t imp_field) const noexcept
{
    T dsl_value{};
    std::memcpy(&dsl_value, utc_lane.data() + imp_field, sizeof dsl_value);
    return dsl_value;
}

template <class T> void c_lane::write(int32_t imp_field, T dsp_value) const noexcept
{
    std::memcpy(utc_lane.data() + imp_field, &dsp_value, sizeof dsp_value);
}

uint32_t &c_lane::turn() const noexcept
{
    return *reinterpret_cast<uint32_t *>(utc_lane.data() + WorkerLane::TURN);
}

uint32_t &c_lane::progress() const noexcept
{
    return *reinterpret_cast<uint32_t *>(utc_lane.data() + WorkerLane::PROGRESS);
}

std::span<uint8_t> c_lane::block() const
{
    const auto iml_size = read<int32_t>(WorkerLane::BLOCK_SIZE);
    return iml_size <= 0 ? std::span<uint8_t>() : dsc_memory.part(read<int64_t>(WorkerLane::BLOCK), iml_size);
}

c_lane::dsd_order c_lane::take_turn()
{
    for (uint32_t uml_turn = turn(); is_callers(uml_turn); uml_turn = std::atomic_ref(turn()).load())
        wait_while(turn(), uml_turn);
    const auto iml_length = read<int32_t>(WorkerLane::LENGTH);
    const auto utl_area = dsc_memory.part(read<int64_t>(WorkerLane::AREA), read<int32_t>(WorkerLane::AREA_SIZE));
    if (iml_length < 0 || static_cast<size_t>(iml_length) > utl_area.size())
        throw std::out_of_range("a message outside of its area");
    const auto utl_message = utl_area.first(static_cast<size_t>(iml_length));
    return {read<int32_t>(WorkerLane::KIND),
            c_message_reader(std::vector<uint8_t>(utl_message.begin(), utl_message.end()))};
}

void c_lane::give_turn(int32_t imp_kind, std::span<const uint8_t> utp_message)
{
    const auto utl_area = dsc_memory.part(read<int64_t>(WorkerLane::AREA), read<int32_t>(WorkerLane::AREA_SIZE));
    if (utp_message.size() > utl_area.size())
        throw std::out_of_range("a message larger than its area");
    copy_bytes(utp_message, utl_area);
    write(WorkerLane::KIND, imp_kind);
    write(WorkerLane::LENGTH, static_cast<int32_t>(utp_message.size()));
    std::atomic_ref(progress()).fetch_add(1, std::memory_order_relaxed);
    std::atomic_ref(turn()).fetch_add(1, std::memory_order_release);
    syscall(SYS_futex, &turn(), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

c_lane::dsd_order c_lane::wait_for_order()
{
    for (;;) {
        dsd_order dsl_order = take_turn();
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

void c_lane::finish(c_message_writer dsp_results)
{
    if (dsp_results.bytes().size() <= room()) {
        give_turn(WorkerAnswer::DONE, dsp_results.bytes());
        return;
    }
    c_message_writer dsl_size;
    dsl_size.put(static_cast<int32_t>(dsp_results.bytes().size()));
    dsc_results = std::move(dsp_results);
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
}

int64_t c_lane::ask(int32_t imp_kind, const c_message_writer &dsp_values)
{
    give_turn(imp_kind, dsp_values.bytes());
    dsd_order dsl_answer = take_turn();
    if (dsl_answer.imc_kind != WorkerOrder::REPLY)
        throw c_channel_failed();
    return dsl_answer.dsc_message.take<int64_t>();
}
