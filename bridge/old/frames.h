/** @file Frames in the 56 line's layout: what they own, and how it comes from the loaded FFmpeg's frames. */
#pragma once

#include "bridge/old/fields.h"
#include "bridge/real/ffmpeg.h"

namespace bridge::old
{

/** Sets the defaults of all fields. Frees nothing. */
void set_frame_defaults(AVFrame &dsp_frame) noexcept;

/** Releases the buffers and the array of planes, and sets the defaults. */
void unref_frame(const real::dsd_ffmpeg &dsp_ffmpeg, AVFrame &dsp_frame) noexcept;

/** Frees the array of planes if the frame has one of its own; it has none afterwards. */
void free_planes_array(const real::dsd_ffmpeg &dsp_ffmpeg, AVFrame &dsp_frame) noexcept;

/**
 * Copies the pointers to the planes, and the line sizes. More planes than a frame has room for get an array of its own.
 *
 * @throws std::bad_alloc
 */
void copy_planes(const real::dsd_ffmpeg &dsp_ffmpeg, const real::frame *adsp_from, AVFrame &dsp_to, int inp_planes);

/** Moves the references to the buffers from one frame to the other, which has none. */
void move_buffers(const real::dsd_ffmpeg &dsp_ffmpeg, real::frame *adsp_from, AVFrame &dsp_to) noexcept;

/** How many planes a frame of sound has. */
int sound_planes(const real::dsd_ffmpeg &dsp_ffmpeg, AVSampleFormat iep_format, int inp_channels) noexcept;

/** Copies what describes a picture or samples: sizes, formats, times, kinds. Not the memory. */
void copy_description(const real::dsd_ffmpeg &dsp_ffmpeg, const real::frame *adsp_from, AVFrame &dsp_to,
                      AVMediaType iep_type) noexcept;

} // namespace bridge::old
