/** @file How many errors FFmpeg logs. */
#pragma once

#include <cstdint>

namespace logged_errors
{

/** Counts FFmpeg's messages from now on, of all its objects, and prints them as FFmpeg does. Needs a loaded FFmpeg. */
void begin_to_count();

/** The errors that FFmpeg has logged on the calling thread. */
[[nodiscard]] int64_t of_this_thread() noexcept;

} // namespace logged_errors
