#include "bridge/avcodec/decoder.h"

#include "bridge/avcodec/avc_packets.h"
#include "bridge/avcodec/sound_frames.h"
#include "bridge/old/contexts.h"
#include "bridge/old/frames.h"
#include "bridge/old/packets.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <span>
#include <utility>

namespace bridge::avcodec
{

namespace
{

constexpr int in_invalid_data = -1094995529; // AVERROR_INVALIDDATA
constexpr int in_flag_reference = 1;         // AV_GET_BUFFER_FLAG_REF
constexpr int in_intra_only = 1 << 0;        // AV_CODEC_PROP_INTRA_ONLY
constexpr int in_picture_intra = 1;          // AV_PICTURE_TYPE_I
constexpr uint32_t um_sequence_end = 0x000001B7;

bool is_mpeg_audio(AVCodecID iep_codec)
{
    return iep_codec == AV_CODEC_ID_MP3 || iep_codec == AVCodecID{0x15000} || iep_codec == AVCodecID{0x1502B};
}

/** PCM's decoders write every sample. */
bool is_pcm(AVCodecID iep_codec)
{
    return iep_codec >= AV_CODEC_ID_PCM_S16LE && iep_codec < AVCodecID{0x11000};
}

bool is_gsm(AVCodecID iep_codec)
{
    return iep_codec == AV_CODEC_ID_GSM_MS || iep_codec == AVCodecID{0x15012};
}

/** Whether the decoder has frames only of bytes that it did not read yet. */
bool is_simple(AVCodecID iep_codec)
{
    const bool bl_adpcm = iep_codec >= AVCodecID{0x11000} && iep_codec < AVCodecID{0x12000};
    return is_pcm(iep_codec) || bl_adpcm || is_gsm(iep_codec) || iep_codec == AV_CODEC_ID_DVVIDEO;
}

/** MPEG-1 and MPEG-2 video: the code for the end of a sequence, alone in a packet, has the last picture delivered. */
bool is_sequence_end(AVCodecID iep_codec, std::span<const uint8_t> utp_bytes)
{
    return (iep_codec == AVCodecID{1} || iep_codec == AV_CODEC_ID_MPEG2VIDEO) && utp_bytes.size() == 4 &&
           (uint32_t{utp_bytes[0]} << 24 | uint32_t{utp_bytes[1]} << 16 | uint32_t{utp_bytes[2]} << 8 | utp_bytes[3]) ==
               um_sequence_end;
}

} // namespace

real_context make_context(const real::dsd_ffmpeg &dsp_ffmpeg, const real::codec *adsp_codec)
{
    real_context dsl_context(dsp_ffmpeg.avcodec_alloc_context3(adsp_codec), {&dsp_ffmpeg});
    if (dsl_context == nullptr)
        throw std::bad_alloc();
    return dsl_context;
}

real_frame make_frame(const real::dsd_ffmpeg &dsp_ffmpeg)
{
    real_frame dsl_frame(dsp_ffmpeg.av_frame_alloc(), {&dsp_ffmpeg});
    if (dsl_frame == nullptr)
        throw std::bad_alloc();
    return dsl_frame;
}

c_decoder::c_decoder(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecContext &dsp_context, const dsd_codec &dsp_codec)
    : dsc_ffmpeg(dsp_ffmpeg),
      dsc_context(dsp_context),
      dsc_codec(dsp_codec),
      dsc_memory(dsp_ffmpeg, dsp_context),
      dsc_real(make_context(dsp_ffmpeg, dsp_codec.adsc_real)),
      dsc_scratch(make_context(dsp_ffmpeg, dsp_codec.adsc_real)),
      dsc_parser(nullptr, {&dsp_ffmpeg}),
      inc_sample_bits(dsp_ffmpeg.av_get_bits_per_sample(dsp_codec.adsc_real->id)),
      dsc_callers(dsp_ffmpeg.av_buffer_alloc(1), {&dsp_ffmpeg}),
      dsc_copy(nullptr, {&dsp_ffmpeg}),
      dsc_packet(old::make_packet(dsp_ffmpeg)),
      dsc_spare(nullptr, {&dsp_ffmpeg}),
      dsc_last(nullptr, {&dsp_ffmpeg}),
      dsc_waiting(nullptr, {&dsp_ffmpeg}),
      bc_simple(is_simple(dsp_codec.dsc_old.id))
{
    if (dsc_callers == nullptr)
        throw std::bad_alloc();
}

int c_decoder::open()
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->context;
    old::configure_real(dsc_ffmpeg, dsc_context, dsc_real.get(), dsc_codec.dsc_old.type);
    // Some FFmpegs do not mark all of these pictures: 7.1 marks none that its threads decode.
    const real::codec_descriptor *adsl_descriptor = dsc_ffmpeg.avcodec_descriptor_get(dsc_codec.adsc_real->id);
    bc_marks_key_pictures = !is_sound() && adsl_descriptor != nullptr && (adsl_descriptor->props & in_intra_only) != 0;
    dsl_layout.opaque.of(dsc_real.get()) = this;
    std::memcpy(utc_callers_context, &dsc_context, old::ul_context_size);
    auto &dsl_callers = *reinterpret_cast<AVCodecContext *>(utc_callers_context);
    old::context::internal.of(&dsl_callers) = static_cast<ca_state *>(this);
    if (dsc_context.get_buffer != nullptr || dsc_context.get_buffer2 != nullptr ||
        (is_sound() && !is_pcm(dsc_codec.dsc_old.id)))
        dsl_layout.get_buffer2.of(dsc_real.get()) = &c_decoder::get_buffer2;
    choose_options();
    if (const int inl_result = dsc_ffmpeg.avcodec_open2(dsc_real.get(), dsc_codec.adsc_real, nullptr); inl_result < 0)
        return inl_result;
    if ((dsc_context.flags & CODEC_FLAG_TRUNCATED) != 0)
        make_parser();
    old::describe_to_old(dsc_ffmpeg, dsc_real.get(), dsc_context);
    if (dsc_codec.dsc_old.id == AV_CODEC_ID_DTS && dsc_context.sample_fmt == AV_SAMPLE_FMT_NONE)
        dsc_context.sample_fmt = AV_SAMPLE_FMT_FLTP;
    return 0;
}

