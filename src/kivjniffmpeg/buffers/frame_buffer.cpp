#include "kivjniffmpeg/buffers/frame_buffer.h"

#include "jni/exceptions.h"
#include "trace/trace.h"

#include <cstring>

namespace
{

std::atomic<uint32_t> s_last_reference_word{0};

} // namespace

ca_ffmpeg_buffer::ca_ffmpeg_buffer() noexcept
    : imc_reference_word(static_cast<int32_t>((++s_last_reference_word << 1) | 1U))
{
}

ca_ffmpeg_buffer::~ca_ffmpeg_buffer() = default;

bool ca_ffmpeg_buffer::copy_to(uint8_t *autp_dst, uint32_t ump_dst_size) const
{
    TRACE_FUNCTION(3);
    if (autp_dst == nullptr)
        throw_ffmpeg_exception(1304, "dst buffer == NULL");
    const auto uml_size = static_cast<uint32_t>(imc_data_size);
    if (uml_size > ump_dst_size)
        return false;
    std::memcpy(autp_dst, autc_data + imc_data_offset, uml_size);
    return true;
}

int32_t ca_ffmpeg_buffer::get_plane_offset(uint32_t ump_index) const
{
    if (ump_index >= aimc_plane_offsets.size())
        throw_ffmpeg_exception(1317, "index out of bounds in get_plane_offset");
    return aimc_plane_offsets[ump_index];
}

void ca_ffmpeg_buffer::set_statistics_kind(ie_statistics_kind iep_kind) noexcept
{
    iec_statistics_kind = iep_kind;
    count_allocated(iep_kind);
}

void ca_ffmpeg_buffer::set_memory(uint8_t *autp_allocation, uint8_t *autp_data, int32_t imp_capacity) noexcept
{
    autc_allocation = autp_allocation;
    autc_data = autp_data;
    imc_data_offset = static_cast<int32_t>(autp_data - autp_allocation);
    imc_capacity = imp_capacity;
    imc_data_size = imp_capacity;
}

void ffmpeg_release_framebuffer(ca_ffmpeg_buffer *adsp_buffer, void (*adsp_before_deletion)())
{
    TRACE_FUNCTION(3);
    if (adsp_buffer == nullptr || adsp_buffer->drop_reference() != 0)
        return;
    count_freed(adsp_buffer->statistics_kind());
    if (adsp_before_deletion != nullptr)
        adsp_before_deletion();
    delete adsp_buffer;
}

c_framebuffer_reference ffmpeg_get_framebuffer(c_avframe &dsp_frame)
{
    TRACE_FUNCTION(3);
    auto *adsl_buffer = static_cast<ca_ffmpeg_buffer *>(dsp_frame->opaque);
    if (adsl_buffer == nullptr)
        throw_ffmpeg_exception(1471, "NULL pointer in AVFrame::ffmpeg_buffer");
    adsl_buffer->add_reference();
    return c_framebuffer_reference(adsl_buffer);
}
