/**
 * @file
 * The 56 line's structures as far as the bridge needs more of them than kivjniffmpeg/ffmpeg/abi.h declares: whole sizes,
 * and the places of further fields.
 */
#pragma once

#include "bridge/real/layout.h"
#include "kivjniffmpeg/ffmpeg/abi.h"

namespace bridge::old
{

using real::dsd_field;

inline constexpr size_t ul_context_size = 1128;
inline constexpr size_t ul_frame_size = 640;
static_assert(sizeof(AVFrame) == ul_frame_size);

namespace context
{
inline constexpr dsd_field<AVCodecContext, void *> internal{80};
inline constexpr dsd_field<AVCodecContext, int> has_b_frames{212};
inline constexpr dsd_field<AVCodecContext, int> refs{416};
inline constexpr dsd_field<AVCodecContext, int> frame_number{480};
inline constexpr dsd_field<AVCodecContext, int> workaround_bugs{760};
inline constexpr dsd_field<AVCodecContext, int> error_concealment{768};
inline constexpr dsd_field<AVCodecContext, int> err_recognition{780};
inline constexpr dsd_field<AVCodecContext, int> idct_algo{876};
inline constexpr dsd_field<AVCodecContext, int> thread_type{908};
inline constexpr dsd_field<AVCodecContext, int> skip_loop_filter{956};
inline constexpr dsd_field<AVCodecContext, int> skip_idct{960};
inline constexpr dsd_field<AVCodecContext, int> skip_frame{964};
inline constexpr dsd_field<AVCodecContext, int> initial_padding{1004};
inline constexpr dsd_field<AVCodecContext, AVRational> framerate{1008};
inline constexpr dsd_field<AVCodecContext, AVRational> pkt_timebase{1020};
} // namespace context

namespace frame
{
inline constexpr dsd_field<AVFrame, int> quality{232};
inline constexpr dsd_field<AVFrame, int> repeat_pict{388};
inline constexpr dsd_field<AVFrame, int> palette_has_changed{400};
inline constexpr dsd_field<AVFrame, int> color_primaries{564};
inline constexpr dsd_field<AVFrame, int> color_trc{568};
inline constexpr dsd_field<AVFrame, int> chroma_location{576};
inline constexpr dsd_field<AVFrame, int64_t> best_effort_timestamp{584};
inline constexpr dsd_field<AVFrame, int64_t> pkt_pos{592};
inline constexpr dsd_field<AVFrame, int64_t> pkt_duration{600};
inline constexpr dsd_field<AVFrame, int> pkt_size{624};
} // namespace frame

inline constexpr int in_unspecified_colour = 2; /**< of primaries, transfer and matrix */

} // namespace bridge::old
