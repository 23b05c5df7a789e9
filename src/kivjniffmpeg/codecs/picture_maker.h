/** @file Conversion and duplication of decoded pictures. */
#pragma once

#include "kivjniffmpeg/codecs/picture_queue.h"
#include "kivjniffmpeg/ffmpeg/codec_context.h"
#include "kivjniffmpeg/ffmpeg/scaler.h"

#include <cstdint>

/**
 * Makes pictures in memory that the context's buffer callback provides, as it does for the decoder's own.
 *
 * Both functions return a picture without a frame when there is no memory for it or FFmpeg cannot make it. Used by the
 * thread that runs the codec.
 */
class c_picture_maker
{
public:
    /** @param dsp_codec_ctx must outlive this object */
    explicit c_picture_maker(c_avcodec_ctx &dsp_codec_ctx) noexcept : dsc_codec_ctx(dsp_codec_ctx) {}

    /** The picture in another format and size (pixels). */
    dsd_decoded_picture convert(c_avframe &dsp_decoded, AVPixelFormat iep_format, int32_t imp_width,
                                int32_t imp_height);
    /** The picture in memory of its own, top-down. */
    dsd_decoded_picture duplicate(c_avframe &dsp_decoded);

    /** Releases the scaler: the next conversion starts as the first one did. */
    void reset() noexcept { dsc_sws_ctx.reset(); }

private:
    template <class FILL>
    dsd_decoded_picture make(const AVFrame &dsp_from, AVPixelFormat iep_format, int32_t imp_width, int32_t imp_height,
                             FILL dsp_fill);

    c_avcodec_ctx &dsc_codec_ctx;
    c_sws_ctx dsc_sws_ctx;
};
