#include "kivjniffmpeg/codecs/buffer_callbacks.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/codecs/video_codec.h"
#include "kivjniffmpeg/ffmpeg/codec_context.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/formats/color_model.h"
#include "kivjniffmpeg/formats/picture_layout.h"
#include "trace/trace.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace
{

/** The codec whose context it is. */
c_codec &codec_of(const AVCodecContext &dsp_context)
{
    return *static_cast<c_codec *>(dsp_context.opaque);
}

c_videocodec &video_codec_of(const AVCodecContext &dsp_context)
{
    return static_cast<c_videocodec &>(codec_of(dsp_context));
}

/** Clears the pointers and line sizes of all planes. */
void clear_planes(AVFrame *adsp_pic)
{
    std::ranges::fill(adsp_pic->data, nullptr);
    std::ranges::fill(adsp_pic->linesize, 0);
}

/** Stores the buffer in the frame, with one reference for the frame. */
int store_buffer(AVFrame *adsp_pic, std::unique_ptr<ca_ffmpeg_buffer> dsp_buffer)
{
    ++g_buffer_statistics.buffer_get;
    adsp_pic->type = FF_BUFFER_TYPE_USER;
    dsp_buffer->add_reference();
    adsp_pic->opaque = dsp_buffer.release();
    return 0;
}

int get_picture_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic)
{
    TRACE_SCOPE("avcodec_custom_get_buffer", 3);
    const c_avcodec_ctx_resetter dsl_resetter(adsp_s);
    const auto iel_format = static_cast<AVPixelFormat>(adsp_pic->format);
    adsp_s->pix_fmt = iel_format;
    auto &dsl_codec = video_codec_of(*adsp_s);
    adsp_pic->reordered_opaque = adsp_s->reordered_opaque;
    if (adsp_s->width <= 0 || adsp_s->height <= 0)
        throw_ffmpeg_exception(2994, "video dimensions corrupt");
    const bool bl_native = dsl_codec.native_format();
    if (!bl_native && dsl_codec.unknown_dst_format())
        dsl_codec.find_dst_format_for_pixfmt(iel_format);

    // A decoder writes the whole coded picture, which may be larger than the shown one, and a converted picture may be
    // larger than the stream's.
    const auto dsl_layout = compute_picture_layout(adsp_s, iel_format, std::max(adsp_s->width, adsp_pic->width),
                                                   std::max(adsp_s->height, adsp_pic->height));
    if (!dsl_layout)
        return -1;
    std::unique_ptr<ca_ffmpeg_buffer> dsl_buffer =
        dsl_codec.allocate_picture(adsp_s->width, adsp_s->height, iel_format, *dsl_layout);
    dsl_codec.remember_layout(*dsl_layout);
    if (!bl_native && dsl_layout->plane_count() == 2)
        throw_ffmpeg_exception(3141, "we do not support indexed color models");

    clear_planes(adsp_pic);
    std::ranges::fill(adsp_pic->base, nullptr);
    fill_with_grey(dsl_buffer->data(), *dsl_layout, iel_format);
    for (size_t ull_plane = 0; ull_plane < static_cast<size_t>(dsl_layout->plane_count()); ++ull_plane) {
        uint8_t *autl_plane = dsl_buffer->data() + dsl_layout->aimc_plane_offsets[ull_plane];
        adsp_pic->base[ull_plane] = autl_plane;
        adsp_pic->data[ull_plane] = autl_plane;
        adsp_pic->linesize[ull_plane] = dsl_layout->aimc_linesizes[ull_plane];
    }
    dsl_buffer->set_plane_offsets(dsl_layout->aimc_plane_offsets);
    if (!bl_native && dsl_codec.get_current_dst_format().fourcc() == im_fourcc_yv12) {
        std::swap(adsp_pic->data[1], adsp_pic->data[2]);
        std::swap(adsp_pic->linesize[1], adsp_pic->linesize[2]);
    }
    adsp_pic->extended_data = adsp_pic->data;
    dsl_buffer->set_statistics_kind(ie_statistics_video);
    return store_buffer(adsp_pic, std::move(dsl_buffer));
}

