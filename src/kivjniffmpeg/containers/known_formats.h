/** @file Which containers are read. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <span>
#include <string_view>

namespace known_formats
{

/**
 * The first of FFmpeg's names of each container that is read, ending with a zero. Those behind the oldest are read by a
 * newer FFmpeg only: nobody mends the readers of the 56 line, and each more is one more for hostile files to try.
 */
std::span<const std::string_view> names();

/** Whether the container is read: by the first of FFmpeg's names, which are joined by commas. */
bool has(const char *strp_names);

/** FFmpeg's name of the container for people; null when the loaded FFmpeg has no reader, or it is not read. */
const char *title(std::string_view strp_name);

} // namespace known_formats
