// c_videocodec: packets to pictures.

#include "jni/exceptions.h"
#include "kivjniffmpeg/codecs/video_codec.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "trace/trace.h"

#include <natives/Interlacing.h>
#include <natives/PictureResult.h>

#include <array>
#include <climits>
#include <optional>
#include <stdexcept>
#include <utility>

namespace
{

/** More pictures than any decoder can delay, so that draining always ends. */
constexpr int in_most_held_back = 64;

/** So that the size of a packet, with what is withheld before it and the padding behind it, is an int. */
constexpr size_t ul_largest_packet =
    INT_MAX - FF_INPUT_BUFFER_PADDING_SIZE - c_start_code_guard::ul_longest_start_codes;

c_codec::dsd_picture_info describe(const AVFrame &dsp_frame)
{
    const int32_t iml_fields = dsp_frame.top_field_first != 0 ? natives::Interlacing::TOP_FIELD_FIRST
                                                              : natives::Interlacing::BOTTOM_FIELD_FIRST;
    return {
        .imc_width = dsp_frame.width,
        .imc_height = dsp_frame.height,
        .imc_pixel_format = dsp_frame.format,
        .imc_key_frame = dsp_frame.key_frame,
        .imc_picture_type = dsp_frame.pict_type,
        .imc_interlaced = dsp_frame.interlaced_frame != 0 ? iml_fields : natives::Interlacing::PROGRESSIVE,
        .aimc_linesizes = {dsp_frame.linesize[0], dsp_frame.linesize[1], dsp_frame.linesize[2], dsp_frame.linesize[3]},
        .imc_aspect_numerator = dsp_frame.sample_aspect_ratio.num,
        .imc_aspect_denominator = dsp_frame.sample_aspect_ratio.den,
        .imc_color_range = dsp_frame.color_range,
        .imc_colorspace = dsp_frame.colorspace,
        .imc_color_primaries = dsp_frame.color_primaries,
        .imc_color_transfer = dsp_frame.color_trc};
}

/** Sets the offsets of the shown picture: a cropped picture begins inside its planes. */
void set_plane_offsets_from(const AVFrame &dsp_frame, bool bp_swapped_chroma, ca_ffmpeg_buffer &dsp_buffer)
{
    std::array<int32_t, 4> aiml_offsets{};
    for (size_t ull_plane = 0; ull_plane < aiml_offsets.size(); ++ull_plane) {
        if (const uint8_t *autl_plane = dsp_frame.data[ull_plane]; autl_plane != nullptr)
            aiml_offsets[ull_plane] = static_cast<int32_t>(autl_plane - dsp_buffer.data());
    }
    if (bp_swapped_chroma)
        std::swap(aiml_offsets[1], aiml_offsets[2]);
    dsp_buffer.set_plane_offsets(aiml_offsets);
}

} // namespace

int32_t c_videocodec::process(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, int64_t ilp_timestamp,
                              dsd_out_params &dsp_out)
{
    TRACE_FUNCTION(3);
    if (imp_lendata < 0)
        throw std::invalid_argument("imp_lendata");
    TRACE_LINE(im_level_debug, "%s#%s(): imp_lendata=%d ilp_timestamp=%lld", imp_lendata,
               static_cast<long long>(ilp_timestamp));
    if (autp_data != nullptr && imp_lendata > 0) {
        if (!decode_packet({autp_data, static_cast<size_t>(imp_lendata)}, imp_flags, ilp_timestamp))
            return ie_decoding_error;
    } else if ((imp_flags & im_flag_drain) != 0) {
        drain(imp_flags, ilp_timestamp);
    }
    const int32_t iml_result = deliver_picture(imp_flags, dsp_out);
    dsc_pictures.release_unused_pictures();
    return iml_result;
}

