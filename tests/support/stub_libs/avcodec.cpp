#include "stub.h"

KIV_AVCODEC_SYMBOLS(STUB)
