#include "kivjniffmpeg/buffers/direct_buffer.h"

#include "jni/exceptions.h"
#include "jni/java_arrays.h"
#include "trace/trace.h"

#include <natives/PictureLayout.h>

#include <algorithm>
#include <array>

namespace BufferRequest = natives::BufferRequest;
namespace PictureLayout = natives::PictureLayout;

using kiv::jni::c_jnienv;
using kiv::jni::c_local_ref;

namespace
{

/** Vector code reads and writes whole registers at the end of a plane. */
constexpr int32_t im_slack = 64;

} // namespace

std::unique_ptr<c_direct_buffer> c_direct_buffer::allocate(c_ffmpeg *adsp_ffmpeg, int32_t imp_width, int32_t imp_height,
                                                           AVPixelFormat iep_format,
                                                           const dsd_picture_layout &dsp_layout)
{
    TRACE_SCOPE("c_direct_buffer", 3);
    JNIEnv *adsl_env = c_ffmpeg::get_thread_env();
    if (adsl_env == nullptr)
        throw_ffmpeg_exception(1017, "adsc_ffmpeg->get_thread_env() returned NULL");
    const c_jnienv dsl_env(adsl_env);
    std::unique_ptr<c_direct_buffer> dsl_buffer(new c_direct_buffer(adsp_ffmpeg));
    const int32_t iml_size = dsp_layout.imc_total + dsp_layout.imc_align + im_slack;
    std::array<jint, PictureLayout::SIZE> aiml_layout{};
    aiml_layout[PictureLayout::WIDTH] = imp_width;
    aiml_layout[PictureLayout::HEIGHT] = imp_height;
    std::ranges::copy(dsp_layout.aimc_linesizes, &aiml_layout[PictureLayout::LINE_SIZES]);
    aiml_layout[PictureLayout::SCAN_HEIGHT] = dsp_layout.imc_scanheight;
    const c_local_ref dsl_layout(adsl_env, kiv::jni::to_java(dsl_env, aiml_layout));
    auto aiml_sizes = buffer_request<BufferRequest::DIRECT_SIZE>(iml_size, dsp_layout.imc_align, imp_width,
                                                                 dsp_layout.imc_scanheight);
    aiml_sizes[BufferRequest::PIXEL_FORMAT] = iep_format;
    std::ranges::copy(dsp_layout.aimc_plane_offsets, &aiml_sizes[BufferRequest::PLANE_OFFSETS]);
    dsl_buffer->dsc_allocation.allocate(dsl_env, dsl_layout.get(), aiml_sizes, dsl_trace);
    dsl_buffer->take_memory(dsl_env, iml_size, dsp_layout.imc_align);
    return dsl_buffer;
}

void c_direct_buffer::take_memory(const c_jnienv &dsp_env, int32_t imp_size, int32_t imp_align)
{
    TRACE_FUNCTION(3);
    const c_local_ref dsl_memory(dsp_env.raw(), dsc_allocation.memory(dsp_env));
    const c_local_ref dsl_class(dsp_env.raw(), dsp_env.find_class("java/nio/ByteBuffer"));
    if (dsl_memory.get() == nullptr || !dsp_env.raw()->IsInstanceOf(dsl_memory.get(), dsl_class.get()))
        throw_ffmpeg_exception(1043, "java buffer allocator gave no ByteBuffer");
    // For a buffer that is not direct, JNI returns null and -1.
    auto *autl_memory = static_cast<uint8_t *>(dsp_env.raw()->GetDirectBufferAddress(dsl_memory.get()));
    const jlong ill_capacity = dsp_env.raw()->GetDirectBufferCapacity(dsl_memory.get());
    if (autl_memory == nullptr || ill_capacity < imp_size)
        throw_ffmpeg_exception(1048, "java buffer allocator gave no direct buffer of ", imp_size, " bytes");
    avoc_memory = dsp_env.NewGlobalRef(dsl_memory.get());
    const auto ull_align = static_cast<uint64_t>(imp_align);
    const uint64_t ull_rest = reinterpret_cast<uintptr_t>(autl_memory) % ull_align;
    set_kind(kiv::jni::ie_direct_buffer);
    set_memory(autl_memory, autl_memory + (ull_rest == 0 ? 0 : ull_align - ull_rest), imp_size);
}

c_direct_buffer::~c_direct_buffer()
{
    TRACE_FUNCTION(3);
    JNIEnv *adsl_env = c_ffmpeg::get_thread_env();
    if (adsl_env == nullptr)
        return;
    dsc_allocation.release_memory(adsl_env);
    c_jnienv(adsl_env).delete_global_ref(avoc_memory);
}
