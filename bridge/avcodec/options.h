/** @file The options of codec contexts. */
#pragma once

#include "bridge/old/options.h"

namespace bridge::avcodec
{

/** The class of every context. */
extern const old::dsd_option_class ds_context_class;

} // namespace bridge::avcodec
