#include "kivjniffmpeg/buffers/picture_stock.h"

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <new>
#include <utility>

namespace
{

/** Vector code reads and writes whole registers at the end of a plane. */
constexpr int32_t im_slack = 64;

/** A picture is laid out in few sizes and formats at a time. */
constexpr size_t ul_known_layouts = 4;

int32_t bytes_of(const dsd_picture_layout &dsp_layout) noexcept
{
    return dsp_layout.imc_total + dsp_layout.imc_align + im_slack;
}

bool is_free(const c_picture_stock::dsd_block &dsp_block) noexcept
{
    return !dsp_block.bc_used && !dsp_block.bc_delivered;
}

/** Whether Java has a picture in it that FFmpeg does not use any more. */
bool is_kept(const c_picture_stock::dsd_block &dsp_block) noexcept
{
    return !dsp_block.bc_used && dsp_block.bc_delivered;
}

/** Points the frame at the planes of a picture in the block. @return where the first one lies */
uint8_t *point_at(const c_picture_stock::dsd_block &dsp_block, const dsd_picture_layout &dsp_layout, AVFrame &dsp_frame)
{
    const auto ull_align = static_cast<uintptr_t>(dsp_layout.imc_align);
    const uintptr_t ull_rest = reinterpret_cast<uintptr_t>(dsp_block.autc_memory) % ull_align;
    uint8_t *autl_picture = dsp_block.autc_memory + (ull_rest == 0 ? 0 : ull_align - ull_rest);
    std::ranges::fill(dsp_frame.data, nullptr);
    std::ranges::fill(dsp_frame.linesize, 0);
    for (size_t ull_plane = 0; ull_plane < static_cast<size_t>(dsp_layout.plane_count()); ++ull_plane) {
        dsp_frame.data[ull_plane] = autl_picture + dsp_layout.aimc_plane_offsets[ull_plane];
        dsp_frame.linesize[ull_plane] = dsp_layout.aimc_linesizes[ull_plane];
    }
    dsp_frame.extended_data = dsp_frame.data;
    return autl_picture;
}

/** Gives a decoder another pixel format until the end of the scope. */
class c_other_format
{
public:
    c_other_format(AVCodecContext &dsp_context, AVPixelFormat iep_format) noexcept
        : dsc_context(dsp_context), iec_own(std::exchange(dsp_context.pix_fmt, iep_format))
    {
    }
    ~c_other_format() { dsc_context.pix_fmt = iec_own; }
    c_other_format(const c_other_format &) = delete;
    c_other_format &operator=(const c_other_format &) = delete;

private:
    AVCodecContext &dsc_context;
    AVPixelFormat iec_own;
};

} // namespace

c_picture_stock::c_picture_stock() = default;
c_picture_stock::~c_picture_stock() = default;

void c_picture_stock::add(int32_t imp_slot, uint8_t *autp_memory, int32_t imp_size)
{
    auto dsl_block = std::make_unique<dsd_block>(dsd_block{this, autp_memory, imp_size, imp_slot});
    const std::scoped_lock dsl_lock(dsc_mutex);
    aimc_released.reserve(dsc_blocks.size() + aimc_released.size() + 1);
    dsc_blocks.push_back(std::move(dsl_block));
}

int32_t c_picture_stock::free_blocks() const noexcept
{
    return static_cast<int32_t>(std::ranges::count_if(dsc_blocks, [this](const auto &dsp_block) {
        return is_free(*dsp_block) && dsp_block->imc_size >= imc_wanted_size;
    }));
}

int32_t c_picture_stock::kept_blocks() const noexcept
{
    return static_cast<int32_t>(
        std::ranges::count_if(dsc_blocks, [](const auto &dsp_block) { return is_kept(*dsp_block); }));
}

int32_t c_picture_stock::wanted() const
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    return imc_wanted_size == 0 ? 0 : imc_target - free_blocks();
}

int32_t c_picture_stock::wanted_size() const
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    return imc_wanted_size;
}

void c_picture_stock::close(int32_t imp_slot)
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    const auto dsl_block =
        std::ranges::find(dsc_blocks, imp_slot, [](const auto &dsp_one) { return dsp_one->imc_slot; });
    if (imp_slot == im_native || dsl_block == dsc_blocks.end())
        return;
    const bool bl_kept = is_kept(**dsl_block);
    (*dsl_block)->bc_delivered = false;
    if (bl_kept)
        settle(dsl_block);
}

