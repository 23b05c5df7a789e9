#include "kivjniffmpeg/codecs/output_queue.h"

#include "trace/trace.h"

#include <cstdint>
#include <utility>

void c_output_queue::pushback(c_framebuffer_reference dsp_buffer)
{
    TRACE_FUNCTION(3);
    const auto uml_size = static_cast<uint32_t>(dsp_buffer->data_size());
    dsc_buffers.push_back(std::move(dsp_buffer));
    ulc_bytes += uml_size;
    TRACE_LINE(im_level_debug, "%s#%s(): bytes_in_output_queue=%d", static_cast<int>(ulc_bytes));
}

c_framebuffer_reference c_output_queue::popfront()
{
    TRACE_FUNCTION(3);
    c_framebuffer_reference dsl_buffer = std::move(dsc_buffers.front());
    dsc_buffers.pop_front();
    ulc_bytes -= static_cast<uint32_t>(dsl_buffer->data_size());
    TRACE_LINE(im_level_debug, "%s#%s(): bytes_in_output_queue=%d", static_cast<int>(ulc_bytes));
    return dsl_buffer;
}

int32_t c_output_queue::deliverable() const noexcept
{
    // Virtual machines keep some of the largest lengths for themselves.
    constexpr uint64_t ull_most = INT32_MAX - 64;
    if (ulc_bytes <= ull_most)
        return static_cast<int32_t>(ulc_bytes);
    uint64_t ull_bytes = 0;
    for (const c_framebuffer_reference &dsl_buffer : dsc_buffers) {
        const auto ull_size = static_cast<uint64_t>(dsl_buffer->data_size());
        if (ull_bytes > 0 && ull_bytes + ull_size > ull_most)
            break;
        ull_bytes += ull_size;
    }
    return static_cast<int32_t>(ull_bytes);
}

void c_output_queue::clear() noexcept
{
    dsc_buffers.clear();
    ulc_bytes = 0;
}
