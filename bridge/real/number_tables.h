/** @file The measured tables of numbers, and how they are matched with those of an FFmpeg. */
#pragma once

#include "bridge/real/ffmpeg.h"

/** The 56 line's table of pixel formats, which its callers read directly; behind it the younger formats. */
extern "C" BRIDGE_SHARED const bridge::real::dsd_pixel_format av_pix_fmt_descriptors[];

namespace bridge::real
{

/** Matches everything by name. The functions of @p dsp_ffmpeg have been looked up. @throws std::bad_alloc */
dsd_numbers match_numbers(const dsd_ffmpeg &dsp_ffmpeg);

/** The table above with its length, for what needs no FFmpeg. */
std::span<const dsd_pixel_format> pixel_formats() noexcept;

} // namespace bridge::real
