#include "kivjniffmpeg/codecs/output_queue.h"

#include "trace/trace.h"

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

void c_output_queue::clear() noexcept
{
    dsc_buffers.clear();
    ulc_bytes = 0;
}