size_t c_picture_stock::release_slots(std::span<int32_t> aimp_slots)
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    // Blocks that became too small serve nobody here.
    std::erase_if(dsc_blocks, [this](const auto &dsp_block) {
        const bool bl_small = is_free(*dsp_block) && dsp_block->imc_size < imc_wanted_size;
        if (bl_small)
            aimc_released.push_back(dsp_block->imc_slot);
        return bl_small;
    });
    const size_t ull_count = std::min(aimp_slots.size(), aimc_released.size());
    const auto dsl_end = aimc_released.begin() + static_cast<std::ptrdiff_t>(ull_count);
    std::copy(aimc_released.begin(), dsl_end, aimp_slots.begin());
    aimc_released.erase(aimc_released.begin(), dsl_end);
    return ull_count;
}

std::optional<dsd_picture_layout> c_picture_stock::layout_of(AVCodecContext &dsp_context, const AVFrame &dsp_frame)
{
    const std::scoped_lock dsl_lock(dsc_mutex); // also for the bridge, which computes in one place for all threads
    const auto dsl_known = std::ranges::find_if(dsc_layouts, [&dsp_frame](const dsd_known_layout &dsp_layout) {
        return dsp_layout.inc_format == dsp_frame.format && dsp_layout.inc_width == dsp_frame.width &&
               dsp_layout.inc_height == dsp_frame.height;
    });
    if (dsl_known != dsc_layouts.end())
        return dsl_known->dsc_layout;
    const auto iel_format = static_cast<AVPixelFormat>(dsp_frame.format);
    const c_other_format dsl_format(dsp_context, iel_format);
    const auto dsl_layout = compute_picture_layout(&dsp_context, iel_format, dsp_frame.width, dsp_frame.height);
    if (dsl_layout) {
        if (dsc_layouts.size() == ul_known_layouts)
            dsc_layouts.erase(dsc_layouts.begin());
        dsc_layouts.push_back({dsp_frame.format, dsp_frame.width, dsp_frame.height, *dsl_layout});
    }
    return dsl_layout;
}

/** A block of Java's. @return null when none is free and large enough */
c_picture_stock::dsd_block *c_picture_stock::take(int32_t imp_size)
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    imc_wanted_size = imp_size;
    // The one that was released last is most likely in the processor's cache.
    const auto dsl_found = std::find_if(dsc_blocks.rbegin(), dsc_blocks.rend(), [imp_size](const auto &dsp_block) {
        return is_free(*dsp_block) && dsp_block->imc_size >= imp_size;
    });
    if (dsl_found == dsc_blocks.rend()) {
        imc_target = std::min(imc_target + 1, imc_limit);
        return nullptr;
    }
    (*dsl_found)->bc_used = true;
    return dsl_found->get();
}

c_picture_stock::dsd_block *c_picture_stock::take_native(int32_t imp_size)
{
    auto dsl_block = std::make_unique<dsd_block>(dsd_block{this, nullptr, imp_size, im_native, true});
    dsl_block->autc_native.reset(static_cast<uint8_t *>(std::malloc(static_cast<size_t>(imp_size))));
    dsl_block->autc_memory = dsl_block->autc_native.get();
    if (dsl_block->autc_memory == nullptr)
        throw std::bad_alloc();
    const std::scoped_lock dsl_lock(dsc_mutex);
    return dsc_blocks.emplace_back(std::move(dsl_block)).get();
}

int c_picture_stock::provide(AVCodecContext &dsp_context, AVFrame &dsp_frame)
{
    const auto dsl_layout = layout_of(dsp_context, dsp_frame);
    if (!dsl_layout)
        return AVERROR(EINVAL);
    const int32_t iml_size = bytes_of(*dsl_layout);
    dsd_block *adsl_block = take(iml_size);
    if (adsl_block == nullptr)
        adsl_block = take_native(iml_size);
    uint8_t *autl_picture = point_at(*adsl_block, *dsl_layout, dsp_frame);
    adsl_block->autc_palette = dsl_layout->plane_count() == 2 ? dsp_frame.data[1] : nullptr;
    fill_with_grey(autl_picture, *dsl_layout, static_cast<AVPixelFormat>(dsp_frame.format));
    std::ranges::fill(dsp_frame.buf, nullptr);
    dsp_frame.buf[0] =
        g_avutil.av_buffer_create(adsl_block->autc_memory, iml_size, &c_picture_stock::release, adsl_block, 0);
    if (dsp_frame.buf[0] != nullptr)
        return 0;
    release(*adsl_block);
    return AVERROR(ENOMEM);
}

