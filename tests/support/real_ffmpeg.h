/** @file The real FFmpeg libraries for a test. */
#pragma once

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <gtest/gtest.h>

/** Opens FFmpeg through the library's loader, once per process. @throws std::runtime_error without KIV_FFMPEG_DIR */
void load_ffmpeg();

/** A test for which FFmpeg is loaded. */
class real_ffmpeg : public testing::Test
{
protected:
    real_ffmpeg() { load_ffmpeg(); }
};

/** Calls a function that the library itself does not use. The arguments have exactly the types of its parameters. */
void *ffmpeg_symbol(const char *strp_name);
template <class RESULT, class... ARGUMENTS> RESULT ffmpeg_call(const char *strp_name, ARGUMENTS... dsp_arguments)
{
    return reinterpret_cast<RESULT (*)(ARGUMENTS...)>(ffmpeg_symbol(strp_name))(dsp_arguments...);
}