bool c_videocodec::decode_packet(std::span<uint8_t> utp_data, int32_t imp_flags, int64_t ilp_timestamp)
{
    TRACE_SCOPE("process", 3);
    AVCodecContext *adsl_context = dsc_codec_ctx.context();
    const auto report_error = [&](int inp_err) {
        dsc_start_code_guard.clear(); // the rest of the packet is dropped
        TRACE_LINE(im_level_error, "%s#%s(): Error during decoding frame %d, code %d, size: [%dx%d]", imc_frame_count,
                   inp_err, adsl_context->width, adsl_context->height);
        return false;
    };
    if (!is_open())
        return report_error(in_error_not_open); // FFmpeg would read through null pointers
    if (utp_data.size() > ul_largest_packet)
        return report_error(AVERROR(ENOMEM));

    if ((imp_flags & im_flag_discontinuity) != 0 && imc_frame_count >= 1) {
        dsc_start_code_guard.clear();
        g_avcodec.avcodec_flush_buffers(adsl_context);
    }
    const bool bl_cut_anywhere = (adsl_context->flags & CODEC_FLAG_TRUNCATED) != 0;
    const std::span utl_packet = bl_cut_anywhere ? dsc_start_code_guard.guard(utp_data) : utp_data;
    c_avpacket dsl_packet;
    dsl_packet.set_data(utl_packet.data());
    dsl_packet.set_size(static_cast<int>(utl_packet.size()));
    dsl_packet.set_pts(ilp_timestamp);
    if (dsc_stock != nullptr && (imp_flags & im_flag_key) != 0)
        dsl_packet.packet()->flags |= AV_PKT_FLAG_KEY;
    dsl_packet.set_dts(has_threads() ? ilp_timestamp : AV_NOPTS_VALUE); // a frame has that of the packet fed

    c_decoder_progress dsl_progress;
    while (dsl_packet.size() > 0) {
        throw_if_pending();
        auto dsl_frame = dsc_pictures.take_frame();
        dsl_packet.guard_side_data();
        const int inl_consumed =
            g_avcodec.avcodec_decode_video2(adsl_context, dsl_frame->frame(), &imc_got_picture, dsl_packet.packet());
        throw_if_pending();
        // FFmpeg 2.8's decoder of MPEG-4 means to fail, but returns 0.
        const bool bl_bridged = g_avutil.kiv_bridge_description != nullptr;
        const bool bl_damaged =
            inl_consumed == 0 && !bl_bridged && (adsl_context->err_recognition & AV_EF_EXPLODE) != 0;
        if (inl_consumed < 0 || bl_damaged)
            return report_error(inl_consumed);
        TRACE_LINE(im_level_debug, "%s#%s(): got_picture=%d", imc_got_picture);
        // What a decoder leaves of a whole packet is padding, or the rest of damaged data: not another picture. Only the
        // bridge keeps more pictures of a packet: until they are delivered, it has consumed nothing.
        const bool bl_more = inl_consumed == 0 && imc_got_picture != 0 && bl_bridged;
        dsl_packet.inc_read_ptr(bc_whole_packets && !bl_more ? dsl_packet.size() : inl_consumed);
        if (dsl_progress.is_stuck(inl_consumed, imc_got_picture != 0))
            return report_error(inl_consumed);
        if (imc_got_picture != 0)
            queue_picture(std::move(dsl_frame), imp_flags, ilp_timestamp);
        else
            dsc_pictures.put_back(std::move(dsl_frame));
    }
    return true;
}

/** Queues the pictures that the decoder delays until its stream ends. */
void c_videocodec::drain(int32_t imp_flags, int64_t ilp_timestamp)
{
    TRACE_FUNCTION(3);
    dsc_start_code_guard.clear();
    c_avpacket dsl_nothing;
    for (int inl_picture = 0; is_open() && inl_picture < in_most_held_back + imc_threads; ++inl_picture) {
        throw_if_pending();
        auto dsl_frame = dsc_pictures.take_frame();
        const int inl_err = g_avcodec.avcodec_decode_video2(dsc_codec_ctx.context(), dsl_frame->frame(),
                                                            &imc_got_picture, dsl_nothing.packet());
        throw_if_pending();
        if (inl_err < 0 && has_threads())
            continue; // only one of them failed
        if (inl_err < 0 || imc_got_picture == 0)
            return;
        queue_picture(std::move(dsl_frame), imp_flags, ilp_timestamp);
    }
}

