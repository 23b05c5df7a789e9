#include "bridge/avcodec/frame_memory.h"

#include "bridge/old/contexts.h"
#include "bridge/old/frames.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <utility>

namespace bridge::avcodec
{

c_frame_records::c_frame_records() noexcept = default;
c_frame_records::~c_frame_records() = default;

dsd_frame_memory &c_frame_records::take()
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    if (dsc_free.empty()) {
        dsd_frame_memory &dsl_made = *dsc_all.emplace_back(std::make_unique<dsd_frame_memory>());
        dsc_free.reserve(dsc_all.capacity());
        return dsl_made;
    }
    dsd_frame_memory &dsl_memory = *dsc_free.back();
    dsc_free.pop_back();
    return dsl_memory;
}

void c_frame_records::put_back(dsd_frame_memory &dsp_memory) noexcept
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    dsc_free.push_back(&dsp_memory);
}

bool c_frame_records::has(const dsd_frame_memory *adsp_memory) const noexcept
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    return std::ranges::find(dsc_all, adsp_memory, &std::unique_ptr<dsd_frame_memory>::get) != dsc_all.end();
}

namespace
{

/** FFmpeg's buffer calls this when its last reference is gone. */
void release(void *avp_memory, uint8_t *) noexcept
{
    auto &dsl_memory = *static_cast<dsd_frame_memory *>(avp_memory);
    const std::shared_ptr<c_frame_records> dsl_records = std::move(dsl_memory.dsc_records);
    auto *adsl_context = reinterpret_cast<AVCodecContext *>(dsl_memory.utc_context);
    if (adsl_context->release_buffer != nullptr)
        adsl_context->release_buffer(adsl_context, &dsl_memory.dsc_frame);
    dsl_records->put_back(dsl_memory);
}

/** The planes that a picture of the format has in the newer FFmpeg, where only a needed palette is one. */
size_t count_planes(const real::dsd_pixel_format *adsp_format)
{
    if (adsp_format == nullptr)
        return 0;
    size_t ull_planes = (adsp_format->flags & AV_PIX_FMT_FLAG_PAL) != 0 ? 2 : 0;
    for (const AVComponentDescriptor &dsl_component : std::span(adsp_format->comp).first(adsp_format->nb_components))
        ull_planes = std::max<size_t>(ull_planes, dsl_component.plane + size_t{1});
    return ull_planes;
}

/** The bytes that all planes of a frame lie in. */
std::span<uint8_t> extent_of(const AVFrame &dsp_frame, int inp_lines)
{
    uint8_t *autl_begin = dsp_frame.data[0];
    uint8_t *autl_end = autl_begin;
    for (size_t ull_plane = 0; ull_plane < std::size(dsp_frame.data) && dsp_frame.data[ull_plane] != nullptr;
         ++ull_plane) {
        const int inl_size = std::abs(dsp_frame.linesize[ull_plane == 0 || inp_lines > 1 ? ull_plane : 0]);
        autl_begin = std::min(autl_begin, dsp_frame.data[ull_plane]);
        autl_end = std::max(autl_end, dsp_frame.data[ull_plane] + ptrdiff_t{inl_size} * inp_lines);
    }
    return {autl_begin, autl_end};
}

/**
 * The shown size of a picture whose memory is asked for. FFmpeg leaves columns at the left that are to be cropped when the
 * planes would lose their alignment. In the 56 line the context shows them from the start, in the newer one it does not.
 */
void show_cropped_size(const real::dsd_ffmpeg &dsp_ffmpeg, const real::frame *adsp_frame, AVCodecContext &dsp_context)
{
    constexpr size_t ul_alignment = 32;
    const auto &dsl_layout = dsp_ffmpeg.adsc_layout->frame;
    const size_t ull_left = dsl_layout.crop_left.of(adsp_frame);
    const auto *adsl_format = dsp_ffmpeg.dsc_numbers.find_format(dsp_context.pix_fmt);
    if (ull_left == 0 || adsl_format == nullptr)
        return;
    size_t ull_offsets = 0; // their common low bits
    for (const AVComponentDescriptor &dsl_component : std::span(adsl_format->comp).first(adsl_format->nb_components)) {
        const int inl_shift = dsl_component.plane == 1 || dsl_component.plane == 2 ? adsl_format->log2_chroma_w : 0;
        ull_offsets |= (ull_left >> inl_shift) * (dsl_component.step_minus1 + size_t{1});
    }
    const auto inl_lost = static_cast<int>(std::countr_zero(ul_alignment)) - std::countr_zero(ull_offsets);
    if (inl_lost <= 0)
        return;
    const size_t ull_unit = size_t{1} << (std::countr_zero(ull_left) + inl_lost);
    dsp_context.width += static_cast<int>(ull_left % ull_unit);
}

} // namespace