int get_sample_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic)
{
    TRACE_SCOPE("avcodec_custom_get_buffer", 3);
    constexpr unsigned int unl_channel_limit = 32;
    if (static_cast<unsigned int>(adsp_s->channels) > unl_channel_limit)
        throw_ffmpeg_exception(3165, "channels<1 or channels>32");
    if (adsp_pic->nb_samples < 0)
        throw_ffmpeg_exception(3166, "nb_samples<0");
    const int32_t iml_buf_size =
        g_avutil.av_samples_get_buffer_size(nullptr, adsp_s->channels, adsp_pic->nb_samples, adsp_s->sample_fmt, 0);
    if (iml_buf_size < 0)
        throw_ffmpeg_exception(3168, " iml_buf_size<0");
    auto dsl_buffer = std::make_unique<c_native_buffer>(iml_buf_size, c_native_buffer::im_minimum_alignment,
                                                        &codec_of(*adsp_s).spare_memory());
    TRACE_LINE(im_level_debug, "%s#%s(): pts=%lld iml_buf_size=%d adsl_ff_buf=%p autc_base=%p autc_data=%p",
               static_cast<long long>(adsp_pic->pts), iml_buf_size, static_cast<const void *>(dsl_buffer.get()),
               static_cast<const void *>(dsl_buffer->data()), static_cast<const void *>(dsl_buffer->data()));
    if (g_avcodec.avcodec_fill_audio_frame(adsp_pic, adsp_s->channels, adsp_s->sample_fmt, dsl_buffer->data(),
                                           dsl_buffer->capacity(), 0) < 0)
        throw_ffmpeg_exception(3177, "avcodec_fill_audio_frame failed");
    std::ranges::fill(adsp_pic->buf, nullptr);
    adsp_pic->extended_buf = nullptr;
    adsp_pic->nb_extended_buf = 0;
    dsl_buffer->set_statistics_kind(ie_statistics_audio);
    TRACE_LINE(im_level_debug, "%s#%s(): aallocs=%d afrees=%d abuffers=%d", g_buffer_statistics.aallocs.load(),
               g_buffer_statistics.afrees.load(), g_buffer_statistics.abuffers.load());
    return store_buffer(adsp_pic, std::move(dsl_buffer));
}

/** Runs a callback's work. An exception becomes an error line and the failure value. */
template <class WORK> int without_exceptions(const char *strp_name, const char *strp_line, WORK dsp_work) noexcept
{
    try {
        return dsp_work();
    } catch (...) {
        const c_trace dsl_trace(strp_name, 3);
        try {
            TRACE_LINE(im_level_error, "%s#%s(): %s", strp_line);
        } catch (...) {
        }
        return -1;
    }
}

void trace_video_buffers()
{
    TRACE_SCOPE("avcodec_custom_release_buffer", 3);
    TRACE_LINE(im_level_debug, "%s#%s(): vallocs=%d vfrees=%d vbuffers=%d", g_buffer_statistics.vallocs.load(),
               g_buffer_statistics.vfrees.load(), g_buffer_statistics.vbuffers.load());
}

void trace_audio_buffers()
{
    TRACE_SCOPE("avcodec_custom_release_buffer", 3);
    TRACE_LINE(im_level_debug, "%s#%s(): aallocs=%d afrees=%d abuffers=%d", g_buffer_statistics.aallocs.load(),
               g_buffer_statistics.afrees.load(), g_buffer_statistics.abuffers.load());
}

} // namespace

