/**
 * @file
 * The FFmpeg behind the bridge: its functions, the layout of its structures, its numbers. libavutil.so.54 has the one
 * record of it; all five libraries of the bridge use it.
 */
#pragma once

#include "bridge/real/functions.h"
#include "bridge/real/layout.h"
#include "bridge/real/numbers.h"

namespace bridge::real
{

#define BRIDGE_DECLARE(result, name, parameters) result(*name) parameters;

/** Everything about the loaded FFmpeg. Does not change. */
struct dsd_ffmpeg
{
    BRIDGE_AVUTIL_FUNCTIONS(BRIDGE_DECLARE)
    BRIDGE_AVCODEC_FUNCTIONS(BRIDGE_DECLARE)
    BRIDGE_AVFORMAT_FUNCTIONS(BRIDGE_DECLARE)
    BRIDGE_SWRESAMPLE_FUNCTIONS(BRIDGE_DECLARE)
    BRIDGE_SWSCALE_FUNCTIONS(BRIDGE_DECLARE)

    const dsd_layout *adsc_layout;
    dsd_numbers dsc_numbers;
};

#undef BRIDGE_DECLARE

/** Thrown, and caught at the end of the same function, when there is no FFmpeg. */
struct c_no_ffmpeg
{
};

} // namespace bridge::real

#define BRIDGE_SHARED __attribute__((visibility("default")))

extern "C"
{

    /**
 * The loaded FFmpeg, which the first call looks for. Any thread may call.
 *
 * @return null when there is none that is supported; the first such call has written one line about it to standard error
 */
    BRIDGE_SHARED const bridge::real::dsd_ffmpeg *kiv_bridge_ffmpeg(void) noexcept;

    /**
 * Why there is no FFmpeg, in one line. For callers of the bridge that want to know before they use it.
 *
 * @return null when there is one
 */
    BRIDGE_SHARED const char *kiv_bridge_error(void) noexcept;

    /** Which FFmpeg works: "FFmpeg 8.0.1, libavcodec 62.11.100, DIRECTORY". @return null when there is none */
    BRIDGE_SHARED const char *kiv_bridge_description(void) noexcept;

} // extern "C"

namespace bridge::real
{

/** The loaded FFmpeg. @throws c_no_ffmpeg */
inline const dsd_ffmpeg &ffmpeg()
{
    const dsd_ffmpeg *adsl_ffmpeg = kiv_bridge_ffmpeg();
    return adsl_ffmpeg != nullptr ? *adsl_ffmpeg : throw c_no_ffmpeg();
}

} // namespace bridge::real