void point_at_picture(const real::dsd_ffmpeg &dsp_ffmpeg, const AVFrame &dsp_from, real::frame *adsp_to)
{
    const auto &dsl_layout = dsp_ffmpeg.adsc_layout->frame;
    std::ranges::copy(dsp_from.data, dsl_layout.data.of(adsp_to));
    std::ranges::copy(dsp_from.linesize, dsl_layout.linesize.of(adsp_to));
    const std::span aautl_planes(dsl_layout.data.of(adsp_to));
    std::ranges::fill(aautl_planes.subspan(count_planes(dsp_ffmpeg.dsc_numbers.find_format(dsp_from.format))), nullptr);
    dsl_layout.extended_data.of(adsp_to) = dsl_layout.data.of(adsp_to);
}

c_frame_memory::c_frame_memory(const real::dsd_ffmpeg &dsp_ffmpeg, AVCodecContext &dsp_context)
    : dsc_ffmpeg(dsp_ffmpeg), dsc_context(dsp_context), dsc_records(std::make_shared<c_frame_records>())
{
}

int c_frame_memory::get(const real::context *adsp_context, real::frame *adsp_frame, bool bp_reference)
{
    old::describe_to_old(dsc_ffmpeg, adsp_context, dsc_context);
    show_cropped_size(dsc_ffmpeg, adsp_frame, dsc_context);
    dsd_frame_memory &dsl_memory = dsc_records->take();
    AVFrame &dsl_frame = dsl_memory.dsc_frame;
    old::set_frame_defaults(dsl_frame);
    old::copy_description(dsc_ffmpeg, adsp_frame, dsl_frame, dsc_context.codec_type);
    dsl_frame.reference = bp_reference ? 1 : 0;
    dsl_frame.reordered_opaque = dsc_context.reordered_opaque;
    if (const int inl_result = dsc_context.get_buffer(&dsc_context, &dsl_frame); inl_result < 0) {
        old::free_planes_array(dsc_ffmpeg, dsl_frame);
        dsc_records->put_back(dsl_memory);
        return inl_result;
    }
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->frame;
    const bool bl_video = dsc_context.codec_type != AVMEDIA_TYPE_AUDIO;
    if (bl_video) {
        point_at_picture(dsc_ffmpeg, dsl_frame, adsp_frame);
    } else {
        std::ranges::copy(dsl_frame.data, dsl_layout.data.of(adsp_frame));
        std::ranges::copy(dsl_frame.linesize, dsl_layout.linesize.of(adsp_frame));
    }
    // FFmpeg's frame owns the array of its planes, and the copy for release_buffer has none.
    const bool bl_own_array = dsl_frame.extended_data != dsl_frame.data && dsl_frame.extended_data != nullptr;
    dsl_layout.extended_data.of(adsp_frame) = bl_own_array ? dsl_frame.extended_data : dsl_layout.data.of(adsp_frame);
    dsl_frame.extended_data = dsl_frame.data;

    std::memcpy(dsl_memory.utc_context, &dsc_context, old::ul_context_size);
    dsl_memory.dsc_records = dsc_records;
    const std::span utl_extent = extent_of(dsl_frame, bl_video ? dsl_frame.height : 1);
    AVBufferRef *adsl_buffer =
        dsc_ffmpeg.av_buffer_create(utl_extent.data(), utl_extent.size(), &release, &dsl_memory, 0);
    if (adsl_buffer == nullptr) {
        release(&dsl_memory, nullptr);
        return AVERROR(ENOMEM);
    }
    dsl_layout.buf.of(adsp_frame)[0] = adsl_buffer;
    adsc_newest.store(&dsl_memory, std::memory_order_relaxed);
    return 0;
}

const dsd_frame_memory *c_frame_memory::find(const real::frame *adsp_frame) const noexcept
{
    const AVBufferRef *adsl_buffer = dsc_ffmpeg.adsc_layout->frame.buf.of(adsp_frame)[0];
    if (adsl_buffer == nullptr)
        return nullptr;
    const auto *adsl_memory = static_cast<const dsd_frame_memory *>(dsc_ffmpeg.av_buffer_get_opaque(adsl_buffer));
    return adsl_memory == adsc_newest.load(std::memory_order_relaxed) || dsc_records->has(adsl_memory) ? adsl_memory
                                                                                                       : nullptr;
}

} // namespace bridge::avcodec
