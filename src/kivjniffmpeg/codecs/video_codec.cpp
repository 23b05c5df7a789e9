#include "kivjniffmpeg/codecs/video_codec.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/buffers/direct_buffer.h"
#include "kivjniffmpeg/buffers/java_buffer.h"
#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/codecs/buffer_callbacks.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "trace/trace.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace
{

/** More pictures than any decoder keeps for their order, so that draining always ends. */
constexpr int in_most_held_back = 64;

/** Start codes that share bytes for longer than this are not waited for. */
constexpr size_t um_longest_start_codes = 64;

/**
 * Bytes at the end that may be the first, but not all, of a start code: 00 00 01 xx, or H.263's 00 00 8x xx. Start codes
 * that share a byte count as one.
 */
size_t begun_start_code_length(std::span<const uint8_t> utp_bytes)
{
    const auto may_begin_at = [utp_bytes](size_t ump_at) {
        const auto is_there = [&](size_t ump_index, auto dsp_fits) {
            return ump_at + ump_index >= utp_bytes.size() || dsp_fits(utp_bytes[ump_at + ump_index]);
        };
        const auto is_zero = [](uint8_t utp_byte) { return utp_byte == 0; };
        const auto is_third = [](uint8_t utp_byte) { return utp_byte == 1 || (utp_byte & 0xFC) == 0x80; };
        return is_there(0, is_zero) && is_there(1, is_zero) && is_there(2, is_third);
    };
    size_t uml_whole = utp_bytes.size();
    for (size_t uml_back = 3; uml_back > 0;) {
        if (uml_whole >= uml_back && may_begin_at(uml_whole - uml_back)) {
            uml_whole -= uml_back;
            uml_back = 3;
        } else {
            --uml_back;
        }
    }
    return utp_bytes.size() - uml_whole;
}

c_codec::dsd_picture_info describe(const AVFrame &dsp_frame)
{
    const int32_t iml_fields = dsp_frame.top_field_first != 0 ? 3 : 1;
    return {
        .imc_width = dsp_frame.width,
        .imc_height = dsp_frame.height,
        .imc_pixel_format = dsp_frame.format,
        .imc_key_frame = dsp_frame.key_frame,
        .imc_picture_type = dsp_frame.pict_type,
        .imc_interlaced = dsp_frame.interlaced_frame != 0 ? iml_fields : 0,
        .aimc_linesizes = {dsp_frame.linesize[0], dsp_frame.linesize[1], dsp_frame.linesize[2], dsp_frame.linesize[3]},
        .imc_aspect_numerator = dsp_frame.sample_aspect_ratio.num,
        .imc_aspect_denominator = dsp_frame.sample_aspect_ratio.den,
        .imc_color_range = dsp_frame.color_range,
        .imc_colorspace = dsp_frame.colorspace};
}

} // namespace

