#include "stub.h"

KIV_AVUTIL_SYMBOLS(STUB)
extern "C" __attribute__((visibility("default"))) const int av_pix_fmt_descriptors;
const int av_pix_fmt_descriptors = 0;