/** Sets what the newer decoders do in another way than the 56 line's unless they are told. */
void c_decoder::choose_options()
{
    const AVCodecID iel_codec = dsc_codec.dsc_old.id;
    if (iel_codec == AV_CODEC_ID_WMAV1 || iel_codec == AV_CODEC_ID_WMAV2)
        dsc_ffmpeg.adsc_layout->context.flags2.of(dsc_real.get()) |= CODEC_FLAG2_SKIP_MANUAL; // else the start is cut
    // The 56 line's decoders look at the requested channels themselves.
    const uint64_t ull_layout = dsc_context.request_channel_layout;
    const bool bl_mono = ull_layout == AV_CH_LAYOUT_MONO && iel_codec == AV_CODEC_ID_AC3;
    const bool bl_stereo =
        ull_layout == AV_CH_LAYOUT_STEREO && (iel_codec == AV_CODEC_ID_AC3 || iel_codec == AV_CODEC_ID_DTS);
    if (bl_mono || bl_stereo)
        dsc_ffmpeg.av_opt_set(dsc_real.get(), "downmix", bl_mono ? "mono" : "stereo", real::in_search_children);
}

void c_decoder::make_parser()
{
    const int inl_codec = dsc_codec.adsc_real->id;
    dsc_parser.reset(dsc_ffmpeg.av_parser_init(inl_codec));
    if (dsc_parser == nullptr)
        throw std::bad_alloc();
}

int c_decoder::get_buffer2(real::context *adsp_context, real::frame *adsp_frame, int inp_flags) noexcept
{
    auto *adsl_decoder = static_cast<c_decoder *>(kiv_bridge_ffmpeg()->adsc_layout->context.opaque.of(adsp_context));
    try {
        return adsl_decoder->get_memory(adsp_context, adsp_frame, inp_flags);
    } catch (...) {
        return AVERROR(ENOMEM);
    }
}

