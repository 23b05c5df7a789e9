#include "kivjniffmpeg/codecs/allocation_limit.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"

#include <natives/c_codecoptions_ffmpeg.h>

#include <climits>

void allocation_limit::set(int64_t ilp_bytes)
{
    if (ilp_bytes < natives::c_codecoptions_ffmpeg::LEAST_ALLOCATION_LIMIT || ilp_bytes > INT_MAX)
        throw_ffmpeg_exception(2543, "no such limit of allocations: ", ilp_bytes);
    if (g_avutil.av_max_alloc == nullptr)
        throw_ffmpeg_exception(2544, "this FFmpeg cannot limit allocations");
    g_avutil.av_max_alloc(static_cast<size_t>(ilp_bytes));
}