void c_videocodec::queue_picture(std::unique_ptr<c_avframe> dsp_frame, int32_t imp_flags, int64_t ilp_timestamp)
{
    TRACE_SCOPE("process", 3);
    const AVPixelFormat iel_decoded_format = dsp_frame->pixel_format();
    const char *strl_format = pixfmt2string(iel_decoded_format);
    TRACE_LINE(im_level_debug, "%s#%s(): decoding frame %d successfull pkt_pts=%lld format=%s", imc_frame_count,
               static_cast<long long>((*dsp_frame)->pkt_pts), strl_format == nullptr ? "none" : strl_format);
    ++imc_frame_count;
    if (dsc_stock != nullptr) {
        dsc_pictures.push({std::move(dsp_frame), {}});
        return;
    }
    const AVPixelFormat iel_format = bc_native_format ? iel_decoded_format : get_current_dst_format().pixel_format();
    dsd_decoded_picture dsl_picture = make_deliverable(std::move(dsp_frame), iel_format);
    throw_if_pending();
    if (dsl_picture.dsc_frame == nullptr) {
        TRACE_LINE(im_level_error, "%s#%s(): %s", "cannot convert picture to desired output format");
        return;
    }
    AVFrame *adsl_frame = dsl_picture.dsc_frame->frame();
    dsl_picture.dsc_buffer->set_data_size(
        g_avcodec.avpicture_get_size(iel_format, adsl_frame->width, adsl_frame->height));
    adsl_frame->flags = imp_flags;
    adsl_frame->pts = ilp_timestamp;
    dsc_pictures.push(std::move(dsl_picture));
}

dsd_decoded_picture c_videocodec::make_deliverable(std::unique_ptr<c_avframe> dsp_frame, AVPixelFormat iep_format)
{
    if (iep_format != dsp_frame->pixel_format())
        return dsc_picture_maker.convert(*dsp_frame, iep_format, dsc_vformat->width(), dsc_vformat->height());
    // A decoder that asks for no memory, such as that of raw video, delivers its own.
    if ((*dsp_frame)->opaque == nullptr)
        return dsc_picture_maker.duplicate(*dsp_frame);
    c_framebuffer_reference dsl_buffer = ffmpeg_get_framebuffer(*dsp_frame);
    // A decoder may return a buffer again, for a picture that repeats another one or after a flush. That memory is the
    // other picture's, so this one gets its own. So does a bottom-up picture.
    if (dsl_buffer->delivered() || dsc_pictures.holds(dsl_buffer.get()) || (*dsp_frame)->linesize[0] < 0)
        return dsc_picture_maker.duplicate(*dsp_frame);
    set_plane_offsets_from(*dsp_frame->frame(), swaps_chroma(), *dsl_buffer.get());
    return {std::move(dsp_frame), std::move(dsl_buffer)};
}

bool c_videocodec::swaps_chroma()
{
    return !bc_native_format && get_current_dst_format().fourcc() == im_fourcc_yv12;
}

int32_t c_videocodec::deliver_picture(int32_t imp_flags, dsd_out_params &dsp_out)
{
    TRACE_SCOPE("process", 3);
    throw_if_pending();
    dsp_out.imc_flags = imp_flags;
    if (dsc_pictures.empty())
        return ie_no_picture;
    dsd_decoded_picture dsl_picture = dsc_pictures.pop();
    dsl_picture.dsc_frame->draw_debug_area();
    const ca_ffmpeg_buffer *adsl_buffer = dsl_picture.dsc_buffer.get();
    dsp_out.imc_data_offset = adsl_buffer->data_offset();
    dsp_out.imc_data_size = adsl_buffer->data_size();
    dsp_out.imc_buffer_word = adsl_buffer->reference_word();
    dsp_out.ilc_timestamp = (*dsl_picture.dsc_frame)->pkt_pts;
    dsp_out.dsc_picture = describe(*dsl_picture.dsc_frame->frame());
    if (takes_direct_buffers())
        dsc_pictures.share(std::move(dsl_picture.dsc_frame));
    else
        dsc_pictures.put_back(std::move(dsl_picture.dsc_frame));
    dsp_out.adsc_buffer = dsl_picture.dsc_buffer.detach(); // last: nothing may fail after it
    if (!dsc_pictures.empty())
        return ie_picture_and_more;
    return std::exchange(bc_dst_format_changed, false) ? ie_picture_model_changed : ie_picture;
}

