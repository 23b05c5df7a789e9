#include "kivjniffmpeg/video_codec.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg_loader.h"
#include "kivjniffmpeg/packet.h"
#include "trace/trace.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace
{

/** Calls in a row in which a decoder may neither consume nor return anything before the packet is given up. */
constexpr int in_idle_limit = 32;
/** Pictures that a decoder may return in a row without consuming anything. */
constexpr int in_unpaid_limit = 256;

constexpr int in_error_not_open = -22; // EINVAL, as FFmpeg writes it

/** Bytes at the end that may be the first, but not all, of a start code: 00 00 01 xx, or H.263's 00 00 8x. */
size_t begun_start_code_length(std::span<const uint8_t> utp_bytes)
{
    const auto is_zero = [utp_bytes](size_t ump_from_end) {
        return utp_bytes.size() >= ump_from_end && utp_bytes[utp_bytes.size() - ump_from_end] == 0;
    };
    if (is_zero(3) && is_zero(2))
        return 3;
    if (is_zero(1))
        return is_zero(2) ? 2 : 1;
    return 0;
}

/** Ends the call with the exception that a callback left pending. */
void throw_if_pending()
{
    if (JNIEnv *adsl_env = c_ffmpeg::get_thread_env(); adsl_env != nullptr && adsl_env->ExceptionCheck())
        throw kiv::jni::c_jniexception("java callback threw");
}

} // namespace

c_videocodec::c_videocodec(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_vformat> dsp_vformat)
    : c_codec(adsp_ffmpeg, "native videocodec"),
      dsc_vformat(std::move(dsp_vformat)),
      dsc_codec(dsc_vformat->codec_id(), true),
      dsc_codec_ctx(dsc_codec)
{
    TRACE_FUNCTION("c_videocodec", 3);
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
    TRACE_FUNCTION("~c_videocodec", 3);
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
    TRACE_FUNCTION("append_dst_format", 3);
    if (dsp_model == nullptr)
        throw_ffmpeg_exception(1294, "null pointer: c_colormodel");
    dsc_dst_formats.push_back(std::move(dsp_model));
}

bool c_videocodec::find_dst_format_for_pixfmt(AVPixelFormat dsp_format)
{
    TRACE_FUNCTION("find_dst_format_for_pixfmt", 3);
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
    TRACE_FUNCTION("get_current_dst_format", 3);
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
    TRACE_FUNCTION("open", 3);
    if (is_open())
        return true;
    const int inl_err = g_avcodec.avcodec_open2(dsc_codec_ctx.context(), dsc_codec.codec(), nullptr);
    if (inl_err < 0) {
        TRACE_LINE(im_level_error, "%s#%s(): avcodec_open2: inl_err=%08X codec_id=%s",
                   static_cast<unsigned int>(inl_err), dsc_codec.display_name());
        return false;
    }
    set_open(true);
    return true;
}

bool c_videocodec::close()
{
    TRACE_FUNCTION("close", 3);
    if (is_open()) {
        set_open(false);
        utc_begun_start_code.clear();
        g_avcodec.avcodec_close(dsc_codec_ctx.context());
    }
    return true;
}

