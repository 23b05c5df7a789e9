// c_audiocodec: packets to PCM.

#include "jni/exceptions.h"
#include "kivjniffmpeg/buffers/native_buffer.h"
#include "kivjniffmpeg/codecs/audio_codec.h"
#include "kivjniffmpeg/codecs/mpeg_audio_header.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/ffmpeg/skipped_samples.h"
#include "trace/trace.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace
{

/** Up to this many bytes wait for more bytes. */
constexpr int in_incomplete = 31;
/** More bytes than this do not wait for the rest of a frame: what looks like its header is none. */
constexpr int in_most_pending = 64 * 1024;

std::span<const uint8_t> bytes_of(const c_avpacket &dsp_packet)
{
    return {dsp_packet.data(), static_cast<size_t>(dsp_packet.size())};
}

/** Empties the frame of a call when the call ends. */
class c_frame_use
{
public:
    explicit c_frame_use(c_avframe &dsp_frame) noexcept : dsc_frame(dsp_frame) {}
    ~c_frame_use() { dsc_frame.reset(); }
    c_frame_use(const c_frame_use &) = delete;
    c_frame_use &operator=(const c_frame_use &) = delete;

private:
    c_avframe &dsc_frame;
};

/** Whether samples of one format are samples of the other. */
bool are_equal(const c_aformat &dsp_one, const c_aformat &dsp_other)
{
    return dsp_one.is_planar() == dsp_other.is_planar() && !c_aformat::needs_resampling(dsp_one, dsp_other);
}

} // namespace

/** The input of one call, and how much of it is consumed. */
struct c_audiocodec::dsd_block
{
    dsd_out_params &dsc_out;
    int32_t imc_lendata;
    uint32_t umc_outlen;
    bool bc_whole;  // nothing is kept for later
    bool bc_pauses; // the call ends when its output fills the caller's room

    /** Counts consumed bytes of this call. Bytes that were pending were counted by the call that brought them. */
    void count_processed(int32_t imp_bytes) const
    {
        dsc_out.imc_processed_len += std::min(imp_bytes, imc_lendata - dsc_out.imc_processed_len);
    }
};

int32_t c_audiocodec::decode(uint8_t *autp_data, int32_t imp_lendata, int32_t imp_flags, uint64_t ulp_timestamp,
                             dsd_out_params &dsp_out, uint32_t ump_outlen)
{
    TRACE_FUNCTION(3);
    auto dsl_packet = std::make_unique<c_avpacket>();
    dsl_packet->set_data(autp_data);
    dsl_packet->set_size(imp_lendata);
    dsl_packet->set_pts(static_cast<int64_t>(ulp_timestamp));
    if (is_mpeg_audio())
        trace_mpeg_audio_headers(bytes_of(*dsl_packet));
    const bool bl_whole = (imp_flags & im_flag_whole_packet) != 0;
    const bool bl_pending = dsc_pending_packet != nullptr;
    if (bl_pending) {
        if (is_mpeg_audio())
            trace_mpeg_audio_headers(bytes_of(*dsc_pending_packet));
        dsc_pending_packet->merge(*dsl_packet);
        dsp_out.imc_processed_len = imp_lendata;
        dsl_packet = std::move(dsc_pending_packet);
        if (is_mpeg_audio())
            trace_mpeg_audio_headers(bytes_of(*dsl_packet));
    }
    // Bytes that were pending count as consumed already, so the caller could not bring them again.
    return decode_frames(std::move(dsl_packet), {dsp_out, imp_lendata, ump_outlen, bl_whole, bl_whole && !bl_pending});
}

bool c_audiocodec::is_room_filled(const dsd_block &dsp_block) const noexcept
{
    return dsp_block.bc_pauses && !dsc_output_queue.empty() && dsc_output_queue.bytes() >= dsp_block.umc_outlen;
}

