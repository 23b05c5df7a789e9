#include "support/lane_client.h"

#include "kivjniffmpeg/workers/nursery_client.h"

#include <natives/WorkerAnswer.h>
#include <natives/WorkerLane.h>
#include <natives/WorkerOrder.h>
#include <natives/c_mediareader_source.h>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <ctime>

namespace WorkerAnswer = natives::WorkerAnswer;
namespace WorkerLane = natives::WorkerLane;
namespace WorkerOrder = natives::WorkerOrder;

namespace
{

constexpr size_t ul_place = size_t{8} << 20U; // of one lane
constexpr size_t ul_block = 65536;
constexpr size_t ul_area = (ul_place - ul_block) / WorkerLane::HALVES;
constexpr int in_most_waits = 300; // of a tenth of a second each

} // namespace

template <class T> T &c_lane_client::field(int32_t imp_field) const
{
    return *reinterpret_cast<T *>(dsc_worker.memory().data() + imc_lane * WorkerLane::SIZE + imp_field);
}

template <class T> T &c_lane_client::half(int32_t imp_field) const
{
    return field<T>(imc_half * WorkerLane::HALF_SIZE + imp_field);
}

c_lane_client::c_lane_client(c_worker &dsp_worker, int32_t imp_lane, size_t ulp_area, std::span<const uint8_t> utp_film)
    : dsc_worker(dsp_worker), imc_lane(imp_lane), utc_film(utp_film)
{
    set_up(ulp_area);
    dsp_worker.open_lane(imp_lane);
}

void c_lane_client::set_up(size_t ulp_area) const
{
    const size_t ull_place = WorkerLane::END + static_cast<size_t>(imc_lane) * ul_place;
    field<int64_t>(WorkerLane::BLOCK) = static_cast<int64_t>(ull_place);
    field<int32_t>(WorkerLane::BLOCK_SIZE) = ul_block;
    for (int32_t iml_half = 0; iml_half < WorkerLane::HALVES; ++iml_half) {
        field<int64_t>(iml_half * WorkerLane::HALF_SIZE + WorkerLane::AREA) =
            static_cast<int64_t>(ull_place + ul_block + static_cast<size_t>(iml_half) * ul_area);
        field<int32_t>(iml_half * WorkerLane::HALF_SIZE + WorkerLane::AREA_SIZE) = static_cast<int32_t>(ulp_area);
    }
}

/** The next order uses the other half. */
void c_lane_client::end_order(int32_t imp_answer)
{
    if (imp_answer == WorkerAnswer::DONE || imp_answer == WorkerAnswer::FAILED)
        imc_half = 1 - imc_half;
}

int32_t c_lane_client::kind_of_answer(int32_t imp_order)
{
    set_up(ul_block);
    give(imp_order, {});
    wait();
    const auto iml_kind = half<int32_t>(WorkerLane::KIND);
    end_order(iml_kind);
    return iml_kind;
}

void c_lane_client::end()
{
    give(WorkerOrder::END, {});
    take();
}

void c_lane_client::close_picture(int32_t imp_slot)
{
    const std::atomic_ref uml_closed(field<uint32_t>(WorkerLane::CLOSED));
    const uint32_t uml_place = uml_closed.load() % uint32_t{WorkerLane::MOST_CLOSED};
    field<int32_t>(WorkerLane::CLOSED_SLOTS + static_cast<int32_t>(uml_place * sizeof(int32_t))) = imp_slot;
    uml_closed.fetch_add(1);
}

uint32_t c_lane_client::progress() const
{
    return std::atomic_ref(field<uint32_t>(WorkerLane::PROGRESS)).load();
}

size_t c_lane_client::blocks() const noexcept
{
    return WorkerLane::END + WorkerLane::LANES * ul_place;
}

