/** @file The skeleton of every exported function of the bridge. */
#pragma once

#include "bridge/real/ffmpeg.h"

/** Before each definition of an exported function. The version scripts in bridge/exports name them too. */
#define BRIDGE_ENTRY extern "C" __attribute__((visibility("default")))

namespace bridge
{

/**
 * Calls @p dsp_work with the loaded FFmpeg. Without an FFmpeg, and after any exception, the function fails: no exception
 * gets into the caller's C code.
 */
template <class RESULT, class WORK> RESULT enter(RESULT dsp_failure, WORK dsp_work) noexcept
{
    try {
        return dsp_work(real::ffmpeg());
    } catch (...) {
        return dsp_failure;
    }
}

/** The same for functions without a result. */
template <class WORK> void enter(WORK dsp_work) noexcept
{
    try {
        dsp_work(real::ffmpeg());
    } catch (...) {
        static_cast<void>(0); // there is nobody to report it to
    }
}

} // namespace bridge