bool c_videocodec::reset()
{
    TRACE_FUNCTION("reset", 3);
    dsc_decoded_pictures.clear();
    utc_begun_start_code.clear();
    if (is_open())
        g_avcodec.avcodec_flush_buffers(dsc_codec_ctx.context());
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

void c_videocodec::set_whole_packets(bool bp_whole)
{
    TRACE_FUNCTION("set_whole_packets", 3);
    if (is_open())
        throw_ffmpeg_exception(1341, "options are set before the codec is opened");
    if (bp_whole)
        dsc_codec_ctx->flags &= ~CODEC_FLAG_TRUNCATED;
    else if ((dsc_codec.codec()->capabilities & CODEC_CAP_TRUNCATED) != 0)
        dsc_codec_ctx->flags |= CODEC_FLAG_TRUNCATED;
}

jintArray c_videocodec::export_dst_format(JNIEnv *adsp_env)
{
    TRACE_FUNCTION("export_dst_format", 3);
    if (unknown_dst_format())
        return nullptr;
    return get_current_dst_format().export_to_java_array(adsp_env, dsc_vformat->width(), dsc_vformat->height(),
                                                         aimc_linesizes, imc_scanheight);
}

int32_t c_videocodec::process(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, int64_t ilp_timestamp,
                              dsd_out_params &dsp_out)
{
    TRACE_FUNCTION("process", 3);
    if (imp_lendata < 0)
        throw std::invalid_argument("imp_lendata");
    TRACE_LINE(im_level_debug, "%s#%s(): imp_lendata=%d ilp_timestamp=%lld", imp_lendata,
               static_cast<long long>(ilp_timestamp));
    if (autp_data != nullptr && imp_lendata > 0 && !decode_packet(autp_data, imp_lendata, imp_flags, ilp_timestamp))
        return ie_decoding_error;
    return hand_out(imp_flags, dsp_out);
}

bool c_videocodec::decode_packet(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, int64_t ilp_timestamp)
{
    TRACE_FUNCTION("process", 3);
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

    int inl_idle = 0;
    int inl_unpaid = 0;
    while (dsl_packet.size() > 0) {
        throw_if_pending();
        auto dsl_frame = std::make_unique<c_avframe>();
        const int inl_consumed =
            g_avcodec.avcodec_decode_video2(adsl_context, dsl_frame->frame(), &imc_got_picture, dsl_packet.packet());
        throw_if_pending();
        if (inl_consumed < 0)
            return report_error(inl_consumed);
        TRACE_LINE(im_level_debug, "%s#%s(): got_picture=%d", imc_got_picture);
        dsl_packet.inc_read_ptr(inl_consumed);
        inl_idle = inl_consumed > 0 || imc_got_picture != 0 ? 0 : inl_idle + 1;
        inl_unpaid = inl_consumed > 0 ? 0 : inl_unpaid + 1;
        if (inl_idle > in_idle_limit || inl_unpaid > in_unpaid_limit)
            return report_error(inl_consumed);
        if (imc_got_picture != 0)
            list_picture(std::move(dsl_frame), imp_flags, ilp_timestamp);
    }
    return true;
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
    std::ranges::fill(utl_withheld, uint8_t{0}); // padding, now
    return utl_joined.first(utl_joined.size() - utl_withheld.size());
}

void c_videocodec::list_picture(std::unique_ptr<c_avframe> dsp_frame, int32_t imp_flags, int64_t ilp_timestamp)
{
    TRACE_FUNCTION("process", 3);
    const AVPixelFormat dsl_decoded_format = dsp_frame->pixel_format();
    const char *strl_format = pixfmt2string(dsl_decoded_format);
    TRACE_LINE(im_level_debug, "%s#%s(): decoding frame %d successfull pkt_pts=%lld format=%s", imc_frame_count,
               static_cast<long long>((*dsp_frame)->pkt_pts), strl_format == nullptr ? "none" : strl_format);
    ++imc_frame_count;
    const AVPixelFormat dsl_format = get_current_dst_format().pixel_format();
    c_framebuffer_reference dsl_buffer;
    if (dsl_format != dsl_decoded_format) {
        dsp_frame = convert(*dsp_frame, dsl_buffer, dsl_format, dsc_vformat->width(), dsc_vformat->height());
    } else {
        dsl_buffer = ffmpeg_get_framebuffer(*dsp_frame);
        // A decoder that was flushed may go on in a buffer that it returned before. Another picture has that array: this
        // one gets its own.
        if (dsl_buffer->handed_over() || is_listed(dsl_buffer.get()))
            dsp_frame = convert(*dsp_frame, dsl_buffer, dsl_format, (*dsp_frame)->width, (*dsp_frame)->height);
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
    if (get_current_dst_format().fourcc() == im_fourcc_yv12)
        std::swap(aiml_offsets[1], aiml_offsets[2]);
    dsp_buffer.set_plane_offsets(aiml_offsets);
}

bool c_videocodec::is_listed(const ca_ffmpeg_buffer *adsp_buffer) const
{
    return std::ranges::any_of(dsc_decoded_pictures, [adsp_buffer](const dsd_picture &dsp_picture) {
        return dsp_picture.dsc_buffer.get() == adsp_buffer;
    });
}

std::unique_ptr<c_avframe> c_videocodec::convert(c_avframe &dsp_decoded, c_framebuffer_reference &dsp_buffer,
                                                 AVPixelFormat dsp_format, int32_t imp_width, int32_t imp_height)
{
    TRACE_FUNCTION("convert", 3);
    SwsContext *adsl_sws = dsc_sws_ctx.prepare(dsp_decoded->width, dsp_decoded->height, dsp_decoded.pixel_format(),
                                               imp_width, imp_height, dsp_format);
    if (adsl_sws == nullptr)
        return nullptr;
    auto dsl_converted = std::make_unique<c_avframe>();
    (*dsl_converted)->format = dsp_format;
    (*dsl_converted)->width = imp_width;
    (*dsl_converted)->height = imp_height;
    if (!dsc_codec_ctx.get_buffer(*dsl_converted))
        return nullptr;
    AVFrame *adsl_from = dsp_decoded.frame();
    AVFrame *adsl_to = dsl_converted->frame();
    // The slice is as high as the output; the source has no more lines than it has.
    g_swscale.sws_scale(adsl_sws, adsl_from->data, adsl_from->linesize, 0, std::min(imp_height, adsl_from->height),
                        adsl_to->data, adsl_to->linesize);
    dsp_buffer = ffmpeg_get_framebuffer(*dsl_converted);
    dsc_codec_ctx.release_buffer(*dsl_converted); // the frame's own reference; the list's stays
    adsl_to->pkt_pts = adsl_from->pkt_pts;
    return dsl_converted;
}

int32_t c_videocodec::hand_out(int32_t imp_flags, dsd_out_params &dsp_out)
{
    TRACE_FUNCTION("process", 3);
    throw_if_pending();
    dsp_out.imc_flags = imp_flags;
    if (dsc_decoded_pictures.empty())
        return ie_no_picture;
    dsd_picture dsl_picture = std::move(dsc_decoded_pictures.front());
    dsc_decoded_pictures.pop_front();
    dsl_picture.dsc_frame->draw_debug_area();
    ca_ffmpeg_buffer *adsl_buffer = dsl_picture.dsc_buffer.pass_on();
    dsp_out.imc_data_offset = adsl_buffer->data_offset();
    dsp_out.imc_data_size = adsl_buffer->data_size();
    dsp_out.imc_buffer_word = adsl_buffer->reference_word();
    dsp_out.ilc_timestamp = (*dsl_picture.dsc_frame)->pkt_pts;
    dsp_out.adsc_buffer = adsl_buffer;
    if (!dsc_decoded_pictures.empty())
        return ie_picture_and_more;
    return std::exchange(bc_dst_format_changed, false) ? ie_picture_model_changed : ie_picture;
}
