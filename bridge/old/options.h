/**
 * @file
 * Objects with options: av_opt_set and its kin find the object's class in its first field. All objects that callers see
 * are the bridge's own, so their classes are of this type.
 */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <cstdint>

namespace bridge::old
{

/** A class with its way to set options. Each function returns 0, or an FFmpeg error. */
struct dsd_option_class
{
    AVClass dsc_class;
    int (*set_text)(void *avp_object, const char *strp_name, const char *strp_value);
    int (*set_number)(void *avp_object, const char *strp_name, int64_t ilp_value);
};

inline constexpr int in_option_not_found = -1414549496; /**< AVERROR_OPTION_NOT_FOUND */

} // namespace bridge::old
