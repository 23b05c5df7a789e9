#include "kivjniffmpeg/codecs/video_codec.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/buffers/direct_buffer.h"
#include "kivjniffmpeg/buffers/java_buffer.h"
#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/codecs/buffer_callbacks.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <natives/c_codecoptions_ffmpeg.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace
{

/** What containers say of pictures. The options have FFmpeg's names of the fields. */
struct dsd_description
{
    std::string_view strc_option;
    int AVCodecContext::*inc_field;
};
constexpr dsd_description s_descriptions[] = {
    {"color_range", &AVCodecContext::color_range},
    {"colorspace", &AVCodecContext::colorspace},
    {"color_trc", &AVCodecContext::color_trc},
    {"color_primaries", &AVCodecContext::color_primaries},
    {"chroma_sample_location", &AVCodecContext::chroma_sample_location},
    {"field_order", &AVCodecContext::field_order},
};

} // namespace

c_videocodec::c_videocodec(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_vformat> dsp_vformat)
    : c_codec(adsp_ffmpeg, "native videocodec"),
      dsc_vformat(std::move(dsp_vformat)),
      dsc_codec(dsc_vformat->codec_id(), true),
      dsc_codec_ctx(dsc_codec, ds_buffer_callbacks),
      dsc_picture_maker(dsc_codec_ctx)
{
    TRACE_FUNCTION(3);
    AVCodecContext *adsl_context = dsc_codec_ctx.context();
    adsl_context->opaque = static_cast<c_codec *>(this);
    adsl_context->flags |= CODEC_FLAG_EMU_EDGE;
    set_whole_packets(false);
    adsl_context->width = dsc_vformat->width();
    adsl_context->height = dsc_vformat->height();
    adsl_context->bits_per_coded_sample = dsc_vformat->bitcount();
    if (dsc_vformat->stream() != nullptr)
        dsc_vformat->stream()->configure(*adsl_context);
    // Some decoders take extradata of no bytes for damaged.
    if (dsc_vformat->stream() == nullptr || !dsc_vformat->extradata().empty())
        dsc_codec_ctx.set_extradata(dsc_vformat->extradata());
}

c_videocodec::~c_videocodec()
{
    TRACE_FUNCTION(3);
    const kiv::jni::c_jnienv dsl_env(c_ffmpeg::get_thread_env());
    try {
        c_videocodec::reset();
        c_videocodec::close();
    } catch (...) {
        // Only trace lines can throw here. The destructors of the members free everything.
    }
    if (dsl_env.raw() != nullptr)
        get_ffmpeg()->forget_vcodec_object(dsl_env, this);
}

void c_videocodec::append_dst_format(std::unique_ptr<c_colormodel> dsp_model)
{
    TRACE_FUNCTION(3);
    if (dsp_model == nullptr)
        throw_ffmpeg_exception(1294, "null pointer: c_colormodel");
    dsc_dst_formats.push_back(std::move(dsp_model));
}

bool c_videocodec::find_dst_format_for_pixfmt(AVPixelFormat iep_format)
{
    TRACE_FUNCTION(3);
    const int32_t iml_old_idx = imc_dst_format_idx;
    const unsigned int unl_tag = g_avcodec.avcodec_pix_fmt_to_codec_tag(iep_format);
    TRACE_LINE(im_level_debug, "%s#%s(): pixfmt_fourcc=0x%x", unl_tag);
    for (size_t ull_idx = 0; ull_idx < dsc_dst_formats.size(); ++ull_idx) {
        // kept on purpose: an RGB model has code 0 and matches every format without a code.
        const auto unl_fourcc = static_cast<unsigned int>(dsc_dst_formats[ull_idx]->fourcc());
        TRACE_LINE(im_level_debug, "%s#%s(): test dst_format fourcc=0x%x", unl_fourcc);
        if (unl_fourcc == unl_tag) {
            imc_dst_format_idx = static_cast<int32_t>(ull_idx);
            break;
        }
    }
    bc_dst_format_changed = imc_dst_format_idx != iml_old_idx;
    if (!bc_dst_format_changed)
        return unknown_dst_format();
    TRACE_LINE(im_level_debug, "%s#%s(): found new output format: idx=%d", imc_dst_format_idx);
    get_current_dst_format().print();
    return true;
}

