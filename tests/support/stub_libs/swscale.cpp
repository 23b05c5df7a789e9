#include "stub.h"

KIV_SWSCALE_SYMBOLS(STUB)
