/** @file FFmpeg's decoders and encoders: the registered codec, and the state of one in use. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <cstdint>
#include <span>

class c_avframe;

/** A registered decoder or encoder, which FFmpeg owns and never frees. */
class c_avcodec
{
public:
    /**
     * @param bp_decoder true for a decoder, false for an encoder
     * @throws c_ffmpeg_exception "no decoder found for id=" or "no encoder found for id=" with the number
     */
    c_avcodec(AVCodecID iep_id, bool bp_decoder);
    virtual ~c_avcodec();
    c_avcodec(const c_avcodec &) = delete;
    c_avcodec &operator=(const c_avcodec &) = delete;

    const AVCodec *codec() const noexcept { return adsc_codec; }

    /** The long name, or the short one where there is no long one. */
    const char *display_name() const noexcept;

    /** Whether the codec lists the sample format; false for a codec without a list. */
    bool supports_sample_format(AVSampleFormat iep_format) const noexcept;

private:
    const AVCodec *adsc_codec;
};

/** The functions that FFmpeg calls to get and release the memory of every frame. No exception may leave them. */
struct dsd_buffer_callbacks
{
    decltype(AVCodecContext::get_buffer) adsc_get_buffer;
    decltype(AVCodecContext::release_buffer) adsc_release_buffer;
    decltype(AVCodecContext::reget_buffer) adsc_reget_buffer;
};

/**
 * Owns the state of one decoder or encoder, and closes and frees it.
 *
 * The buffer callbacks are installed from the start, so that every frame lies in the library's memory.
 */
class c_avcodec_ctx
{
public:
    /** @throws std::bad_alloc */
    c_avcodec_ctx(const c_avcodec &dsp_codec, const dsd_buffer_callbacks &dsp_callbacks);
    virtual ~c_avcodec_ctx();
    c_avcodec_ctx(const c_avcodec_ctx &) = delete;
    c_avcodec_ctx &operator=(const c_avcodec_ctx &) = delete;

    /** Never null. @throws c_ffmpeg_exception "wrapper containing null pointer" */
    AVCodecContext *context() const;
    AVCodecContext *operator->() const { return context(); }

    /**
     * Copies the decoder's extradata, with zeroed padding behind it. Without memory for the copy there is none.
     *
     * Called at most once, before the codec is opened.
     */
    void set_extradata(std::span<const uint8_t> utp_extradata);

    /** Has the installed callback provide memory for a frame. @return false when it fails */
    bool get_buffer(c_avframe &dsp_frame);
    /** Has the installed callback release the frame's reference to its memory. */
    void release_buffer(c_avframe &dsp_frame);

private:
    AVCodecContext *adsc_context;
};

/** Restores a context's pixel format at the end of the scope in which a buffer callback changes it. */
class c_avcodec_ctx_resetter
{
public:
    explicit c_avcodec_ctx_resetter(AVCodecContext *adsp_context) noexcept
        : adsc_context(adsp_context), iec_pix_fmt(adsp_context->pix_fmt)
    {
    }
    virtual ~c_avcodec_ctx_resetter() { adsc_context->pix_fmt = iec_pix_fmt; }
    c_avcodec_ctx_resetter(const c_avcodec_ctx_resetter &) = delete;
    c_avcodec_ctx_resetter &operator=(const c_avcodec_ctx_resetter &) = delete;

private:
    AVCodecContext *adsc_context;
    AVPixelFormat iec_pix_fmt;
};
