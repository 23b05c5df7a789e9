#include "stub.h"

KIV_AVFORMAT_SYMBOLS(STUB)
