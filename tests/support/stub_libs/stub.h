/** @file A stand-in for an FFmpeg library: every name that the loader looks for, and nothing behind it. */
#pragma once

#include "kivjniffmpeg/ffmpeg/symbols.h"

#define STUB(result, name, parameters)                                                                                 \
    extern "C" __attribute__((visibility("default"))) void name() {}
