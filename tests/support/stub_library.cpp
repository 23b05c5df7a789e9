// A stand-in for an FFmpeg library: every name that the loader looks for in it, and nothing behind it.

#include "kivjniffmpeg/ffmpeg/symbols.h"

#define STUB(result, name, parameters)                                                                                 \
    extern "C" __attribute__((visibility("default"))) void name() {}
STUB_SYMBOLS(STUB)
extern "C" __attribute__((visibility("default"))) const int av_pix_fmt_descriptors;
const int av_pix_fmt_descriptors = 0;