int32_t c_audiocodec::decode_frames(std::unique_ptr<c_avpacket> dsp_packet, const dsd_block &dsp_block)
{
    TRACE_SCOPE("decode", 3);
    inc_idle_drains = 0;
    while (dsp_packet->size() > 0 && !is_room_filled(dsp_block)) {
        TRACE_LINE(im_level_debug, "%s#%s(): bytes_in_queue=%u outlen=%u packet->size=%d",
                   static_cast<uint32_t>(dsc_output_queue.bytes()), dsp_block.umc_outlen, dsp_packet->size());
        if (dsp_packet->size() <= in_incomplete && !dsp_block.bc_whole) {
            keep_pending(*dsp_packet);
            return ie_audio_done;
        }
        const int inl_consumed = call_decoder(*dsp_packet, dsp_block, dsc_progress);
        if (inl_consumed >= 0)
            continue;
        TRACE_LINE(im_level_error, "%s#%s(): Error while decoding audio frame. error=%d", inl_consumed);
        dsc_progress = c_decoder_progress(in_most_frames);
        if (!is_mpeg_audio())
            return ie_audio_decoding_error;
        if (!find_next_header(*dsp_packet, dsp_block))
            return ie_audio_done;
    }
    return ie_audio_done;
}

/** Decodes one frame. @return the bytes consumed, or the decoder's error */
int c_audiocodec::call_decoder(c_avpacket &dsp_packet, const dsd_block &dsp_block, c_decoder_progress &dsp_progress)
{
    TRACE_SCOPE("decode", 3);
    throw_if_pending();
    if (!is_open())
        return in_error_not_open;
    // The decoder gets no timestamp: the output has that of its block.
    dsp_packet.initialise();
    dsp_packet.guard_side_data();
    const c_frame_use dsl_use(dsc_frame);
    int inl_got_frame = 0;
    const int inl_consumed = g_avcodec.avcodec_decode_audio4(dsc_codec_ctx.context(), dsc_frame.frame(), &inl_got_frame,
                                                             dsp_packet.packet());
    if (inl_consumed < 0)
        return inl_consumed;
    TRACE_LINE(im_level_debug, "%s#%s(): decoding successful. processed=%d", inl_consumed);
    dsp_block.count_processed(inl_consumed);
    dsp_packet.inc_read_ptr(inl_consumed);
    if (inl_got_frame == 0) {
        TRACE_LINE(im_level_debug, "%s#%s(): %s", "got no audio frame");
    } else {
        TRACE_LINE(im_level_debug, "%s#%s(): %s", "decoding audio frame successful");
        TRACE_LINE(im_level_debug, "%s#%s(): result: nb_samples=%d format=%d channel_layout=%d ref=%d",
                   dsc_frame->nb_samples, dsc_frame->format, static_cast<int>(dsc_frame->channel_layout),
                   dsc_frame->reference);
        queue_samples(dsc_frame);
    }
    return dsp_progress.is_stuck(inl_consumed, inl_got_frame != 0) ? in_error_not_open : inl_consumed;
}

/**
 * After an error in MPEG audio: skips to where the next frame may begin.
 *
 * @return false when a frame may begin right here, and the bytes are kept until more come
 */
bool c_audiocodec::find_next_header(c_avpacket &dsp_packet, const dsd_block &dsp_block)
{
    TRACE_SCOPE("decode", 3);
    if (!dsp_block.bc_whole && (dsp_packet.size() < 1 || (starts_with_mpeg_audio_header(bytes_of(dsp_packet)) &&
                                                          dsp_packet.size() <= in_most_pending))) {
        keep_pending(dsp_packet);
        return false;
    }
    TRACE_LINE(im_level_debug, "%s#%s(): searching for missing header rest_size=%d", dsp_packet.size());
    do {
        dsp_block.count_processed(1);
        dsp_packet.inc_read_ptr(1);
    } while (dsp_packet.size() > 0 && !starts_with_mpeg_audio_header(bytes_of(dsp_packet)));
    return true;
}

/** Copies the bytes, because the block is the caller's. */
void c_audiocodec::keep_pending(const c_avpacket &dsp_packet)
{
    TRACE_SCOPE("decode", 3);
    TRACE_LINE(im_level_debug, "%s#%s(): incomplete frame rest_size=%d", dsp_packet.size());
    auto dsl_pending = std::make_unique<c_avpacket>();
    dsl_pending->merge(dsp_packet);
    dsc_pending_packet = std::move(dsl_pending);
}