c_colormodel &c_videocodec::get_current_dst_format()
{
    TRACE_FUNCTION(3);
    if (unknown_dst_format()) {
        const auto dsl_rgb =
            std::ranges::find_if(dsc_dst_formats, [](const auto &dsp_model) { return dsp_model->is_rgb(); });
        imc_dst_format_idx =
            dsl_rgb == dsc_dst_formats.end() ? 0 : static_cast<int32_t>(dsl_rgb - dsc_dst_formats.begin());
        TRACE_LINE(im_level_debug, "%s#%s(): choose output format: idx=%d", imc_dst_format_idx);
        dsc_dst_formats.at(static_cast<size_t>(imc_dst_format_idx))->print();
    }
    return *dsc_dst_formats.at(static_cast<size_t>(imc_dst_format_idx));
}

bool c_videocodec::open()
{
    TRACE_FUNCTION(3);
    if (is_open())
        return true;
    return open_in_ffmpeg(dsc_codec_ctx, dsc_codec, dsl_trace);
}

bool c_videocodec::close()
{
    TRACE_FUNCTION(3);
    if (is_open()) {
        dsc_start_code_guard.clear();
        close_in_ffmpeg(dsc_codec_ctx);
        dsc_pictures.release_shared_pictures();
    }
    return true;
}

bool c_videocodec::reset()
{
    TRACE_FUNCTION(3);
    dsc_pictures.clear();
    dsc_start_code_guard.clear();
    if (is_open())
        g_avcodec.avcodec_flush_buffers(dsc_codec_ctx.context());
    dsc_pictures.release_unused_pictures();
    dsc_picture_maker.reset();
    imc_frame_count = 0;
    imc_got_picture = 0;
    return true;
}

void c_videocodec::remember_layout(const dsd_picture_layout &dsp_layout) noexcept
{
    aimc_linesizes = dsp_layout.aimc_linesizes;
    imc_scanheight = dsp_layout.imc_scanheight;
}

void c_videocodec::set_option(std::string_view strp_name, int64_t ilp_value)
{
    TRACE_FUNCTION(3);
    if (is_open())
        throw_ffmpeg_exception(1341, "options are set before the codec is opened");
    if (strp_name == "threads") {
        set_threads(ilp_value);
        return;
    }
    if (strp_name == "pooled_pictures") {
        make_stock();
        return;
    }
    if (const auto *adsl_description = std::ranges::find(s_descriptions, strp_name, &dsd_description::strc_option);
        adsl_description != std::end(s_descriptions)) {
        if (ilp_value < 0 || ilp_value > UINT8_MAX)
            throw_ffmpeg_exception(1342, "impossible value of codec option ", strp_name, ": ", ilp_value);
        dsc_codec_ctx.context()->*adsl_description->inc_field = static_cast<int>(ilp_value);
        return;
    }
    const bool bl_on = ilp_value != 0;
    if (strp_name == "damage_is_error") {
        dsc_codec_ctx->err_recognition =
            bl_on ? dsc_codec_ctx->err_recognition | AV_EF_EXPLODE : dsc_codec_ctx->err_recognition & ~AV_EF_EXPLODE;
        return;
    }
    const bool bl_whole = strp_name == "whole_packets";
    if (!bl_whole && strp_name != "direct_buffers" && strp_name != "native_format")
        throw_ffmpeg_exception(1345, "no such codec option: ", strp_name);
    if (!bl_whole && bl_on && g_avutil.av_buffer_get_ref_count == nullptr)
        throw_ffmpeg_exception(1346, "this FFmpeg cannot decode into direct buffers");
    if (bl_whole)
        set_whole_packets(bl_on);
    else
        (strp_name == "direct_buffers" ? bc_direct_buffers : bc_native_format) = bl_on;
    // So that a shared picture counts as in use, and no decoder writes into it again.
    dsc_codec_ctx->refcounted_frames = takes_direct_buffers() ? 1 : 0;
}

