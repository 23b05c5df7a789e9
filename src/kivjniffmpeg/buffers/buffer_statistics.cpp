#include "kivjniffmpeg/buffers/buffer_statistics.h"

dsd_buffer_statistics g_buffer_statistics;

void count_allocated(ie_statistics_kind iep_kind) noexcept
{
    if (iep_kind == ie_statistics_video) {
        ++g_buffer_statistics.vallocs;
        ++g_buffer_statistics.vbuffers;
    } else if (iep_kind == ie_statistics_audio) {
        ++g_buffer_statistics.aallocs;
        ++g_buffer_statistics.abuffers;
    }
}

void count_freed(ie_statistics_kind iep_kind) noexcept
{
    if (iep_kind == ie_statistics_video) {
        ++g_buffer_statistics.vfrees;
        --g_buffer_statistics.vbuffers;
    } else if (iep_kind == ie_statistics_audio) {
        ++g_buffer_statistics.afrees;
        --g_buffer_statistics.abuffers;
    }
}
