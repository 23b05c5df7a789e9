#include "kivjniffmpeg/buffers/native_buffer.h"

#include "trace/trace.h"

#include <algorithm>
#include <new>

namespace
{

/** Vector code reads whole registers at the end of a plane. */
constexpr size_t ul_read_slack = 64;

} // namespace

c_native_buffer::c_native_buffer(int32_t imp_size, int32_t imp_align)
{
    TRACE_FUNCTION(3);
    if (imp_size < 0)
        throw std::bad_alloc();
    const auto ull_align = static_cast<size_t>(std::max(imp_align, im_minimum_alignment));
    const size_t ull_wanted = static_cast<size_t>(imp_size) + ul_read_slack;
    const size_t ull_size = (ull_wanted + ull_align - 1) / ull_align * ull_align; // aligned_alloc needs a multiple
    autc_memory.reset(static_cast<uint8_t *>(std::aligned_alloc(ull_align, ull_size)));
    if (autc_memory == nullptr)
        throw std::bad_alloc();
    set_kind(kiv::jni::ie_native_memory);
    set_memory(autc_memory.get(), autc_memory.get(), imp_size);
}

c_framebuffer_reference c_native_buffer::make(int32_t imp_size, int32_t imp_align)
{
    auto dsl_buffer = std::make_unique<c_native_buffer>(imp_size, imp_align);
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
