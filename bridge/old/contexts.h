/** @file The fields of an AVCodecContext, copied between the 56 line's layout and the loaded FFmpeg's. */
#pragma once

#include "bridge/old/fields.h"
#include "bridge/real/ffmpeg.h"

namespace bridge::old
{

/** Those flags that mean the same on both sides. */
inline constexpr int in_common_flags =
    static_cast<int>(1U << 0 | 1U << 1 | 1U << 2 | 1U << 3 | 1U << 4 | 1U << 9 | 1U << 10 | 1U << 11 | 1U << 13 |
                     1U << 15 | 1U << 18 | 1U << 19 | 1U << 22 | 1U << 23 | 1U << 24 | 1U << 29 | 1U << 31);
inline constexpr int in_common_flags2 = 1 << 0 | 1 << 2 | 1 << 3 | 1 << 15 | 1 << 16 | 1 << 22 | 1 << 28 | 1 << 29;

/** An uninitialised context of the whole size, all zeroes, in memory of av_malloc. @throws std::bad_alloc */
AVCodecContext *allocate_context(const real::dsd_ffmpeg &dsp_ffmpeg);

/** Copies what describes the stream: sizes, formats, rates, colours. Without extradata. */
void describe_to_old(const real::dsd_ffmpeg &dsp_ffmpeg, const real::context *adsp_from,
                     AVCodecContext &dsp_to) noexcept;

/** Copies the settings that FFmpeg has for a context that was just allocated. */
void copy_defaults(const real::dsd_ffmpeg &dsp_ffmpeg, const real::context *adsp_from, AVCodecContext &dsp_to) noexcept;

/** Copies all that a caller sets before it opens a codec. @throws std::bad_alloc */
void configure_real(const real::dsd_ffmpeg &dsp_ffmpeg, const AVCodecContext &dsp_from, real::context *adsp_to,
                    AVMediaType iep_type);

/** Replaces the old context's extradata by a copy of the other's. @throws std::bad_alloc */
void copy_extradata_to_old(const real::dsd_ffmpeg &dsp_ffmpeg, const real::context *adsp_from, AVCodecContext &dsp_to);

} // namespace bridge::old