int32_t c_audiocodec::drain(dsd_out_params &dsp_out, int32_t imp_flags, uint32_t ump_outlen)
{
    TRACE_FUNCTION(3);
    const dsd_block dsl_block{dsp_out, 0, ump_outlen, true, (imp_flags & im_flag_whole_packet) != 0};
    int32_t iml_result = ie_audio_done;
    if (dsc_pending_packet != nullptr)
        iml_result = decode_frames(std::move(dsc_pending_packet), {dsp_out, 0, ump_outlen, true, false});
    // Some decoders answer the first empty packet with nothing, and only the next ones with what they hold back. The
    // second answer of that kind is the end: behind it they would decode padding.
    constexpr int inl_idle_limit = 2;
    c_avpacket dsl_nothing;
    const bool bl_delay = is_open() && (dsc_codec.codec()->capabilities & CODEC_CAP_DELAY) != 0;
    while (bl_delay && inc_idle_drains < inl_idle_limit && !is_room_filled(dsl_block)) {
        const size_t ull_before = dsc_output_queue.size();
        if (call_decoder(dsl_nothing, dsl_block, dsc_progress) < 0)
            inc_idle_drains = inl_idle_limit;
        else if (dsc_output_queue.size() == ull_before)
            ++inc_idle_drains;
    }
    if (!bl_delay || inc_idle_drains >= inl_idle_limit)
        end_resampling();
    return iml_result;
}

/** The format of the frame's samples, which is mostly that of the frame before. */
const c_aformat &c_audiocodec::format_of(const AVFrame &dsp_frame)
{
    int32_t iml_rate = dsp_frame.sample_rate;
    if (dsc_src_format->format_tag() == im_tag_gsm610)
        iml_rate = dsc_src_format->sample_rate();
    // This decoder gives the first frame of another rate the rate before it.
    if (bc_continuous && is_mpeg_audio())
        iml_rate = dsc_codec_ctx->sample_rate;
    const std::array aiml_now{dsp_frame.format, dsp_frame.channels, dsp_frame.sample_rate, iml_rate};
    if (dsc_decoded == nullptr || aimc_decoded != aiml_now) {
        dsc_decoded = c_aformat::of_samples(static_cast<AVSampleFormat>(dsp_frame.format), dsp_frame.channels,
                                            dsp_frame.sample_rate);
        dsc_decoded->set_sample_rate(iml_rate);
        aimc_decoded = aiml_now;
    }
    return *dsc_decoded;
}

void c_audiocodec::queue_samples(c_avframe &dsp_frame)
{
    TRACE_SCOPE("decode", 3);
    if (const auto dsl_skipped =
            skipped_samples::find(dsp_frame->side_data, dsp_frame->nb_side_data, AV_FRAME_DATA_SKIP_SAMPLES);
        dsl_skipped)
        ilc_skipped += dsl_skipped->ilc_start;
    const c_aformat &dsl_format = format_of(*dsp_frame.frame());
    c_framebuffer_reference dsl_buffer = ffmpeg_get_framebuffer(dsp_frame);
    const int64_t ill_bytes =
        int64_t{dsp_frame->nb_samples} * dsl_format.channels() * (dsl_format.bits_per_sample() / 8);
    dsl_buffer->set_data_size(static_cast<int32_t>(std::clamp<int64_t>(ill_bytes, 0, dsl_buffer->capacity())));
    TRACE_LINE(im_level_debug, "%s#%s(): bufsize=%d channels=%d nb_samples=%d bits_per_sample=%d data_size=%d",
               dsl_buffer->capacity(), dsl_format.channels(), dsp_frame->nb_samples, dsl_format.bits_per_sample(),
               dsl_buffer->data_size());
    if (!is_resampled_from(dsl_format))
        end_resampling();
    // The caller needs interleaved channels; needs_resampling does not compare that.
    const bool bl_planes = dsl_format.is_planar() && dsl_format.channels() > 1;
    const bool bl_elsewhere = dsp_frame->data[0] != dsl_buffer->data();
    if (c_aformat::needs_resampling(dsl_format, *dsc_dst_format) || bl_planes || bl_elsewhere) {
        convert(dsp_frame, dsl_format);
        return;
    }
    TRACE_LINE(im_level_debug, "%s#%s(): %s", "no conversion needed");
    dsc_output_queue.pushback(std::move(dsl_buffer));
}

