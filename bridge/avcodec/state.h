/** @file What hangs on the `internal` field of an opened context: the loaded FFmpeg's context and all that it needs. */
#pragma once

#include "bridge/old/fields.h"
#include "bridge/real/ffmpeg.h"

#include <memory>
#include <typeinfo>

namespace bridge::avcodec
{

struct dsd_free_context
{
    const real::dsd_ffmpeg *adsc_ffmpeg;
    void operator()(real::context *adsp_context) const noexcept { adsc_ffmpeg->avcodec_free_context(&adsp_context); }
};
using real_context = std::unique_ptr<real::context, dsd_free_context>;

struct dsd_free_frame
{
    const real::dsd_ffmpeg *adsc_ffmpeg;
    void operator()(real::frame *adsp_frame) const noexcept { adsc_ffmpeg->av_frame_free(&adsp_frame); }
};
using real_frame = std::unique_ptr<real::frame, dsd_free_frame>;

struct dsd_free_buffer
{
    const real::dsd_ffmpeg *adsc_ffmpeg;
    void operator()(AVBufferRef *adsp_buffer) const noexcept { adsc_ffmpeg->av_buffer_unref(&adsp_buffer); }
};
using real_buffer = std::unique_ptr<AVBufferRef, dsd_free_buffer>;

/** @throws std::bad_alloc */
real_context make_context(const real::dsd_ffmpeg &dsp_ffmpeg, const real::codec *adsp_codec);
/** @throws std::bad_alloc */
real_frame make_frame(const real::dsd_ffmpeg &dsp_ffmpeg);

/** An opened decoder or encoder. Belongs to its context; avcodec_close destroys it. */
class ca_state
{
public:
    ca_state() = default;
    virtual ~ca_state() = default;
    ca_state(const ca_state &) = delete;
    ca_state &operator=(const ca_state &) = delete;
};

/** The state of an opened context; null when it is not open, or is another kind of state. */
template <class STATE> STATE *state_of(AVCodecContext *adsp_context) noexcept
{
    if (adsp_context == nullptr)
        return nullptr;
    auto *adsl_state = static_cast<ca_state *>(old::context::internal.of(adsp_context));
    // No class derives from these, and a cast that looks for one takes a tenth of the time of a small packet of sound.
    return adsl_state != nullptr && typeid(*adsl_state) == typeid(STATE) ? static_cast<STATE *>(adsl_state) : nullptr;
}

} // namespace bridge::avcodec