int c_decoder::get_memory(real::context *adsp_context, real::frame *adsp_frame, int inp_flags)
{
    if (dsc_context.get_buffer2 != nullptr && !is_sound())
        return get_shared_memory(adsp_frame, inp_flags);
    const int inl_result = dsc_context.get_buffer != nullptr
                               ? dsc_memory.get(adsp_context, adsp_frame, (inp_flags & in_flag_reference) != 0)
                               : dsc_ffmpeg.avcodec_default_get_buffer2(adsp_context, adsp_frame, inp_flags);
    if (inl_result >= 0 && is_sound() && !is_pcm(dsc_codec.dsc_old.id))
        silence(adsp_frame);
    return inl_result;
}

/** Asks get_buffer2 of the 56 line, on whatever thread, so nothing here changes the context or the decoder. */
int c_decoder::get_shared_memory(real::frame *adsp_frame, int inp_flags) const
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->frame;
    alignas(AVCodecContext) std::byte utl_context[old::ul_context_size];
    std::memcpy(utl_context, utc_callers_context, old::ul_context_size);
    auto &dsl_context = *reinterpret_cast<AVCodecContext *>(utl_context);
    AVFrame dsl_frame;
    old::set_frame_defaults(dsl_frame);
    dsl_frame.width = dsl_layout.width.of(adsp_frame);
    dsl_frame.height = dsl_layout.height.of(adsp_frame);
    dsl_frame.format = dsc_ffmpeg.dsc_numbers.old_format(dsl_layout.format.of(adsp_frame));
    dsl_context.width = dsl_frame.width;
    dsl_context.height = dsl_frame.height;
    dsl_context.pix_fmt = static_cast<AVPixelFormat>(dsl_frame.format);
    if (const int inl_result = dsc_context.get_buffer2(&dsl_context, &dsl_frame, inp_flags); inl_result < 0)
        return inl_result;
    point_at_picture(dsc_ffmpeg, dsl_frame, adsp_frame);
    std::ranges::copy(dsl_frame.buf, dsl_layout.buf.of(adsp_frame));
    return 0;
}

/** A newer decoder leaves the samples of a damaged frame as they were: nobody shall hear what was in the memory. */
void c_decoder::silence(real::frame *adsp_frame) const noexcept
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->frame;
    const int inl_planes = old::sound_planes(dsc_ffmpeg, static_cast<AVSampleFormat>(dsl_layout.format.of(adsp_frame)),
                                             dsl_layout.ch_layout.of(adsp_frame).nb_channels);
    for (uint8_t *autl_plane : std::span(dsl_layout.extended_data.of(adsp_frame), static_cast<size_t>(inl_planes)))
        std::fill_n(autl_plane, dsl_layout.linesize.of(adsp_frame)[0], uint8_t{0});
}

c_decoder::dsd_result c_decoder::decode(AVFrame &dsp_frame, const AVPacket &dsp_packet)
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->context;
    old::unref_frame(dsc_ffmpeg, dsp_frame);
    if (is_sound() && dsc_context.get_buffer == nullptr)
        recycle(std::move(dsc_last)); // so that the next samples get the same memory, which is in the cache
    // Callers change these between packets.
    dsl_layout.skip_frame.of(dsc_real.get()) = old::context::skip_frame.of(&dsc_context);
    dsl_layout.skip_loop_filter.of(dsc_real.get()) = old::context::skip_loop_filter.of(&dsc_context);
    dsl_layout.skip_idct.of(dsc_real.get()) = old::context::skip_idct.of(&dsc_context);
    const dsd_result dsl_result = dsp_packet.size > 0 ? decode_bytes(dsp_frame, dsp_packet) : drain(dsp_frame);
    old::describe_to_old(dsc_ffmpeg, dsc_real.get(), dsc_context);
    if (dsl_result.bc_frame)
        ++old::context::frame_number.of(&dsc_context);
    return dsl_result;
}