void c_lane_client::give(int32_t imp_kind, const c_message_writer &dsp_values)
{
    const auto utl_bytes = dsp_values.bytes();
    if (utl_bytes.size() > static_cast<size_t>(half<int32_t>(WorkerLane::AREA_SIZE)))
        half<int32_t>(WorkerLane::AREA_SIZE) = static_cast<int32_t>(ul_area);
    std::ranges::copy(std::as_bytes(utl_bytes), dsc_worker.memory().data() + half<int64_t>(WorkerLane::AREA));
    half<int32_t>(WorkerLane::KIND) = imp_kind;
    half<int32_t>(WorkerLane::LENGTH) = static_cast<int32_t>(utl_bytes.size());
    std::atomic_ref(half<uint32_t>(WorkerLane::TURN)).fetch_add(1);
    syscall(SYS_futex, &half<uint32_t>(WorkerLane::TURN), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void c_lane_client::wait()
{
    const std::atomic_ref uml_turn(half<uint32_t>(WorkerLane::TURN));
    for (int inl_wait = 0; uml_turn.load() % 2 == 1; ++inl_wait) {
        if (dsc_worker.has_ended())
            throw c_worker_gone("ended");
        if (inl_wait == in_most_waits)
            throw c_worker_gone("silent");
        const timespec dsl_time{0, 100'000'000};
        syscall(SYS_futex, &half<uint32_t>(WorkerLane::TURN), FUTEX_WAIT, uml_turn.load() | 1U, &dsl_time, nullptr, 0);
    }
}

c_message_reader c_lane_client::take()
{
    wait();
    const auto *autl_area =
        reinterpret_cast<const uint8_t *>(dsc_worker.memory().data() + half<int64_t>(WorkerLane::AREA));
    return c_message_reader(std::vector<uint8_t>(autl_area, autl_area + half<int32_t>(WorkerLane::LENGTH)));
}

/** Replies to what the worker asks for in the midst of an order. */
void c_lane_client::reply(int32_t imp_kind, c_message_reader dsp_question)
{
    int64_t ill_reply = static_cast<int64_t>(utc_film.size());
    if (imp_kind == WorkerAnswer::SEEK) {
        ill_reply = dsp_question.take<int64_t>();
        ulc_position = static_cast<size_t>(ill_reply);
    } else if (imp_kind == WorkerAnswer::READ) {
        const auto utl_rest = utc_film.subspan(std::min(ulc_position, utc_film.size()));
        const auto utl_part = utl_rest.first(std::min(utl_rest.size(), size_t(dsp_question.take<int32_t>())));
        std::ranges::copy(std::as_bytes(utl_part), dsc_worker.memory().data() + field<int64_t>(WorkerLane::BLOCK));
        ulc_position += utl_part.size();
        ill_reply = utl_part.empty() ? natives::c_mediareader_source::END : static_cast<int64_t>(utl_part.size());
    } else if (imp_kind == WorkerAnswer::WRITE) {
        const auto *autl_block =
            reinterpret_cast<const uint8_t *>(dsc_worker.memory().data() + field<int64_t>(WorkerLane::BLOCK));
        const auto ull_count = static_cast<size_t>(dsp_question.take<int32_t>());
        utc_written.resize(std::max(utc_written.size(), ulc_position + ull_count));
        std::copy_n(autl_block, ull_count, utc_written.begin() + static_cast<ptrdiff_t>(ulc_position));
        ulc_position += ull_count;
    }
    c_message_writer dsl_values;
    dsl_values.put(ill_reply);
    give(WorkerOrder::REPLY, dsl_values);
}

c_message_reader c_lane_client::order(int32_t imp_order, const c_message_writer &dsp_values)
{
    give(imp_order, dsp_values);
    for (;;) {
        c_message_reader dsl_answer = take();
        const int32_t iml_kind = half<int32_t>(WorkerLane::KIND);
        end_order(iml_kind);
        if (iml_kind == WorkerAnswer::DONE)
            return dsl_answer;
        if (iml_kind == WorkerAnswer::FAILED) {
            const auto iml_failure = dsl_answer.take<int32_t>();
            throw c_order_failed(iml_failure, dsl_answer.take_text());
        }
        if (iml_kind == WorkerAnswer::LARGER) {
            half<int32_t>(WorkerLane::AREA_SIZE) = dsl_answer.take<int32_t>();
            give(WorkerOrder::AGAIN, {});
        } else {
            reply(iml_kind, std::move(dsl_answer));
        }
    }
}