int32_t c_videocodec::decode(std::span<uint8_t> utp_packet, int32_t imp_flags, int64_t ilp_key, dsd_delivery &dsp_out)
{
    TRACE_SCOPE("process", 3);
    int32_t iml_result = 0;
    if (!utp_packet.empty()) {
        if (!decode_packet(utp_packet, imp_flags, ilp_key))
            iml_result = natives::PictureResult::FAILED;
    } else if ((imp_flags & im_flag_drain) != 0) {
        drain(imp_flags, ilp_key);
    }
    throw_if_pending();
    if (!dsc_pictures.empty())
        iml_result |= deliver_from_stock(dsp_out);
    dsc_pictures.release_unused_pictures();
    return iml_result;
}

void c_videocodec::close_pictures(std::span<const int64_t> ailp_slots)
{
    if (ailp_slots.empty())
        return;
    for (const int64_t ill_slot : ailp_slots)
        dsc_stock->close(static_cast<int32_t>(ill_slot));
    dsc_pictures.release_shared_if([this](const AVFrame &dsp_frame) {
        const c_picture_stock::dsd_block *adsl_block = dsc_stock->find(dsp_frame);
        return adsl_block != nullptr && !adsl_block->bc_delivered;
    });
}

int32_t c_videocodec::deliver_from_stock(dsd_delivery &dsp_out)
{
    TRACE_SCOPE("process", 3);
    const AVFrame &dsl_frame = *dsc_pictures.front().dsc_frame->frame();
    AVFrame dsl_planes = dsl_frame; // what Java gets: the frame's own, or those of a copy
    std::optional<c_picture_stock::dsd_place> dsl_place;
    // A decoder may deliver memory of its own, or a buffer again, for a picture that repeats another one. That memory is
    // the other picture's, so this one gets its own. So does a bottom-up picture.
    c_picture_stock::dsd_block *adsl_own = dsc_stock->find(dsl_frame);
    const bool bl_own = adsl_own != nullptr && adsl_own->imc_slot != c_picture_stock::im_native &&
                        !adsl_own->bc_delivered && dsl_frame.linesize[0] >= 0;
    if (bl_own) {
        dsl_place = dsc_stock->deliver(*adsl_own, dsl_planes);
    } else if (const auto dsl_layout = dsc_stock->layout_of(*dsc_codec_ctx.context(), dsl_frame); dsl_layout) {
        dsl_place = dsc_stock->deliver_copy(dsl_frame, *dsl_layout, dsl_planes);
        if (!dsl_place)
            return natives::PictureResult::MEMORY;
    } else {
        TRACE_LINE(im_level_error, "%s#%s(): %s", "cannot convert picture to desired output format");
    }
    if (dsl_place) {
        dsp_out.imc_slot = dsl_place->imc_slot;
        for (size_t ull_plane = 0; ull_plane < dsp_out.aimc_planes.size(); ++ull_plane)
            dsp_out.aimc_planes[ull_plane] =
                dsl_planes.data[ull_plane] == nullptr
                    ? 0
                    : static_cast<int32_t>(dsl_planes.data[ull_plane] - dsl_place->autc_memory);
        dsp_out.ilc_key = dsl_frame.pkt_pts;
        dsp_out.ilc_fed = dsl_frame.pkt_dts;
        dsp_out.dsc_picture = describe(dsl_planes);
    }
    dsd_decoded_picture dsl_picture = dsc_pictures.pop();
    if (bl_own)
        dsc_pictures.share(std::move(dsl_picture.dsc_frame));
    else
        dsc_pictures.put_back(std::move(dsl_picture.dsc_frame));
    return (dsl_place ? natives::PictureResult::PICTURE : 0) |
           (dsc_pictures.empty() ? 0 : natives::PictureResult::MORE);
}
