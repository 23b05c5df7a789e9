#include "kivjniffmpeg/buffers/native_buffer.h"

#include "trace/trace.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{

/** Vector code reads whole registers at the end of a plane. */
constexpr size_t ul_read_slack = 64;

} // namespace

c_spare_memory::dsd_block c_spare_memory::take(size_t ulp_size) noexcept
{
    const auto dsl_found = std::ranges::find_if(
        dsc_blocks, [ulp_size](const dsd_block &dsp_block) { return dsp_block.ulc_size >= ulp_size; });
    return dsl_found == dsc_blocks.end() ? dsd_block{} : std::exchange(*dsl_found, {});
}

void c_spare_memory::put_back(dsd_block dsp_block) noexcept
{
    // The smallest one gives way.
    dsd_block &dsl_smallest = *std::ranges::min_element(dsc_blocks, {}, &dsd_block::ulc_size);
    if (dsp_block.ulc_size > dsl_smallest.ulc_size && dsp_block.ulc_size <= ul_largest)
        dsl_smallest = std::move(dsp_block);
}

c_native_buffer::c_native_buffer(int32_t imp_size, int32_t imp_align, c_spare_memory *adsp_spare)
    : adsc_spare(imp_align <= im_minimum_alignment ? adsp_spare : nullptr)
{
    TRACE_FUNCTION(3);
    if (imp_size < 0)
        throw std::bad_alloc();
    const auto ull_align = static_cast<size_t>(std::max(imp_align, im_minimum_alignment));
    const size_t ull_wanted = static_cast<size_t>(imp_size) + ul_read_slack;
    const size_t ull_size = (ull_wanted + ull_align - 1) / ull_align * ull_align; // aligned_alloc needs a multiple
    if (adsc_spare != nullptr)
        dsc_block = adsc_spare->take(ull_size);
    if (dsc_block.autc_memory == nullptr) {
        dsc_block.autc_memory.reset(static_cast<uint8_t *>(std::aligned_alloc(ull_align, ull_size)));
        dsc_block.ulc_size = ull_size;
    }
    if (dsc_block.autc_memory == nullptr)
        throw std::bad_alloc();
    set_kind(kiv::jni::ie_native_memory);
    set_memory(dsc_block.autc_memory.get(), dsc_block.autc_memory.get(), imp_size);
}

c_native_buffer::~c_native_buffer()
{
    if (adsc_spare != nullptr)
        adsc_spare->put_back(std::move(dsc_block));
}

c_framebuffer_reference c_native_buffer::make(int32_t imp_size, int32_t imp_align, c_spare_memory *adsp_spare)
{
    auto dsl_buffer = std::make_unique<c_native_buffer>(imp_size, imp_align, adsp_spare);
    dsl_buffer->add_reference();
    return c_framebuffer_reference(dsl_buffer.release());
}

void c_native_buffer::release()
{
    TRACE_FUNCTION(3);
    TRACE_LINE(im_level_error, "%s#%s(): %s", "MUST NOT HAPPEN!");
}

void c_native_buffer::commit()
{
    TRACE_FUNCTION(3);
    TRACE_LINE(im_level_error, "%s#%s(): %s", "MUST NOT HAPPEN!");
}