void c_audiocodec::convert(c_avframe &dsp_frame, const c_aformat &dsp_format)
{
    TRACE_SCOPE("decode", 3);
    TRACE_LINE(im_level_debug, "%s#%s(): need conversion from format a: %s", dsp_format.to_string().c_str());
    TRACE_LINE(im_level_debug, "%s#%s(): to format b: %s", dsc_dst_format->to_string().c_str());
    const int32_t iml_samples = dsp_frame->nb_samples;
    c_framebuffer_reference dsl_buffer;
    if (!bc_continuous)
        dsl_buffer = make_pcm_buffer(iml_samples);
    set_up_resampler(dsp_format);
    c_swr_ctx &dsl_swr = dsc_resamplers.front().dsc_swr;
    if (bc_continuous)
        dsl_buffer = make_pcm_buffer(dsl_swr.most_out(iml_samples));
    dsl_swr.convert(dsp_frame, *dsl_buffer.get());
    dsc_output_queue.pushback(std::move(dsl_buffer));
}

/** Memory for samples of each channel in the format of the output. */
c_framebuffer_reference c_audiocodec::make_pcm_buffer(int64_t ilp_samples)
{
    TRACE_SCOPE("decode", 3);
    const c_aformat &dsl_dst = *dsc_dst_format;
    const int64_t ill_size = int64_t{dsl_dst.bits_per_sample() / 8} * dsl_dst.channels() * ilp_samples;
    if (ill_size < 0 || ill_size > INT_MAX)
        throw_ffmpeg_exception(1735, "a frame of ", ilp_samples, " samples is too large to convert");
    const auto iml_converted_size = static_cast<int32_t>(ill_size);
    TRACE_LINE(im_level_debug, "%s#%s(): iml_converted_size=%d", iml_converted_size);
    return c_native_buffer::make(iml_converted_size, 16, &spare_memory());
}

/** Whether the resampler is set up for such input. */
bool c_audiocodec::is_resampled_from(const c_aformat &dsp_format) const
{
    return bc_resampling && are_equal(*dsc_resamplers.front().dsc_from, dsp_format);
}

// While the rate stays the same the resampler keeps no state between frames.
void c_audiocodec::set_up_resampler(const c_aformat &dsp_format)
{
    TRACE_SCOPE("decode", 3);
    if (is_resampled_from(dsp_format) && (bc_continuous || dsp_format.sample_rate() == dsc_dst_format->sample_rate()))
        return;
    bc_resampling = false;
    const auto dsl_known = std::ranges::find_if(dsc_resamplers, [&dsp_format](const dsd_resampler &dsp_one) {
        return are_equal(*dsp_one.dsc_from, dsp_format);
    });
    if (dsl_known != dsc_resamplers.end()) {
        dsc_resamplers.splice(dsc_resamplers.begin(), dsc_resamplers, dsl_known);
    } else {
        std::list<dsd_resampler> dsl_new(1);
        dsl_new.front().dsc_from =
            c_aformat::of_samples(dsp_format.sample_format(), dsp_format.channels(), dsp_format.sample_rate());
        dsc_resamplers.splice(dsc_resamplers.begin(), dsl_new);
        if (dsc_resamplers.size() > ul_most_resamplers)
            dsc_resamplers.pop_back();
    }
    c_swr_ctx &dsl_swr = dsc_resamplers.front().dsc_swr;
    dsl_swr.set_src_format(dsp_format);
    dsl_swr.set_dst_format(*dsc_dst_format);
    dsl_swr.init();
    bc_resampling = true;
}

/** Queues what the resampler holds back of a rate that ends here. */
void c_audiocodec::end_resampling()
{
    TRACE_SCOPE("decode", 3);
    if (!bc_continuous || !bc_resampling ||
        dsc_resamplers.front().dsc_from->sample_rate() == dsc_dst_format->sample_rate())
        return;
    bc_resampling = false;
    c_swr_ctx &dsl_swr = dsc_resamplers.front().dsc_swr;
    c_framebuffer_reference dsl_buffer = make_pcm_buffer(dsl_swr.most_out(0));
    dsl_swr.flush(*dsl_buffer.get());
    dsc_output_queue.pushback(std::move(dsl_buffer));
}