std::span<const uint8_t> c_decoder::extradata() const noexcept
{
    if (dsc_context.extradata == nullptr || dsc_context.extradata_size <= 0)
        return {};
    return {dsc_context.extradata, static_cast<size_t>(dsc_context.extradata_size)};
}

c_decoder::dsd_result c_decoder::decode_bytes(AVFrame &dsp_frame, const AVPacket &dsp_packet)
{
    if (dsp_packet.data == nullptr)
        return {AVERROR(EINVAL)};
    bc_reads_at_once = dsc_codec.dsc_old.id == AV_CODEC_ID_DVVIDEO && dsc_context.thread_count == 1;
    if (inc_late_error != 0)
        return {std::exchange(inc_late_error, 0)};
    if (dsc_waiting != nullptr)
        return deliver_waiting(dsp_frame);
    if (std::exchange(bc_draining, false))
        dsc_ffmpeg.avcodec_flush_buffers(dsc_real.get()); // a drained decoder takes nothing before
    const std::span<const uint8_t> utl_bytes(dsp_packet.data, static_cast<size_t>(dsp_packet.size));
    if (dsc_parser != nullptr && !is_sequence_end(dsc_codec.dsc_old.id, utl_bytes))
        return decode_cut_anywhere(dsp_frame, dsp_packet);
    real::packet &dsl_unit = fresh_packet();
    if (dsp_packet.side_data_elems > 0) {
        old::copy_side_data(dsc_ffmpeg, dsp_packet, dsl_unit);
        dsl_unit.size = dsp_packet.size;
    } else {
        dsl_unit.size = old::split_side_data(dsc_ffmpeg, utl_bytes, dsl_unit);
    }
    if (dsc_codec.dsc_old.id == AV_CODEC_ID_H264)
        dsl_unit.size =
            static_cast<int>(whole_units(extradata(), utl_bytes.first(static_cast<size_t>(dsl_unit.size))).size());
    dsl_unit.data = dsp_packet.data;
    dsl_unit.pts = dsp_packet.pts;
    dsl_unit.dts = dsp_packet.dts;
    dsl_unit.flags = dsp_packet.flags;
    return is_sound() ? decode_sound(dsp_frame, dsp_packet, dsl_unit)
                      : decode_unit(dsp_frame, dsl_unit, dsp_packet.size);
}

/** Collects the bytes of one picture. As in the 56 line it is decoded when the next one begins, and with its times. */
c_decoder::dsd_result c_decoder::decode_cut_anywhere(AVFrame &dsp_frame, const AVPacket &dsp_packet)
{
    uint8_t *autl_unit = nullptr;
    int inl_size = 0;
    const int inl_consumed =
        dsc_ffmpeg.av_parser_parse2(dsc_parser.get(), dsc_scratch.get(), &autl_unit, &inl_size, dsp_packet.data,
                                    dsp_packet.size, dsp_packet.pts, dsp_packet.dts, dsp_packet.pos);
    if (inl_size <= 0)
        return {inl_consumed};
    real::packet &dsl_unit = fresh_packet();
    dsl_unit.data = autl_unit;
    dsl_unit.size = inl_size;
    dsl_unit.pts = dsp_packet.pts;
    dsl_unit.dts = dsp_packet.dts;
    return decode_unit(dsp_frame, dsl_unit, inl_consumed);
}

c_decoder::dsd_result c_decoder::decode_sound(AVFrame &dsp_frame, const AVPacket &dsp_packet, real::packet &dsp_whole)
{
    const AVCodecID iel_codec = dsc_codec.dsc_old.id;
    const dsd_sound_stream dsl_stream{.iec_codec = iel_codec,
                                      .inc_block_align = dsc_context.block_align,
                                      .inc_channels = dsc_context.channels,
                                      .inc_coded_bits = dsc_context.bits_per_coded_sample,
                                      .inc_sample_bits = inc_sample_bits};
    const auto inl_length = first_frame_length(dsl_stream, {dsp_whole.data, static_cast<size_t>(dsp_whole.size)});
    if (!inl_length)
        return {in_invalid_data};
    const bool bl_more = *inl_length < dsp_whole.size;
    const int inl_unit = is_pcm(iel_codec)   ? dsl_stream.inc_sample_bits * dsl_stream.inc_channels / 8
                         : is_gsm(iel_codec) ? dsl_stream.inc_block_align
                                             : 0;
    bc_reads_at_once = inl_unit > 0 && *inl_length % inl_unit == 0;
    dsp_whole.size = *inl_length;
    dsd_result dsl_result = decode_unit(dsp_frame, dsp_whole, bl_more ? *inl_length : dsp_packet.size);
    // A damaged frame of MPEG audio is an error only when it is all of the packet.
    if (bl_more && dsl_result.inc_consumed == in_invalid_data && is_mpeg_audio(iel_codec))
        dsl_result.inc_consumed = *inl_length;
    return dsl_result;
}

