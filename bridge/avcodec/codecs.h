/** @file Registered codecs as callers of the 56 line see them. */
#pragma once

#include "bridge/real/ffmpeg.h"
#include "kivjniffmpeg/ffmpeg/abi.h"

namespace bridge::avcodec
{

/** A codec with what belongs to it in the loaded FFmpeg. The first field has the old layout, and callers see only it. */
struct dsd_codec
{
    AVCodec dsc_old;
    uint8_t utc_tail[136]; /**< the rest of the old structure, all zeroes */
    const real::codec *adsc_real;
    const real::dsd_codec_name *adsc_name;
};
static_assert(offsetof(dsd_codec, adsc_real) == 200);

/** @return null when there is none. @throws std::bad_alloc */
const dsd_codec *find_codec(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecID iep_id, bool bp_decoder);

/** All codecs, in FFmpeg's order. @param adsp_codec null for the first one. @return null after the last one */
const dsd_codec *next_codec(const real::dsd_ffmpeg &dsp_ffmpeg, const AVCodec *adsp_codec);

/** The codec that a caller names, which one of the functions above returned. */
inline const dsd_codec &codec_of(const AVCodec &dsp_codec) noexcept
{
    return reinterpret_cast<const dsd_codec &>(dsp_codec);
}

} // namespace bridge::avcodec
