#include "bridge/old/contexts.h"

#include <cstring>
#include <new>

namespace bridge::old
{

namespace
{

constexpr int in_real_padding = 64; // AV_INPUT_BUFFER_PADDING_SIZE

/** A copy with zeroed padding. @return null when there is nothing to copy */
uint8_t *copy_of(const real::dsd_ffmpeg &dsp_ffmpeg, const uint8_t *autp_bytes, int inp_size)
{
    if (autp_bytes == nullptr || inp_size <= 0)
        return nullptr;
    auto *autl_copy = static_cast<uint8_t *>(dsp_ffmpeg.av_mallocz(static_cast<size_t>(inp_size) + in_real_padding));
    if (autl_copy == nullptr)
        throw std::bad_alloc();
    std::memcpy(autl_copy, autp_bytes, static_cast<size_t>(inp_size));
    return autl_copy;
}

} // namespace

AVCodecContext *allocate_context(const real::dsd_ffmpeg &dsp_ffmpeg)
{
    void *avl_memory = dsp_ffmpeg.av_mallocz(ul_context_size);
    if (avl_memory == nullptr)
        throw std::bad_alloc();
    return static_cast<AVCodecContext *>(avl_memory);
}

void describe_to_old(const real::dsd_ffmpeg &dsp_ffmpeg, const real::context *adsp_from,
                     AVCodecContext &dsp_to) noexcept
{
    const auto &dsl_from = dsp_ffmpeg.adsc_layout->context;
    // The newer FFmpeg has 64 bits for it.
    const int64_t ill_bit_rate = dsl_from.bit_rate.of(adsp_from);
    dsp_to.bit_rate = ill_bit_rate > INT32_MAX ? INT32_MAX : static_cast<int>(ill_bit_rate);
    dsp_to.delay = dsl_from.delay.of(adsp_from);
    dsp_to.sample_rate = dsl_from.sample_rate.of(adsp_from);
    // Some newer decoders know it after the first frame only, and the 56 line's from the start.
    if (const int inl_format = dsl_from.sample_fmt.of(adsp_from); inl_format != AV_SAMPLE_FMT_NONE)
        dsp_to.sample_fmt = static_cast<AVSampleFormat>(inl_format);
    const real::channel_layout &dsl_channels = dsl_from.ch_layout.of(adsp_from);
    dsp_to.channels = dsl_channels.nb_channels;
    dsp_to.channel_layout = dsl_channels.order == real::in_order_native ? dsl_channels.mask : 0;
    dsp_to.frame_size = dsl_from.frame_size.of(adsp_from);
    dsp_to.block_align = dsl_from.block_align.of(adsp_from);
    dsp_to.bits_per_coded_sample = dsl_from.bits_per_coded_sample.of(adsp_from);
    dsp_to.bits_per_raw_sample = dsl_from.bits_per_raw_sample.of(adsp_from);
    dsp_to.profile = dsl_from.profile.of(adsp_from);
    dsp_to.level = dsl_from.level.of(adsp_from);
    context::initial_padding.of(&dsp_to) = dsl_from.initial_padding.of(adsp_from);
    if (dsp_to.codec_type == AVMEDIA_TYPE_AUDIO)
        return; // packets of sound are small: this is noticed
    dsp_to.width = dsl_from.width.of(adsp_from);
    dsp_to.height = dsl_from.height.of(adsp_from);
    dsp_to.coded_width = dsl_from.coded_width.of(adsp_from);
    dsp_to.coded_height = dsl_from.coded_height.of(adsp_from);
    dsp_to.pix_fmt = dsp_ffmpeg.dsc_numbers.old_format(dsl_from.pix_fmt.of(adsp_from));
    dsp_to.sample_aspect_ratio = dsl_from.sample_aspect_ratio.of(adsp_from);
    context::has_b_frames.of(&dsp_to) = dsl_from.has_b_frames.of(adsp_from);
    context::refs.of(&dsp_to) = dsl_from.refs.of(adsp_from);
    dsp_to.color_primaries = dsl_from.color_primaries.of(adsp_from);
    dsp_to.color_trc = dsl_from.color_trc.of(adsp_from);
    dsp_to.colorspace = dsl_from.colorspace.of(adsp_from);
    dsp_to.color_range = dsl_from.color_range.of(adsp_from);
    dsp_to.chroma_sample_location = dsl_from.chroma_sample_location.of(adsp_from);
    dsp_to.field_order = dsl_from.field_order.of(adsp_from);
    context::framerate.of(&dsp_to) = dsl_from.framerate.of(adsp_from);
}

void copy_defaults(const real::dsd_ffmpeg &dsp_ffmpeg, const real::context *adsp_from, AVCodecContext &dsp_to) noexcept
{
    const auto &dsl_from = dsp_ffmpeg.adsc_layout->context;
    dsp_to.sample_fmt = AV_SAMPLE_FMT_NONE;
    describe_to_old(dsp_ffmpeg, adsp_from, dsp_to);
    dsp_to.flags = dsl_from.flags.of(adsp_from) & in_common_flags;
    dsp_to.flags2 = dsl_from.flags2.of(adsp_from) & in_common_flags2;
    dsp_to.time_base = dsl_from.time_base.of(adsp_from);
    dsp_to.request_sample_fmt = static_cast<AVSampleFormat>(dsl_from.request_sample_fmt.of(adsp_from));
    dsp_to.strict_std_compliance = dsl_from.strict_std_compliance.of(adsp_from);
    dsp_to.thread_count = dsl_from.thread_count.of(adsp_from);
    dsp_to.reordered_opaque = AV_NOPTS_VALUE;
    context::thread_type.of(&dsp_to) = dsl_from.thread_type.of(adsp_from);
    context::workaround_bugs.of(&dsp_to) = dsl_from.workaround_bugs.of(adsp_from);
    context::error_concealment.of(&dsp_to) = dsl_from.error_concealment.of(adsp_from);
    context::err_recognition.of(&dsp_to) = dsl_from.err_recognition.of(adsp_from);
    context::idct_algo.of(&dsp_to) = dsl_from.idct_algo.of(adsp_from);
    context::skip_loop_filter.of(&dsp_to) = dsl_from.skip_loop_filter.of(adsp_from);
    context::skip_idct.of(&dsp_to) = dsl_from.skip_idct.of(adsp_from);
    context::skip_frame.of(&dsp_to) = dsl_from.skip_frame.of(adsp_from);
}

void configure_real(const real::dsd_ffmpeg &dsp_ffmpeg, const AVCodecContext &dsp_from, real::context *adsp_to,
                    AVMediaType iep_type)
{
    const auto &dsl_to = dsp_ffmpeg.adsc_layout->context;
    dsl_to.codec_tag.of(adsp_to) = dsp_from.codec_tag;
    dsl_to.bit_rate.of(adsp_to) = dsp_from.bit_rate;
    dsl_to.flags.of(adsp_to) = dsp_from.flags & in_common_flags;
    dsl_to.flags2.of(adsp_to) = dsp_from.flags2 & in_common_flags2;
    dsl_to.time_base.of(adsp_to) = dsp_from.time_base;
    dsl_to.width.of(adsp_to) = dsp_from.width;
    dsl_to.height.of(adsp_to) = dsp_from.height;
    dsl_to.coded_width.of(adsp_to) = dsp_from.coded_width;
    dsl_to.coded_height.of(adsp_to) = dsp_from.coded_height;
    dsl_to.pix_fmt.of(adsp_to) = dsp_ffmpeg.dsc_numbers.dsc_format_map.to_real(dsp_from.pix_fmt);
    dsl_to.sample_aspect_ratio.of(adsp_to) = dsp_from.sample_aspect_ratio;
    dsl_to.sample_rate.of(adsp_to) = dsp_from.sample_rate;
    dsl_to.sample_fmt.of(adsp_to) = dsp_from.sample_fmt;
    dsl_to.frame_size.of(adsp_to) = dsp_from.frame_size;
    dsl_to.block_align.of(adsp_to) = dsp_from.block_align;
    dsl_to.request_sample_fmt.of(adsp_to) = dsp_from.request_sample_fmt;
    dsl_to.strict_std_compliance.of(adsp_to) = dsp_from.strict_std_compliance;
    dsl_to.bits_per_coded_sample.of(adsp_to) = dsp_from.bits_per_coded_sample;
    dsl_to.bits_per_raw_sample.of(adsp_to) = dsp_from.bits_per_raw_sample;
    dsl_to.profile.of(adsp_to) = dsp_from.profile;
    dsl_to.thread_count.of(adsp_to) = dsp_from.thread_count;
    // Some libraries start threads of their own unless no kind of threads is allowed.
    dsl_to.thread_type.of(adsp_to) = dsp_from.thread_count == 1 ? 0 : context::thread_type.of(&dsp_from);
    dsl_to.level.of(adsp_to) = dsp_from.level;
    dsl_to.workaround_bugs.of(adsp_to) = context::workaround_bugs.of(&dsp_from);
    dsl_to.error_concealment.of(adsp_to) = context::error_concealment.of(&dsp_from);
    dsl_to.err_recognition.of(adsp_to) = context::err_recognition.of(&dsp_from);
    dsl_to.idct_algo.of(adsp_to) = context::idct_algo.of(&dsp_from);
    dsl_to.skip_loop_filter.of(adsp_to) = context::skip_loop_filter.of(&dsp_from);
    dsl_to.skip_idct.of(adsp_to) = context::skip_idct.of(&dsp_from);
    dsl_to.skip_frame.of(adsp_to) = context::skip_frame.of(&dsp_from);
    dsl_to.color_primaries.of(adsp_to) = dsp_from.color_primaries;
    dsl_to.color_trc.of(adsp_to) = dsp_from.color_trc;
    dsl_to.colorspace.of(adsp_to) = dsp_from.colorspace;
    dsl_to.color_range.of(adsp_to) = dsp_from.color_range;
    dsl_to.chroma_sample_location.of(adsp_to) = dsp_from.chroma_sample_location;
    dsl_to.field_order.of(adsp_to) = dsp_from.field_order;
    dsl_to.pkt_timebase.of(adsp_to) = context::pkt_timebase.of(&dsp_from);
    if (iep_type == AVMEDIA_TYPE_AUDIO) {
        real::channel_layout &dsl_channels = dsl_to.ch_layout.of(adsp_to);
        dsp_ffmpeg.av_channel_layout_uninit(&dsl_channels);
        if (dsp_from.channel_layout == 0 ||
            dsp_ffmpeg.av_channel_layout_from_mask(&dsl_channels, dsp_from.channel_layout) < 0)
            dsl_channels = {real::in_order_unspecified, dsp_from.channels, 0, nullptr};
    }
    dsp_ffmpeg.av_freep(&dsl_to.extradata.of(adsp_to));
    dsl_to.extradata.of(adsp_to) = copy_of(dsp_ffmpeg, dsp_from.extradata, dsp_from.extradata_size);
    dsl_to.extradata_size.of(adsp_to) = dsl_to.extradata.of(adsp_to) == nullptr ? 0 : dsp_from.extradata_size;
}

void copy_extradata_to_old(const real::dsd_ffmpeg &dsp_ffmpeg, const real::context *adsp_from, AVCodecContext &dsp_to)
{
    const auto &dsl_from = dsp_ffmpeg.adsc_layout->context;
    dsp_ffmpeg.av_freep(&dsp_to.extradata);
    dsp_to.extradata_size = 0;
    dsp_to.extradata = copy_of(dsp_ffmpeg, dsl_from.extradata.of(adsp_from), dsl_from.extradata_size.of(adsp_from));
    if (dsp_to.extradata != nullptr)
        dsp_to.extradata_size = dsl_from.extradata_size.of(adsp_from);
}

} // namespace bridge::old