/** Decodes what is one frame, or more of them where nobody knows its parts. */
c_decoder::dsd_result c_decoder::decode_unit(AVFrame &dsp_frame, real::packet &dsp_unit, int inp_consumed)
{
    // FFmpeg copies bytes that lie in no buffer into new memory, which costs more than to decode some sound.
    dsp_unit.buf = bc_reads_at_once ? dsc_callers.get() : copy_bytes(dsp_unit);
    int inl_result = dsc_ffmpeg.avcodec_send_packet(dsc_real.get(), &dsp_unit);
    int inl_earlier_error = 0;
    // After the error of an earlier packet, threads may not have taken the last one yet.
    while (inl_result == AVERROR(EAGAIN) && inl_earlier_error == 0) {
        inl_earlier_error = receive(dsc_waiting);
        if (inl_earlier_error >= 0) {
            dsp_unit.buf = nullptr;
            inc_owed = 0; // this packet comes again
            return deliver_waiting(dsp_frame);
        }
        inl_result = dsc_ffmpeg.avcodec_send_packet(dsc_real.get(), &dsp_unit);
    }
    dsp_unit.buf = nullptr;
    if (inl_result >= 0 && inl_earlier_error < 0 && inl_earlier_error != AVERROR(EAGAIN))
        inl_result = inl_earlier_error;
    const dsd_result dsl_result = inl_result < 0 ? dsd_result{inl_result} : decode_sent(dsp_frame, inp_consumed);
    if (is_in_use(dsc_callers.get()))
        dsc_ffmpeg.avcodec_flush_buffers(dsc_real.get()); // the caller's bytes are not there for the next call
    return dsl_result;
}

/** Copies the packet's bytes into a buffer, with the padding that decoders need. @return the buffer */
AVBufferRef *c_decoder::copy_bytes(real::packet &dsp_unit)
{
    constexpr size_t ul_padding = 64; // AV_INPUT_BUFFER_PADDING_SIZE
    const auto ull_size = static_cast<size_t>(dsp_unit.size);
    if (dsc_copy == nullptr || is_in_use(dsc_copy.get()) || ulc_copy_size < ull_size) {
        ulc_copy_size = ull_size + ull_size / 2;
        dsc_copy.reset(dsc_ffmpeg.av_buffer_alloc(ulc_copy_size + ul_padding));
        if (dsc_copy == nullptr)
            throw std::bad_alloc();
    }
    uint8_t *autl_copy = real::fields_of(dsc_copy.get()).data;
    std::fill_n(std::copy_n(dsp_unit.data, ull_size, autl_copy), ul_padding, uint8_t{0});
    dsp_unit.data = autl_copy;
    return dsc_copy.get();
}

bool c_decoder::is_in_use(const AVBufferRef *adsp_buffer) const noexcept
{
    return adsp_buffer != nullptr && dsc_ffmpeg.av_buffer_get_ref_count(adsp_buffer) > 1;
}

/** Receives what the sent packet gives. */
c_decoder::dsd_result c_decoder::decode_sent(AVFrame &dsp_frame, int inp_consumed)
{
    inc_owed = inp_consumed;
    if (const int inl_result = receive(dsc_waiting); inl_result < 0)
        return {inl_result == AVERROR(EAGAIN) || inl_result == AVERROR_EOF ? inp_consumed : inl_result};
    return deliver_waiting(dsp_frame);
}