int avcodec_custom_get_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic)
{
    TRACE_FUNCTION(3);
    codec_of(*adsp_s).count_frame();
    switch (adsp_s->codec_type) {
    case AVMEDIA_TYPE_VIDEO:
    case AVMEDIA_TYPE_UNKNOWN:
        return get_picture_buffer(adsp_s, adsp_pic);
    case AVMEDIA_TYPE_AUDIO:
        return get_sample_buffer(adsp_s, adsp_pic);
    default:
        TRACE_LINE(im_level_error, "%s#%s(): %s", "AVMEDIA_TYPE_UNKNOWN");
        return -2;
    }
}

void avcodec_custom_release_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic)
{
    TRACE_FUNCTION(3);
    if (adsp_pic->type != FF_BUFFER_TYPE_USER)
        throw std::runtime_error("TODO: file=" __FILE__ " function=avcodec_custom_release_buffer line=3226");
    if (auto *adsl_buffer = static_cast<ca_ffmpeg_buffer *>(adsp_pic->opaque); adsl_buffer != nullptr) {
        TRACE_LINE(im_level_debug, "%s#%s(): ff_buf=%p ref=%d refcount=%d", static_cast<const void *>(adsl_buffer),
                   adsp_pic->reference, adsl_buffer->reference_count());
        adsp_pic->opaque = nullptr;
        ffmpeg_release_framebuffer(adsl_buffer, adsp_s->codec_type == AVMEDIA_TYPE_AUDIO ? &trace_audio_buffers
                                                                                         : &trace_video_buffers);
    }
    ++g_buffer_statistics.buffer_release;
    TRACE_LINE(im_level_debug, "%s#%s(): buffer_get=%d buffer_release=%d", g_buffer_statistics.buffer_get.load(),
               g_buffer_statistics.buffer_release.load());
    clear_planes(adsp_pic);
}

int avcodec_custom_reget_buffer(AVCodecContext *adsp_s, AVFrame *adsp_pic)
{
    TRACE_FUNCTION(3);
    if (adsp_s == nullptr)
        throw_ffmpeg_exception(3256, "adsp_s must not be NULL");
    if (adsp_pic == nullptr)
        throw_ffmpeg_exception(3257, "adsp_pic must not be NULL");
    if (adsp_s->codec_type == AVMEDIA_TYPE_AUDIO)
        throw_ffmpeg_exception(3258, "reget_buffer can only be used for video buffers");
    return adsp_pic->opaque != nullptr ? 0 : avcodec_custom_get_buffer(adsp_s, adsp_pic);
}

int avcodec_custom_get_buffer_nothrow(AVCodecContext *adsp_s, AVFrame *adsp_pic)
{
    return without_exceptions("avcodec_custom_get_buffer_nothrow", "exception occurred in avcodec_custom_get_buffer()",
                              [&] { return avcodec_custom_get_buffer(adsp_s, adsp_pic); });
}

void avcodec_custom_release_buffer_nothrow(AVCodecContext *adsp_s, AVFrame *adsp_pic)
{
    without_exceptions("avcodec_custom_release_buffer_nothrow", "exception occurred in avcodec_custom_release_buffer()",
                       [&] {
                           avcodec_custom_release_buffer(adsp_s, adsp_pic);
                           return 0;
                       });
}

int avcodec_custom_reget_buffer_nothrow(AVCodecContext *adsp_s, AVFrame *adsp_pic)
{
    return without_exceptions("avcodec_custom_reget_buffer_nothrow",
                              "exception occurred in avcodec_custom_reget_buffer()",
                              [&] { return avcodec_custom_reget_buffer(adsp_s, adsp_pic); });
}

int avcodec_stock_get_buffer2_nothrow(AVCodecContext *adsp_s, AVFrame *adsp_pic, int)
{
    try {
        c_videocodec &dsl_codec = video_codec_of(*adsp_s);
        dsl_codec.count_frame();
        return dsl_codec.stock()->provide(*adsp_s, *adsp_pic);
    } catch (...) {
        return AVERROR(ENOMEM); // without a trace line: the thread may be one of FFmpeg's
    }
}
