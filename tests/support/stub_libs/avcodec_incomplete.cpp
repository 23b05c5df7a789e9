// Of a build that lacks a function in the middle of the table.

#include "stub.h"

#define av_init_packet av_other_packet
KIV_AVCODEC_SYMBOLS(STUB)