/** Delivers the waiting frame, and looks whether another one follows: until then nothing counts as consumed. */
c_decoder::dsd_result c_decoder::deliver_waiting(AVFrame &dsp_frame)
{
    deliver(std::move(dsc_waiting), dsp_frame);
    if (bc_simple && !is_in_use(dsc_callers.get()) && !is_in_use(dsc_copy.get()))
        return {inc_owed, true};
    const int inl_result = receive(dsc_waiting);
    if (inl_result < 0 && inl_result != AVERROR(EAGAIN) && inl_result != AVERROR_EOF)
        inc_late_error = inl_result;
    return {dsc_waiting != nullptr || inc_late_error != 0 ? 0 : inc_owed, true};
}

c_decoder::dsd_result c_decoder::drain(AVFrame &dsp_frame)
{
    if (dsc_waiting != nullptr) {
        deliver(std::move(dsc_waiting), dsp_frame);
        return {0, true};
    }
    inc_late_error = 0;
    if ((dsc_codec.dsc_old.capabilities & CODEC_CAP_DELAY) == 0 && dsc_context.thread_count == 1)
        return {};
    if (!std::exchange(bc_draining, true))
        dsc_ffmpeg.avcodec_send_packet(dsc_real.get(), nullptr);
    real_frame dsl_frame(nullptr, {&dsc_ffmpeg});
    const int inl_result = receive(dsl_frame);
    if (inl_result < 0)
        return {inl_result == AVERROR(EAGAIN) || inl_result == AVERROR_EOF ? 0 : inl_result};
    deliver(std::move(dsl_frame), dsp_frame);
    return {0, true};
}

/** The packet, without the side data that it had. Its bytes are never its own. */
real::packet &c_decoder::fresh_packet() const noexcept
{
    if (dsc_packet->side_data_elems > 0)
        dsc_ffmpeg.av_packet_unref(dsc_packet.get());
    return *dsc_packet;
}

/** @return 0, or FFmpeg's error or reason why there is no frame */
int c_decoder::receive(real_frame &dsp_frame)
{
    real_frame dsl_frame = dsc_spare != nullptr ? std::move(dsc_spare) : make_frame(dsc_ffmpeg);
    const int inl_result = dsc_ffmpeg.avcodec_receive_frame(dsc_real.get(), dsl_frame.get());
    if (inl_result >= 0) {
        dsp_frame = std::move(dsl_frame);
    } else {
        dsp_frame.reset();
        dsc_spare = std::move(dsl_frame);
    }
    return inl_result;
}

void c_decoder::recycle(real_frame dsp_frame) noexcept
{
    if (dsp_frame == nullptr)
        return;
    dsc_ffmpeg.av_frame_unref(dsp_frame.get());
    dsc_spare = std::move(dsp_frame);
}

void c_decoder::deliver(real_frame dsp_frame, AVFrame &dsp_to)
{
    const dsd_frame_memory *adsl_memory =
        dsc_context.get_buffer != nullptr ? dsc_memory.find(dsp_frame.get()) : nullptr;
    if (dsc_context.get_buffer != nullptr && adsl_memory == nullptr) {
        move_into_callers_memory(dsp_frame);
        adsl_memory = dsc_memory.find(dsp_frame.get());
    }
    old::copy_description(dsc_ffmpeg, dsp_frame.get(), dsp_to, dsc_codec.dsc_old.type);
    if (bc_marks_key_pictures) {
        dsp_to.key_frame = 1;
        dsp_to.pict_type = in_picture_intra;
    }
    const auto iel_samples = static_cast<AVSampleFormat>(dsp_to.format);
    old::copy_planes(dsc_ffmpeg, dsp_frame.get(), dsp_to,
                     is_sound() ? old::sound_planes(dsc_ffmpeg, iel_samples, dsp_to.channels) : 0);
    if (adsl_memory != nullptr) {
        const AVFrame &dsl_got = adsl_memory->dsc_frame;
        dsp_to.opaque = dsl_got.opaque;
        dsp_to.type = dsl_got.type;
        dsp_to.reference = dsl_got.reference;
        dsp_to.reordered_opaque = dsl_got.reordered_opaque;
        std::ranges::copy(dsl_got.base, dsp_to.base);
        // The palette that no pixel needs, and that only the 56 line has.
        if (dsp_to.data[1] == nullptr)
            dsp_to.data[1] = dsl_got.data[1];
    }
    if (is_sound())
        deliver_skipped_samples(dsp_frame.get(), dsp_to);
    if (dsc_context.refcounted_frames != 0)
        old::move_buffers(dsc_ffmpeg, dsp_frame.get(), dsp_to);
    else
        std::swap(dsc_last, dsp_frame);
    recycle(std::move(dsp_frame));
}

