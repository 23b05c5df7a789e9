#include "kivjniffmpeg/containers/reader_limits.h"

#include "jni/exceptions.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <numeric>
#include <span>
#include <utility>

namespace ReaderLimitFields = natives::ReaderLimitFields;

namespace
{

constexpr int in_none = -1;

/** Processor time of the calling thread in milliseconds. */
int64_t processor_time() noexcept
{
    timespec dsl_time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &dsl_time);
    return int64_t{dsl_time.tv_sec} * 1000 + dsl_time.tv_nsec / 1'000'000;
}

} // namespace

c_reader_limits::values c_reader_limits::usual() noexcept
{
    values aill_values{};
    aill_values[ReaderLimitFields::PROCESSOR_TIME] = ReaderLimitFields::USUAL_PROCESSOR_TIME;
    aill_values[ReaderLimitFields::BYTES] = ReaderLimitFields::USUAL_BYTES;
    aill_values[ReaderLimitFields::PACKETS] = ReaderLimitFields::USUAL_PACKETS;
    aill_values[ReaderLimitFields::STREAMS] = ReaderLimitFields::USUAL_STREAMS;
    aill_values[ReaderLimitFields::INDEX_ENTRIES] = ReaderLimitFields::USUAL_INDEX_ENTRIES;
    return aill_values;
}

c_reader_limits::c_reader_limits(const values &ailp_values)
    : ailc_values(ailp_values), dsc_start(std::chrono::steady_clock::now()), ilc_start(processor_time())
{
    if (const int64_t ill_least = std::ranges::min(ailp_values); ill_least <= 0)
        throw_ffmpeg_exception(2617, "a limit is not positive: ", ill_least);
}

bool c_reader_limits::has_enough_packets() const noexcept
{
    return bc_opening && ilc_packets >= ailc_values[ReaderLimitFields::PACKETS];
}

/** The kernel tells the processor time, which takes longer than reading a small packet. It is never more than the time. */
bool c_reader_limits::takes_too_long() const noexcept
{
    using std::chrono::milliseconds;
    const auto dsl_time = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - dsc_start);
    const int64_t ill_longest = ailc_values[ReaderLimitFields::PROCESSOR_TIME];
    return dsl_time.count() >= ill_longest && processor_time() - ilc_start > ill_longest;
}

int c_reader_limits::exceeded(const AVFormatContext *adsp_context) const noexcept
{
    const std::span adsl_streams(adsp_context != nullptr ? adsp_context->streams : nullptr,
                                 adsp_context != nullptr ? adsp_context->nb_streams : 0);
    if (std::cmp_greater(adsl_streams.size(), ailc_values[ReaderLimitFields::STREAMS]))
        return ReaderLimitFields::STREAMS;
    if (!bc_opening)
        return in_none;
    if (ilc_bytes > ailc_values[ReaderLimitFields::BYTES])
        return ReaderLimitFields::BYTES;
    if (takes_too_long())
        return ReaderLimitFields::PROCESSOR_TIME;
    const auto ill_entries = std::accumulate(
        adsl_streams.begin(), adsl_streams.end(), int64_t{0},
        [](int64_t ilp_sum, const AVStream *adsp_stream) { return ilp_sum + adsp_stream->nb_index_entries; });
    return ill_entries > ailc_values[ReaderLimitFields::INDEX_ENTRIES] ? ReaderLimitFields::INDEX_ENTRIES : in_none;
}

bool c_reader_limits::allow(const AVFormatContext *adsp_context) noexcept
{
    if (inc_exceeded == in_none)
        inc_exceeded = exceeded(adsp_context);
    return inc_exceeded == in_none;
}

void c_reader_limits::check() const
{
    switch (inc_exceeded) {
    case ReaderLimitFields::PROCESSOR_TIME:
        throw_ffmpeg_exception(2618, "opening it takes more than the allowed milliseconds of processor time: ",
                               ailc_values[ReaderLimitFields::PROCESSOR_TIME]);
    case ReaderLimitFields::BYTES:
        throw_ffmpeg_exception(2619,
                               "opening it reads more than the allowed bytes: ", ailc_values[ReaderLimitFields::BYTES]);
    case ReaderLimitFields::STREAMS:
        throw_ffmpeg_exception(2620, "it has more than the allowed streams: ", ailc_values[ReaderLimitFields::STREAMS]);
    case ReaderLimitFields::INDEX_ENTRIES:
        throw_ffmpeg_exception(
            2621, "its index has more than the allowed entries: ", ailc_values[ReaderLimitFields::INDEX_ENTRIES]);
    default:
        return;
    }
}
