#include "stub.h"

KIV_SWRESAMPLE_SYMBOLS(STUB)