/** The only side data that frames have here. It is valid until the next frame; nobody frees it. */
void c_decoder::deliver_skipped_samples(const real::frame *adsp_from, AVFrame &dsp_to) noexcept
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->frame;
    const std::span adsl_all(dsl_layout.side_data.of(adsp_from),
                             static_cast<size_t>(dsl_layout.nb_side_data.of(adsp_from)));
    const auto is_wanted = [](const real::frame_side_data *adsp_one) {
        return adsp_one->type == AV_FRAME_DATA_SKIP_SAMPLES && adsp_one->size >= in_skip_samples_size;
    };
    const auto adsl_found = std::ranges::find_if(adsl_all, is_wanted);
    if (adsl_found == adsl_all.end())
        return;
    std::copy_n((*adsl_found)->data, utc_skipped.size(), utc_skipped.begin());
    dsc_skipped = {AV_FRAME_DATA_SKIP_SAMPLES, utc_skipped.data(), in_skip_samples_size};
    dsp_to.side_data = &adsc_skipped;
    dsp_to.nb_side_data = 1;
}

/** Some decoders deliver memory of their own. The caller gets a copy in its memory, which it expects to find. */
void c_decoder::move_into_callers_memory(real_frame &dsp_frame)
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->frame;
    real_frame dsl_copy = make_frame(dsc_ffmpeg);
    dsc_ffmpeg.av_frame_copy_props(dsl_copy.get(), dsp_frame.get());
    dsl_layout.width.of(dsl_copy.get()) = dsl_layout.width.of(dsp_frame.get());
    dsl_layout.height.of(dsl_copy.get()) = dsl_layout.height.of(dsp_frame.get());
    dsl_layout.format.of(dsl_copy.get()) = dsl_layout.format.of(dsp_frame.get());
    dsl_layout.nb_samples.of(dsl_copy.get()) = dsl_layout.nb_samples.of(dsp_frame.get());
    dsc_ffmpeg.av_channel_layout_copy(&dsl_layout.ch_layout.of(dsl_copy.get()),
                                      &dsl_layout.ch_layout.of(dsp_frame.get()));
    if (get_memory(dsc_real.get(), dsl_copy.get(), 0) < 0 ||
        dsc_ffmpeg.av_frame_copy(dsl_copy.get(), dsp_frame.get()) < 0)
        throw std::bad_alloc();
    dsp_frame = std::move(dsl_copy);
}

void c_decoder::flush()
{
    dsc_waiting.reset();
    inc_late_error = 0;
    bc_draining = false;
    dsc_ffmpeg.avcodec_flush_buffers(dsc_real.get());
    if (dsc_parser != nullptr)
        make_parser();
    if (dsc_context.refcounted_frames == 0)
        dsc_last.reset();
}

void c_decoder::align_dimensions(AVPixelFormat iep_format, int *ainp_width, int *ainp_height, int *ainp_alignments)
{
    dsc_ffmpeg.adsc_layout->context.pix_fmt.of(dsc_scratch.get()) =
        dsc_ffmpeg.dsc_numbers.dsc_format_map.to_real(iep_format);
    dsc_ffmpeg.avcodec_align_dimensions2(dsc_scratch.get(), ainp_width, ainp_height, ainp_alignments);
}

} // namespace bridge::avcodec
