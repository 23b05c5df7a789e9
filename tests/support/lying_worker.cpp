// lying_worker DIRECTORY: speaks as kivjniffmpeg-worker does, and its workers lie.
//
// A worker has a true one for each lane, at a lane im_distance behind, in the same memory: callers use the first lanes
// only. It asks that one and passes its answers on, some as they are, some with a lie in one field, some with lies in the
// values of the message, and some that are nonsense altogether. It goes on writing when it is the caller's turn, and takes
// turns that are not its own. What it does follows from its seed: the bytes of memory that it may allocate, and how many
// workers there were before it. Some lie all the time, some once in a thousand answers.

#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/workers/descriptors.h"
#include "kivjniffmpeg/workers/nursery_messages.h"
#include "trace/trace.h"
#include "worker/nursery.h"
#include "worker/orders.h"
#include "worker/shared_memory.h"

#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <natives/WorkerAnswer.h>
#include <natives/WorkerLane.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstring>
#include <exception>
#include <map>
#include <new>
#include <random>
#include <span>
#include <string>
#include <thread>

namespace WorkerLane = natives::WorkerLane;

namespace
{

constexpr int32_t im_distance = 32;
constexpr int32_t im_smallest_part = 1024; // any failure has room in it
constexpr int32_t im_last_kind = natives::WorkerAnswer::WRITE;
constexpr uint64_t ul_lies = 6; // of the moods

/** Shared by all workers of a nursery. */
struct dsd_counts
{
    std::atomic<uint64_t> ulc_workers;
    std::atomic<uint64_t> ulc_lies; // falsified messages
};
dsd_counts *s_counts;

class c_liar
{
public:
    c_liar(const c_shared_memory &dsp_memory, int32_t imp_lane, uint64_t ulp_seed)
        : dsc_memory(dsp_memory),
          utc_halves(dsp_memory.lane(imp_lane)),
          utc_true_halves(dsp_memory.lane(imp_lane + im_distance)),
          ulc_moods(uint64_t{8} << ulp_seed % 8),
          dsc_random(ulp_seed * WorkerLane::LANES + static_cast<uint64_t>(imp_lane))
    {
        for (const int32_t iml_half : {1, 0}) {
            turn_to(iml_half);
            turn_true_worker_to(iml_half);
            for (const int32_t iml_field : aim_longs)
                set(true_owner(iml_field), iml_field, int64_t{WorkerLane::END});
        }
    }

    [[noreturn]] void live()
    {
        for (;;) {
            wait_for_turn();
            const uint64_t ull_mood = dsc_random() % ulc_moods;
            if (ull_mood < ul_lies)
                s_counts->ulc_lies.fetch_add(1);
            if (ull_mood != 0)
                ask_true_worker();
            if (ull_mood <= 1)
                write_nonsense();
            else if (ull_mood == 2)
                lie_in_a_field();
            else if (ull_mood == 3)
                lie_in_message();
            const bool bl_ends_order = ull_mood != 0 && ends_order(utc_true);
            const int32_t iml_next = ends_order(utc_lane) ? 1 - imc_half : imc_half;
            change_turn();
            if (ull_mood == 4) // the caller may have looked already
                lie_in_message();
            else if (ull_mood == 5)
                lie_in_a_field();
            turn_to(iml_next);
            if (bl_ends_order)
                turn_true_worker_to(1 - imc_true_half);
        }
    }

private:
    static constexpr std::array aim_integers{WorkerLane::KIND,       WorkerLane::LENGTH,   WorkerLane::AREA_SIZE,
                                             WorkerLane::BLOCK_SIZE, WorkerLane::PROGRESS, WorkerLane::CLOSED_TAKEN};
    static constexpr std::array aim_longs{WorkerLane::AREA, WorkerLane::BLOCK};

    static std::span<uint8_t> half(std::span<uint8_t> utp_halves, int32_t imp_half)
    {
        return utp_halves.subspan(static_cast<size_t>(imp_half) * WorkerLane::HALF_SIZE, WorkerLane::HALF_SIZE);
    }
    /** Where the caller gives the next order, if it believes the answer. */
    void turn_to(int32_t imp_half)
    {
        imc_half = imp_half;
        utc_lane = half(utc_halves, imp_half);
    }
    void turn_true_worker_to(int32_t imp_half)
    {
        imc_true_half = imp_half;
        utc_true = half(utc_true_halves, imp_half);
    }
    /** What has a field: the half, or the lane. */
    static std::span<uint8_t> owner(std::span<uint8_t> utp_lane, std::span<uint8_t> utp_half, int32_t imp_field)
    {
        return imp_field < WorkerLane::BLOCK ? utp_half : utp_lane;
    }
    std::span<uint8_t> owner(int32_t imp_field) const { return owner(utc_halves, utc_lane, imp_field); }
    std::span<uint8_t> true_owner(int32_t imp_field) const { return owner(utc_true_halves, utc_true, imp_field); }