/** Takes the memory of all pictures from a stock. The callbacks are then called on any thread. */
void c_videocodec::make_stock()
{
    if (dsc_stock != nullptr)
        return;
    if (g_avutil.av_buffer_get_ref_count == nullptr || g_avutil.av_buffer_create == nullptr ||
        g_avutil.av_image_copy == nullptr)
        throw_ffmpeg_exception(1348, "this FFmpeg cannot pool pictures");
    dsc_stock = std::make_unique<c_picture_stock>();
    bc_native_format = true;
    dsc_codec_ctx->get_buffer = nullptr;
    dsc_codec_ctx->release_buffer = nullptr;
    dsc_codec_ctx->get_buffer2 = &avcodec_stock_get_buffer2_nothrow;
    dsc_codec_ctx->thread_safe_callbacks = 1;
    dsc_codec_ctx->refcounted_frames = 1;
}

void c_videocodec::set_threads(int64_t ilp_threads)
{
    if (ilp_threads < 1 || ilp_threads > natives::c_codecoptions_ffmpeg::MOST_THREADS)
        throw_ffmpeg_exception(1349, "no such number of threads: ", ilp_threads);
    if (ilp_threads > 1 && dsc_stock == nullptr)
        throw_ffmpeg_exception(1350, "threads need pooled pictures");
    imc_threads = static_cast<int32_t>(ilp_threads);
    dsc_codec_ctx->thread_count = imc_threads;
    if (dsc_stock != nullptr)
        dsc_stock->set_limit(imc_threads + 1);
}

void c_videocodec::set_whole_packets(bool bp_whole) noexcept
{
    bc_whole_packets = bp_whole;
    if (bp_whole)
        dsc_codec_ctx->flags &= ~CODEC_FLAG_TRUNCATED;
    else if ((dsc_codec.codec()->capabilities & CODEC_CAP_TRUNCATED) != 0)
        dsc_codec_ctx->flags |= CODEC_FLAG_TRUNCATED;
}

std::unique_ptr<ca_ffmpeg_buffer> c_videocodec::allocate_picture(int32_t imp_width, int32_t imp_height,
                                                                 AVPixelFormat iep_format,
                                                                 const dsd_picture_layout &dsp_layout)
{
    TRACE_FUNCTION(3);
    if (bc_native_format)
        return c_direct_buffer::allocate(get_ffmpeg(), imp_width, imp_height, iep_format, dsp_layout);
    const c_colormodel &dsl_model = get_current_dst_format();
    if (dsl_model.pixel_format() != iep_format)
        return std::make_unique<c_native_buffer>(dsp_layout.imc_total, dsp_layout.imc_align);
    if (bc_direct_buffers)
        return c_direct_buffer::allocate(get_ffmpeg(), imp_width, imp_height, iep_format, dsp_layout);
    return c_java_buffer::allocate(get_ffmpeg(), dsl_model,
                                   {.imc_width = imp_width,
                                    .imc_height = imp_height,
                                    .aimc_linesizes = dsp_layout.aimc_linesizes,
                                    .imc_scanheight = dsp_layout.imc_scanheight,
                                    .imc_pixel_step = dsp_layout.imc_pixel_step,
                                    .imc_align = dsp_layout.imc_align,
                                    .imc_planes_size = dsp_layout.imc_total});
}

jintArray c_videocodec::export_dst_format(JNIEnv *adsp_env)
{
    TRACE_FUNCTION(3);
    if (unknown_dst_format())
        return nullptr;
    return get_current_dst_format().export_to_java_array(adsp_env, dsc_vformat->width(), dsc_vformat->height(),
                                                         aimc_linesizes, imc_scanheight);
}