void c_picture_stock::release(void *avp_block, uint8_t *) noexcept
{
    auto *adsl_block = static_cast<dsd_block *>(avp_block);
    adsl_block->adsc_stock->release(*adsl_block);
}

void c_picture_stock::release(dsd_block &dsp_block) noexcept
{
    std::unique_ptr<dsd_block> dsl_native; // freed without the lock
    const std::scoped_lock dsl_lock(dsc_mutex);
    dsp_block.bc_used = false;
    const auto dsl_place = std::ranges::find(dsc_blocks, &dsp_block, &std::unique_ptr<dsd_block>::get);
    if (dsp_block.imc_slot != im_native) {
        settle(dsl_place);
        return;
    }
    dsl_native = std::move(*dsl_place);
    dsc_blocks.erase(dsl_place);
}

/** Keeps a block of Java's that FFmpeg does not use, or gives one back when there are enough. */
void c_picture_stock::settle(dsd_blocks::iterator dsp_place) noexcept
{
    const bool bl_kept = is_kept(**dsp_place);
    if (bl_kept ? imc_ahead == 0 : free_blocks() > imc_limit + im_surplus + 2 * imc_ahead) {
        give_back(dsp_place);
        return;
    }
    std::rotate(dsp_place, dsp_place + 1, dsc_blocks.end());
    if (bl_kept && kept_blocks() > im_kept_of_each_ahead * imc_ahead)
        // The oldest picture may be one that Java never closes.
        give_back(std::ranges::find_if(dsc_blocks, [](const auto &dsp_block) { return is_kept(*dsp_block); }));
}

void c_picture_stock::give_back(dsd_blocks::iterator dsp_place) noexcept
{
    aimc_released.push_back((*dsp_place)->imc_slot);
    dsc_blocks.erase(dsp_place);
}

c_picture_stock::dsd_block *c_picture_stock::find(const AVFrame &dsp_frame) const
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    const auto dsl_found = std::ranges::find_if(dsc_blocks, [&dsp_frame](const auto &dsp_block) {
        return dsp_block->bc_used && std::ranges::all_of(dsp_frame.data, [&dsp_block](const uint8_t *autp_plane) {
                   return autp_plane == nullptr || (autp_plane >= dsp_block->autc_memory &&
                                                    autp_plane < dsp_block->autc_memory + dsp_block->imc_size);
               });
    });
    return dsl_found == dsc_blocks.end() ? nullptr : dsl_found->get();
}

c_picture_stock::dsd_place c_picture_stock::deliver(dsd_block &dsp_block, AVFrame &dsp_planes)
{
    const std::scoped_lock dsl_lock(dsc_mutex);
    if (dsp_planes.data[1] == nullptr)
        dsp_planes.data[1] = dsp_block.autc_palette;
    dsp_block.bc_delivered = true;
    return {dsp_block.imc_slot, dsp_block.autc_memory};
}

std::optional<c_picture_stock::dsd_place>
c_picture_stock::deliver_copy(const AVFrame &dsp_from, const dsd_picture_layout &dsp_layout, AVFrame &dsp_to)
{
    dsd_block *adsl_block = take(bytes_of(dsp_layout));
    if (adsl_block == nullptr)
        return std::nullopt;
    const auto iel_format = static_cast<AVPixelFormat>(dsp_from.format);
    fill_with_grey(point_at(*adsl_block, dsp_layout, dsp_to), dsp_layout, iel_format);
    g_avutil.av_image_copy(dsp_to.data, dsp_to.linesize, dsp_from.data, dsp_from.linesize, iel_format, dsp_from.width,
                           dsp_from.height);
    const dsd_place dsl_place = deliver(*adsl_block, dsp_to);
    release(*adsl_block);
    return dsl_place;
}