c_videocodec::c_videocodec(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_vformat> dsp_vformat)
    : c_codec(adsp_ffmpeg, "native videocodec"),
      dsc_vformat(std::move(dsp_vformat)),
      dsc_codec(dsc_vformat->codec_id(), true),
      dsc_codec_ctx(dsc_codec, ds_buffer_callbacks)
{
    TRACE_FUNCTION(3);
    AVCodecContext *adsl_context = dsc_codec_ctx.context();
    adsl_context->opaque = this;
    if ((dsc_codec.codec()->capabilities & CODEC_CAP_TRUNCATED) != 0)
        adsl_context->flags |= CODEC_FLAG_TRUNCATED;
    adsl_context->flags |= CODEC_FLAG_EMU_EDGE;
    adsl_context->width = dsc_vformat->width();
    adsl_context->height = dsc_vformat->height();
    adsl_context->bits_per_coded_sample = dsc_vformat->bitcount();
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
        // Nothing of it throws but trace lines' own failures; the members are freed below all the same.
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

bool c_videocodec::find_dst_format_for_pixfmt(AVPixelFormat dsp_format)
{
    TRACE_FUNCTION(3);
    const int32_t iml_old_idx = imc_dst_format_idx;
    const unsigned int uml_tag = g_avcodec.avcodec_pix_fmt_to_codec_tag(dsp_format);
    TRACE_LINE(im_level_debug, "%s#%s(): pixfmt_fourcc=0x%x", uml_tag);
    for (size_t uml_idx = 0; uml_idx < dsc_dst_formats.size(); ++uml_idx) {
        // An RGB model has code 0 and so matches every format that has no code.
        const auto uml_fourcc = static_cast<unsigned int>(dsc_dst_formats[uml_idx]->fourcc());
        TRACE_LINE(im_level_debug, "%s#%s(): test dst_format fourcc=0x%x", uml_fourcc);
        if (uml_fourcc == uml_tag) {
            imc_dst_format_idx = static_cast<int32_t>(uml_idx);
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
        utc_begun_start_code.clear();
        close_in_ffmpeg(dsc_codec_ctx);
        dsc_lent_pictures.clear();
    }
    return true;
}

bool c_videocodec::reset()
{
    TRACE_FUNCTION(3);
    dsc_decoded_pictures.clear();
    utc_begun_start_code.clear();
    if (is_open())
        g_avcodec.avcodec_flush_buffers(dsc_codec_ctx.context());
    let_go_of_unused_pictures();
    dsc_sws_ctx.reset();
    imc_frame_count = 0;
    imc_got_picture = 0;
    return true;
}

void c_videocodec::remember_layout(const dsd_picture_layout &dsp_layout) noexcept
{
    aimc_linesizes = dsp_layout.aimc_linesizes;
    imc_scanheight = dsp_layout.imc_scanheight;
}

void c_videocodec::set_option(std::string_view strp_name, bool bp_on)
{
    TRACE_FUNCTION(3);
    if (is_open())
        throw_ffmpeg_exception(1341, "options are set before the codec is opened");
    if (strp_name == "whole_packets")
        set_whole_packets(bp_on);
    else if (strp_name == "direct_buffers")
        bc_direct_buffers = bp_on;
    else if (strp_name == "native_format")
        bc_native_format = bp_on;
    else
        throw_ffmpeg_exception(1345, "no such codec option: ", strp_name);
    if (takes_direct_buffers() && g_avutil.av_buffer_get_ref_count == nullptr)
        throw_ffmpeg_exception(1346, "this FFmpeg cannot decode into direct buffers");
    // So that a picture which Java reads counts as in use, and no decoder goes on writing into it.
    dsc_codec_ctx->refcounted_frames = takes_direct_buffers() ? 1 : 0;
}

void c_videocodec::set_whole_packets(bool bp_whole) noexcept
{
    if (bp_whole)
        dsc_codec_ctx->flags &= ~CODEC_FLAG_TRUNCATED;
    else if ((dsc_codec.codec()->capabilities & CODEC_CAP_TRUNCATED) != 0)
        dsc_codec_ctx->flags |= CODEC_FLAG_TRUNCATED;
}

std::unique_ptr<ca_ffmpeg_buffer> c_videocodec::allocate_picture(int32_t imp_width, int32_t imp_height,
                                                                 AVPixelFormat dsp_format,
                                                                 const dsd_picture_layout &dsp_layout)
{
    TRACE_FUNCTION(3);
    if (bc_native_format)
        return c_direct_buffer::allocate(get_ffmpeg(), imp_width, imp_height, dsp_format, dsp_layout);
    const c_colormodel &dsl_model = get_current_dst_format();
    if (dsl_model.pixel_format() != dsp_format)
        return std::make_unique<c_native_buffer>(dsp_layout.imc_total, dsp_layout.imc_align);
    if (bc_direct_buffers)
        return c_direct_buffer::allocate(get_ffmpeg(), imp_width, imp_height, dsp_format, dsp_layout);
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

int32_t c_videocodec::process(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, int64_t ilp_timestamp,
                              dsd_out_params &dsp_out)
{
    TRACE_FUNCTION(3);
    if (imp_lendata < 0)
        throw std::invalid_argument("imp_lendata");
    TRACE_LINE(im_level_debug, "%s#%s(): imp_lendata=%d ilp_timestamp=%lld", imp_lendata,
               static_cast<long long>(ilp_timestamp));
    if (autp_data != nullptr && imp_lendata > 0) {
        if (!decode_packet(autp_data, imp_lendata, imp_flags, ilp_timestamp))
            return ie_decoding_error;
    } else if ((imp_flags & im_flag_drain) != 0) {
        drain(imp_flags, ilp_timestamp);
    }
    const int32_t iml_result = hand_out(imp_flags, dsp_out);
    let_go_of_unused_pictures();
    return iml_result;
}

bool c_videocodec::decode_packet(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, int64_t ilp_timestamp)
{
    TRACE_SCOPE("process", 3);
    AVCodecContext *adsl_context = dsc_codec_ctx.context();
    const auto report_error = [&](int inp_err) {
        utc_begun_start_code.clear(); // the rest of the packet is dropped
        TRACE_LINE(im_level_error, "%s#%s(): Error during decoding frame %d, code %d, size: [%dx%d]", imc_frame_count,
                   inp_err, adsl_context->width, adsl_context->height);
        return false;
    };
    if (!is_open())
        return report_error(in_error_not_open); // FFmpeg would read through null pointers

    if ((imp_flags & im_flag_discontinuity) != 0 && imc_frame_count >= 1) {
        utc_begun_start_code.clear();
        g_avcodec.avcodec_flush_buffers(adsl_context);
    }
    const std::span utl_packet = withhold_begun_start_code({autp_data, static_cast<size_t>(imp_lendata)});
    c_avpacket dsl_packet;
    dsl_packet.set_data(utl_packet.data());
    dsl_packet.set_size(static_cast<int>(utl_packet.size()));
    dsl_packet.set_pts(ilp_timestamp);
    dsl_packet.set_dts(AV_NOPTS_VALUE);

    c_decoder_progress dsl_progress;
    while (dsl_packet.size() > 0) {
        throw_if_pending();
        auto dsl_frame = std::make_unique<c_avframe>();
        dsl_packet.guard_side_data();
        const int inl_consumed =
            g_avcodec.avcodec_decode_video2(adsl_context, dsl_frame->frame(), &imc_got_picture, dsl_packet.packet());
        throw_if_pending();
        if (inl_consumed < 0)
            return report_error(inl_consumed);
        TRACE_LINE(im_level_debug, "%s#%s(): got_picture=%d", imc_got_picture);
        dsl_packet.inc_read_ptr(inl_consumed);
        if (dsl_progress.is_stuck(inl_consumed, imc_got_picture != 0))
            return report_error(inl_consumed);
        if (imc_got_picture != 0)
            list_picture(std::move(dsl_frame), imp_flags, ilp_timestamp);
    }
    return true;
}

/** Fetches what the decoder holds back until its stream ends. */
void c_videocodec::drain(int32_t imp_flags, int64_t ilp_timestamp)
{
    TRACE_FUNCTION(3);
    utc_begun_start_code.clear(); // nothing comes that could complete it
    c_avpacket dsl_nothing;
    for (int inl_picture = 0; is_open() && inl_picture < in_most_held_back; ++inl_picture) {
        throw_if_pending();
        auto dsl_frame = std::make_unique<c_avframe>();
        const int inl_err = g_avcodec.avcodec_decode_video2(dsc_codec_ctx.context(), dsl_frame->frame(),
                                                            &imc_got_picture, dsl_nothing.packet());
        throw_if_pending();
        if (inl_err < 0 || imc_got_picture == 0)
            return;
        list_picture(std::move(dsl_frame), imp_flags, ilp_timestamp);
    }
}

// A start code that begins in one packet and ends in the next makes FFmpeg's splitter of cut packets go back into its
// memory, which 2.8.1 has lost when the picture between them began a new sequence. So no start code is ever cut for it:
// its first bytes come with the rest. The code is found with its last byte as before, and so is every picture.
std::span<uint8_t> c_videocodec::withhold_begun_start_code(std::span<uint8_t> utp_packet)
{
    if ((dsc_codec_ctx->flags & CODEC_FLAG_TRUNCATED) == 0)
        return utp_packet;
    const std::span utl_joined = dsc_joined.prepare(utc_begun_start_code.size() + utp_packet.size());
    std::ranges::copy(utp_packet, std::ranges::copy(utc_begun_start_code, utl_joined.begin()).out);
    const std::span utl_withheld = utl_joined.last(begun_start_code_length(utl_joined));
    utc_begun_start_code.assign(utl_withheld.begin(), utl_withheld.end());
    if (utc_begun_start_code.size() > um_longest_start_codes)
        utc_begun_start_code.clear();            // no stream looks like that
    std::ranges::fill(utl_withheld, uint8_t{0}); // padding, now
    return utl_joined.first(utl_joined.size() - utl_withheld.size());
}

void c_videocodec::list_picture(std::unique_ptr<c_avframe> dsp_frame, int32_t imp_flags, int64_t ilp_timestamp)
{
    TRACE_SCOPE("process", 3);
    const AVPixelFormat dsl_decoded_format = dsp_frame->pixel_format();
    const char *strl_format = pixfmt2string(dsl_decoded_format);
    TRACE_LINE(im_level_debug, "%s#%s(): decoding frame %d successfull pkt_pts=%lld format=%s", imc_frame_count,
               static_cast<long long>((*dsp_frame)->pkt_pts), strl_format == nullptr ? "none" : strl_format);
    ++imc_frame_count;
    const AVPixelFormat dsl_format = bc_native_format ? dsl_decoded_format : get_current_dst_format().pixel_format();
    c_framebuffer_reference dsl_buffer;
    if (dsl_format != dsl_decoded_format) {
        dsp_frame = convert(*dsp_frame, dsl_buffer, dsl_format);
    } else {
        dsl_buffer = ffmpeg_get_framebuffer(*dsp_frame);
        // A decoder may return a buffer once more, as a picture that repeats another one or after a flush. That memory
        // is another picture's: this one gets its own. So do pictures that stand on their head.
        if (dsl_buffer->handed_over() || is_listed(dsl_buffer.get()) || (*dsp_frame)->linesize[0] < 0)
            dsp_frame = duplicate(*dsp_frame, dsl_buffer);
        else
            tell_plane_offsets(*dsp_frame, *dsl_buffer.get());
    }
    throw_if_pending();
    if (dsp_frame == nullptr) {
        TRACE_LINE(im_level_error, "%s#%s(): %s", "cannot convert picture to desired output format");
        return;
    }
    AVFrame *adsl_frame = dsp_frame->frame();
    dsl_buffer->set_data_size(g_avcodec.avpicture_get_size(dsl_format, adsl_frame->width, adsl_frame->height));
    adsl_frame->flags = imp_flags;
    adsl_frame->pts = ilp_timestamp;
    dsc_decoded_pictures.push_back({std::move(dsp_frame), std::move(dsl_buffer)});
}

void c_videocodec::tell_plane_offsets(const c_avframe &dsp_frame, ca_ffmpeg_buffer &dsp_buffer)
{
    std::array<int32_t, 4> aiml_offsets{};
    for (size_t uml_plane = 0; uml_plane < aiml_offsets.size(); ++uml_plane) {
        if (const uint8_t *autl_plane = dsp_frame->data[uml_plane]; autl_plane != nullptr)
            aiml_offsets[uml_plane] = static_cast<int32_t>(autl_plane - dsp_buffer.data());
    }
    if (swaps_chroma())
        std::swap(aiml_offsets[1], aiml_offsets[2]);
    dsp_buffer.set_plane_offsets(aiml_offsets);
}

void c_videocodec::let_go_of_unused_pictures()
{
    std::erase_if(dsc_lent_pictures, [](const auto &dsp_frame) {
        const AVBufferRef *adsl_memory = (*dsp_frame)->buf[0];
        return adsl_memory == nullptr || g_avutil.av_buffer_get_ref_count(adsl_memory) == 1;
    });
}

bool c_videocodec::is_listed(const ca_ffmpeg_buffer *adsp_buffer) const
{
    return std::ranges::any_of(dsc_decoded_pictures, [adsp_buffer](const dsd_picture &dsp_picture) {
        return dsp_picture.dsc_buffer.get() == adsp_buffer;
    });
}

bool c_videocodec::swaps_chroma()
{
    return !bc_native_format && get_current_dst_format().fourcc() == im_fourcc_yv12;
}

std::unique_ptr<c_avframe> c_videocodec::convert(c_avframe &dsp_decoded, c_framebuffer_reference &dsp_buffer,
                                                 AVPixelFormat dsp_format)
{
    TRACE_FUNCTION(3);
    const AVFrame &dsl_from = *dsp_decoded.frame();
    const int32_t iml_width = dsc_vformat->width();
    const int32_t iml_height = dsc_vformat->height();
    SwsContext *adsl_sws = dsc_sws_ctx.prepare(dsl_from.width, dsl_from.height, dsp_decoded.pixel_format(), iml_width,
                                               iml_height, dsp_format);
    if (adsl_sws == nullptr)
        return nullptr;
    return make_picture(dsp_decoded, dsp_buffer, dsp_format, iml_width, iml_height, [&](AVFrame &dsp_to) {
        // The slice is as high as the output; the source has no more lines than it has. From colours, libswscale
        // crashes when it gets a few lines of many.
        constexpr int inl_colours = 2 | 32; // AV_PIX_FMT_FLAG_PAL, AV_PIX_FMT_FLAG_RGB
        const bool bl_whole = (g_avutil.av_pix_fmt_desc_get(dsp_decoded.pixel_format())->flags & inl_colours) != 0;
        const int inl_lines = bl_whole ? dsl_from.height : std::min(iml_height, dsl_from.height);
        g_swscale.sws_scale(adsl_sws, dsl_from.data, dsl_from.linesize, 0, inl_lines, dsp_to.data, dsp_to.linesize);
    });
}

std::unique_ptr<c_avframe> c_videocodec::duplicate(c_avframe &dsp_decoded, c_framebuffer_reference &dsp_buffer)
{
    TRACE_FUNCTION(3);
    if (g_avutil.av_image_copy == nullptr)
        return nullptr;
    const AVFrame &dsl_from = *dsp_decoded.frame();
    return make_picture(dsp_decoded, dsp_buffer, dsp_decoded.pixel_format(), dsl_from.width, dsl_from.height,
                        [&](AVFrame &dsp_to) {
                            g_avutil.av_image_copy(dsp_to.data, dsp_to.linesize, dsl_from.data, dsl_from.linesize,
                                                   dsp_decoded.pixel_format(), dsl_from.width, dsl_from.height);
                        });
}

/** A picture in memory of its own, which @p dsp_fill fills; null when there is no memory for it. */
template <class FILL>
std::unique_ptr<c_avframe> c_videocodec::make_picture(c_avframe &dsp_decoded, c_framebuffer_reference &dsp_buffer,
                                                      AVPixelFormat dsp_format, int32_t imp_width, int32_t imp_height,
                                                      FILL dsp_fill)
{
    auto dsl_picture = std::make_unique<c_avframe>();
    AVFrame &dsl_to = *dsl_picture->frame();
    dsl_to.format = dsp_format;
    dsl_to.width = imp_width;
    dsl_to.height = imp_height;
    if (!dsc_codec_ctx.get_buffer(*dsl_picture))
        return nullptr;
    dsp_fill(dsl_to);
    // The callback clears these with the frame's own reference; the list's stays, and with it the memory.
    const auto ainl_linesizes = std::to_array(dsl_to.linesize);
    dsp_buffer = ffmpeg_get_framebuffer(*dsl_picture);
    dsc_codec_ctx.release_buffer(*dsl_picture);
    std::ranges::copy(ainl_linesizes, dsl_to.linesize);
    const AVFrame &dsl_from = *dsp_decoded.frame();
    dsl_to.pkt_pts = dsl_from.pkt_pts;
    dsl_to.key_frame = dsl_from.key_frame;
    dsl_to.pict_type = dsl_from.pict_type;
    dsl_to.interlaced_frame = dsl_from.interlaced_frame;
    dsl_to.top_field_first = dsl_from.top_field_first;
    dsl_to.sample_aspect_ratio = dsl_from.sample_aspect_ratio;
    dsl_to.color_range = dsl_from.color_range;
    dsl_to.colorspace = dsl_from.colorspace;
    return dsl_picture;
}

int32_t c_videocodec::hand_out(int32_t imp_flags, dsd_out_params &dsp_out)
{
    TRACE_SCOPE("process", 3);
    throw_if_pending();
    dsp_out.imc_flags = imp_flags;
    if (dsc_decoded_pictures.empty())
        return ie_no_picture;
    dsd_picture dsl_picture = std::move(dsc_decoded_pictures.front());
    dsc_decoded_pictures.pop_front();
    dsl_picture.dsc_frame->draw_debug_area();
    const ca_ffmpeg_buffer *adsl_buffer = dsl_picture.dsc_buffer.get();
    dsp_out.imc_data_offset = adsl_buffer->data_offset();
    dsp_out.imc_data_size = adsl_buffer->data_size();
    dsp_out.imc_buffer_word = adsl_buffer->reference_word();
    dsp_out.ilc_timestamp = (*dsl_picture.dsc_frame)->pkt_pts;
    dsp_out.dsc_picture = describe(*dsl_picture.dsc_frame->frame());
    if (takes_direct_buffers())
        dsc_lent_pictures.push_back(std::move(dsl_picture.dsc_frame));
    dsp_out.adsc_buffer = dsl_picture.dsc_buffer.pass_on(); // last: nothing may fail behind it
    if (!dsc_decoded_pictures.empty())
        return ie_picture_and_more;
    return std::exchange(bc_dst_format_changed, false) ? ie_picture_model_changed : ie_picture;
}
