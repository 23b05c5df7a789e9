/** @file Conversion of pictures between sizes and pixel formats. */
#pragma once

#include "kivjniffmpeg/ffmpeg_abi.h"

/** Owns libswscale's state, which is set up when a conversion first asks for it and kept while the questions are alike. */
class c_sws_ctx
{
public:
    /** Nothing is set up yet. */
    c_sws_ctx() noexcept = default;
    virtual ~c_sws_ctx();
    c_sws_ctx(const c_sws_ctx &) = delete;
    c_sws_ctx &operator=(const c_sws_ctx &) = delete;

    /**
     * The scaler for this conversion.
     *
     * @param inp_flags how it scales
     * @return borrowed until the next call; null when libswscale cannot do it or one of the formats does not exist (it
     *         would end the process over such a format)
     */
    SwsContext *prepare(int imp_src_width, int imp_src_height, AVPixelFormat dsp_src_format, int imp_dst_width,
                        int imp_dst_height, AVPixelFormat dsp_dst_format, int inp_flags = SWS_FAST_BILINEAR);

    /** Forgets what was set up: the next conversion starts as the first one did. */
    void reset() noexcept;

private:
    SwsContext *adsc_sws = nullptr;
};
