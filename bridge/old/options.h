/**
 * @file
 * Objects with options: av_opt_set and its kin find the object's class in its first field. All objects that callers see
 * are the bridge's own, so their classes are of this type.
 */
#pragma once

#include "bridge/old/structures.h"

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

inline constexpr int in_type_integer = 1;
inline constexpr int in_type_wide_integer = 2;
inline constexpr int in_type_constant = 128;

/** A field that the option sets; a field of 64 bits is a wide one. */
constexpr dsd_option option_of(const char *strp_name, size_t ulp_offset, size_t ulp_size = sizeof(int))
{
    return {strp_name,
            nullptr,
            static_cast<int>(ulp_offset),
            ulp_size == sizeof(int64_t) ? in_type_wide_integer : in_type_integer,
            0,
            0,
            0,
            0,
            nullptr};
}
constexpr dsd_option constant_of(const char *strp_name, int64_t ilp_value)
{
    return {strp_name, nullptr, 0, in_type_constant, ilp_value, 0, 0, 0, nullptr};
}
inline const AVOption *table_of(const dsd_option *adsp_options)
{
    return reinterpret_cast<const AVOption *>(adsp_options);
}

inline constexpr int in_option_not_found = -1414549496; /**< AVERROR_OPTION_NOT_FOUND */

} // namespace bridge::old