    static bool ends_order(std::span<uint8_t> utp_half)
    {
        const auto iml_answer = get<int32_t>(utp_half, WorkerLane::KIND);
        return iml_answer == natives::WorkerAnswer::DONE || iml_answer == natives::WorkerAnswer::FAILED;
    }

    template <class T> static T get(std::span<uint8_t> utp_lane, int32_t imp_field)
    {
        T dsl_value{};
        std::memcpy(&dsl_value, utp_lane.data() + imp_field, sizeof dsl_value);
        return dsl_value;
    }
    template <class T> static void set(std::span<uint8_t> utp_lane, int32_t imp_field, T dsp_value)
    {
        std::memcpy(utp_lane.data() + imp_field, &dsp_value, sizeof dsp_value);
    }
    static std::atomic_ref<uint32_t> turn(std::span<uint8_t> utp_lane)
    {
        return std::atomic_ref(*reinterpret_cast<uint32_t *>(utp_lane.data() + WorkerLane::TURN));
    }
    static void wake(std::span<uint8_t> utp_lane)
    {
        syscall(SYS_futex, utp_lane.data() + WorkerLane::TURN, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
    }
    static void wait_while(std::span<uint8_t> utp_lane, uint32_t ump_turn)
    {
        const timespec dsl_time{0, 10'000'000};
        syscall(SYS_futex, utp_lane.data() + WorkerLane::TURN, FUTEX_WAIT, ump_turn, &dsl_time, nullptr, 0);
    }

    /** Waits for the worker's turn in either half, because callers believe some lies; sometimes not for long. */
    void wait_for_turn()
    {
        const uint64_t ull_waits = dsc_random() % (8 * ulc_moods) == 0 ? 1 : UINT64_MAX;
        for (uint64_t ull_wait = 0; ull_wait < ull_waits; ++ull_wait) {
            const uint32_t uml_turn = turn(utc_lane).load();
            if (uml_turn % 2 == 1)
                return;
            if (turn(half(utc_halves, 1 - imc_half)).load() % 2 == 1) {
                turn_to(1 - imc_half);
                return;
            }
            wait_while(utc_lane, uml_turn);
        }
    }

    /** A field as the caller wrote it last: callers do not write each field with each order. */
    template <class T> T without_lie(int32_t imp_field) const
    {
        const auto dsl_lie = dsc_lies.find(imp_field);
        const T dsl_value = get<T>(owner(imp_field), imp_field);
        const bool bl_lie = dsl_lie != dsc_lies.end() && static_cast<T>(dsl_lie->second) == dsl_value;
        return bl_lie ? get<T>(true_owner(imp_field), imp_field) : dsl_value;
    }

    /** Passes a part of the memory on, if it is one. */
    void pass_part(int32_t imp_offset, int32_t imp_size)
    {
        try {
            const auto ill_offset = without_lie<int64_t>(imp_offset);
            const auto iml_size = without_lie<int32_t>(imp_size);
            dsc_memory.part(ill_offset, iml_size);
            if (iml_size < im_smallest_part)
                return;
            set(true_owner(imp_offset), imp_offset, ill_offset);
            set(true_owner(imp_size), imp_size, iml_size);
        } catch (const std::out_of_range &) {
            // The true worker keeps the part that it had.
        }
    }

    /** Passes the slots of closed pictures on. */
    void pass_closed()
    {
        set(utc_true_halves, WorkerLane::CLOSED, get<int32_t>(utc_halves, WorkerLane::CLOSED));
        std::ranges::copy(utc_halves.subspan(WorkerLane::CLOSED_SLOTS, WorkerLane::MOST_CLOSED * sizeof(int32_t)),
                          utc_true_halves.begin() + WorkerLane::CLOSED_SLOTS);
    }

    /** Has the true worker answer what the lane says. */
    void ask_true_worker()
    {
        pass_part(WorkerLane::AREA, WorkerLane::AREA_SIZE);
        pass_part(WorkerLane::BLOCK, WorkerLane::BLOCK_SIZE);
        set(utc_true, WorkerLane::KIND, get<int32_t>(utc_lane, WorkerLane::KIND));
        set(utc_true, WorkerLane::LENGTH,
            std::clamp(get<int32_t>(utc_lane, WorkerLane::LENGTH), 0, get<int32_t>(utc_true, WorkerLane::AREA_SIZE)));
        pass_closed();
        const uint32_t uml_turn = turn(utc_true).fetch_add(1) + 1;
        wake(utc_true);
        while (turn(utc_true).load() == uml_turn)
            wait_while(utc_true, uml_turn);
        for (const int32_t iml_field : aim_integers)
            set(owner(iml_field), iml_field, get<int32_t>(true_owner(iml_field), iml_field));
        for (const int32_t iml_field : aim_longs)
            set(owner(iml_field), iml_field, get<int64_t>(true_owner(iml_field), iml_field));
    }

    int64_t some_number()
    {
        constexpr std::array<int64_t, 16> aill_edges{0,        1,         -1,        2,    7,         INT_MAX,
                                                     INT_MIN,  INT64_MAX, INT64_MIN, 4096, 1L << 31U, 1L << 32U,
                                                     UINT_MAX, -4096,     1L << 20U, 64};
        const uint64_t ull_number = dsc_random();
        return ull_number % 4 == 0 ? static_cast<int64_t>(dsc_random())
                                   : aill_edges[ull_number / 4 % aill_edges.size()];
    }

    void lie_in_a_field()
    {
        const uint64_t ull_field = dsc_random() % (aim_integers.size() + aim_longs.size());
        if (ull_field < aim_longs.size())
            set(owner(aim_longs[ull_field]), aim_longs[ull_field], dsc_lies[aim_longs[ull_field]] = some_number());
        else if (ull_field == aim_longs.size()) // an answer that there is
            set(utc_lane, WorkerLane::KIND, static_cast<int32_t>(dsc_random() % (im_last_kind + 1)));
        else
            lie_in_an_integer(aim_integers[ull_field - aim_longs.size()]);
    }

    void lie_in_an_integer(int32_t imp_field)
    {
        set(owner(imp_field), imp_field, static_cast<int32_t>(dsc_lies[imp_field] = some_number()));
    }

    /** Some values of the message, wherever the caller wants it. */
    void lie_in_message()
    {
        const auto utl_message = dsc_memory.part(get<int64_t>(utc_true, WorkerLane::AREA),
                                                 std::max(get<int32_t>(utc_true, WorkerLane::AREA_SIZE), 0));
        const auto ull_length = std::min(utl_message.size(), size_t{4096});
        for (uint64_t ull_lies = dsc_random() % 8; ull_lies > 0 && ull_length >= sizeof(int64_t); --ull_lies) {
            const int64_t ill_lie = some_number();
            std::memcpy(utl_message.data() + dsc_random() % (ull_length / 4) * 4, &ill_lie, sizeof(int32_t));
        }
    }

    void write_nonsense()
    {
        for (int inl_field = 0; inl_field < 8; ++inl_field)
            lie_in_a_field();
        lie_in_message();
    }

    void change_turn()
    {
        const uint64_t ull_change = dsc_random() % (32 * ulc_moods);
        turn(utc_lane).fetch_add(ull_change == 0 ? static_cast<uint32_t>(dsc_random()) : ull_change == 1 ? 3 : 1);
        wake(utc_lane);
    }

    const c_shared_memory &dsc_memory;
    std::span<uint8_t> utc_halves;
    std::span<uint8_t> utc_true_halves;
    int32_t imc_half = 0;
    int32_t imc_true_half = 0;
    std::span<uint8_t> utc_lane; // the half
    std::span<uint8_t> utc_true;
    const uint64_t ulc_moods; // ul_lies of which are lies
    std::mt19937_64 dsc_random;
    std::map<int32_t, int64_t> dsc_lies; // the last one in each field
};

[[noreturn]] void lie(int inp_channel, int inp_memory, pid_t, const sandbox::dsd_limits &dsp_limits)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const uint64_t ull_seed = dsp_limits.ulc_memory + s_counts->ulc_workers.fetch_add(1);
    const c_shared_memory dsl_memory(inp_memory);
    c_ffmpeg dsl_ffmpeg;
    dsl_ffmpeg.add_holder();
    // How often it and those before it lied, and what is no text and sometimes long.
    const std::string strl_held =
        std::to_string(s_counts->ulc_lies.load()) + " lies" + std::string(ull_seed % 300, '\x80');
    descriptors::send(inp_channel, std::as_bytes(std::span(strl_held)));
    for (int32_t iml_lane = 0;
         descriptors::receive(inp_channel, std::as_writable_bytes(std::span(&iml_lane, 1))).ulc_length != 0;) {
        std::thread([&, iml_lane] { serve(dsl_ffmpeg, dsl_memory, iml_lane + im_distance); }).detach();
        std::thread([&, iml_lane] { c_liar(dsl_memory, iml_lane, ull_seed).live(); }).detach();
    }
    _exit(0);
}

} // namespace

int main(int, char **astrp_arguments)
{
    try {
        trace_silence();
        load_ffmpeg(astrp_arguments[1]);
        // In memory that forks share.
        s_counts = new (mmap(nullptr, sizeof *s_counts, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
            dsd_counts();
        run_nursery(nursery_messages::in_socket, lie);
        return 0;
    } catch (const std::exception &) {
        return 1;
    }
}
