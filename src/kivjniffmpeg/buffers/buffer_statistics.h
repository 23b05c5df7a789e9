/** @file Counters of frame memory, for trace lines and for tests that look for leaks. */
#pragma once

#include <atomic>
#include <cstdint>

/** What a buffer is counted as. */
enum ie_statistics_kind : int32_t
{
    ie_statistics_none = 0,
    ie_statistics_audio = 1,
    ie_statistics_video = 2
};

/** Of the whole process, and never reset. Codecs on all threads count here. */
struct dsd_buffer_statistics
{
    std::atomic<int32_t> vallocs, vfrees, vbuffers;  /**< video buffers made, freed, alive */
    std::atomic<int32_t> aallocs, afrees, abuffers;  /**< the same for audio buffers */
    std::atomic<int32_t> buffer_get, buffer_release; /**< callbacks that provided or released a buffer */
};

extern dsd_buffer_statistics g_buffer_statistics;

/** Counts a buffer that was made. */
void count_allocated(ie_statistics_kind iep_kind) noexcept;
/** Counts a buffer that is freed. */
void count_freed(ie_statistics_kind iep_kind) noexcept;
