#include "kivjniffmpeg/buffers/java_buffer.h"

#include "kivjniffmpeg/formats/color_model.h"
#include "trace/trace.h"

#include <algorithm>
#include <array>
#include <stdexcept>

using kiv::jni::c_jnienv;
using kiv::jni::c_local_ref;

namespace
{

kiv::jni::ie_array_kind kind_of_step(int32_t imp_pixel_step)
{
    switch (imp_pixel_step) {
    case 1:
        return kiv::jni::ie_array_byte;
    case 2:
        return kiv::jni::ie_array_short;
    case 4:
        return kiv::jni::ie_array_int;
    default:
        return kiv::jni::ie_array_invalid;
    }
}

/** The JNI name of a kind of array. */
const char *class_of(kiv::jni::ie_array_kind iep_kind)
{
    switch (iep_kind) {
    case kiv::jni::ie_array_byte:
        return "[B";
    case kiv::jni::ie_array_short:
        return "[S";
    default:
        return "[I";
    }
}

} // namespace

c_java_buffer::c_java_buffer(c_ffmpeg *adsp_ffmpeg) noexcept : dsc_allocation(adsp_ffmpeg) {}

std::unique_ptr<c_java_buffer> c_java_buffer::allocate(c_ffmpeg *adsp_ffmpeg, const c_colormodel &dsp_model,
                                                       const dsd_java_buffer_request &dsp_request)
{
    TRACE_SCOPE("c_java_buffer", 3);
    if (adsp_ffmpeg == nullptr)
        throw_ffmpeg_exception(929, "adsc_ffmpeg==NULL in class c_java_buffer");
    std::unique_ptr<c_java_buffer> dsl_buffer(new c_java_buffer(adsp_ffmpeg));
    dsl_buffer->set_kind(kind_of_step(dsp_request.imc_pixel_step));
    const int32_t iml_size = std::max(
        dsp_model.get_buffer_size_in_bytes(dsp_request.imc_width, dsp_request.imc_height, dsp_request.aimc_linesizes[0],
                                           dsp_request.imc_scanheight, dsp_request.imc_align),
        dsp_request.imc_planes_size + dsp_request.imc_align);
    TRACE_LINE(im_level_debug, "%s#%s(): w=%d h=%d scanline=%d scanheight=%d align=%d imc_buffer_size=%d",
               dsp_request.imc_width, dsp_request.imc_height, dsp_request.aimc_linesizes[0], dsp_request.imc_scanheight,
               dsp_request.imc_align, iml_size);
    JNIEnv *adsl_env = c_ffmpeg::get_thread_env();
    if (adsl_env == nullptr)
        throw_ffmpeg_exception(951, "adsc_ffmpeg->get_thread_env() returned NULL");
    if (dsp_request.imc_width == dsp_request.imc_height)
        throw_ffmpeg_exception(955, "corrupt state: wrong height or width");

    const c_jnienv dsl_env(adsl_env);
    const c_local_ref dsl_model(adsl_env,
                                dsp_model.export_to_java_array(adsl_env, dsp_request.imc_width, dsp_request.imc_height,
                                                               dsp_request.aimc_linesizes, dsp_request.imc_scanheight));
    const auto aiml_sizes =
        buffer_request(iml_size, dsp_request.imc_align, dsp_request.imc_width, dsp_request.imc_scanheight);
    dsl_buffer->dsc_allocation.allocate(dsl_env, dsl_model.get(), aiml_sizes, dsl_trace);
    dsl_buffer->open_elements(dsl_env, iml_size, dsp_request.imc_align);
    return dsl_buffer;
}

void c_java_buffer::open_elements(const c_jnienv &dsp_env, int32_t imp_size, int32_t imp_align)
{
    TRACE_FUNCTION(3);
    if (kind() == kiv::jni::ie_array_invalid)
        throw std::runtime_error("invalid buffer type");
    const c_local_ref dsl_array(dsp_env.raw(), dsc_allocation.memory(dsp_env));
    const c_local_ref dsl_class(dsp_env.raw(), dsp_env.find_class(class_of(kind())));
    if (dsl_array.get() == nullptr || !dsp_env.raw()->IsInstanceOf(dsl_array.get(), dsl_class.get()))
        throw_ffmpeg_exception(996, "java buffer allocator gave no ", class_of(kind()), " array");
    const int64_t ill_bytes =
        int64_t{dsp_env.get_array_length(static_cast<jarray>(dsl_array.get()))} * kiv::jni::get_element_size(kind());
    if (ill_bytes < imp_size)
        throw_ffmpeg_exception(999, "java buffer allocator gave ", ill_bytes, " bytes instead of ", imp_size);
    avoc_array = dsp_env.NewGlobalRef(dsl_array.get());

    void *avl_elements = nullptr;
    switch (kind()) {
    case kiv::jni::ie_array_byte:
        avl_elements = dsp_env.get_array_elements(static_cast<jbyteArray>(avoc_array), nullptr);
        break;
    case kiv::jni::ie_array_short:
        avl_elements = dsp_env.get_array_elements(static_cast<jshortArray>(avoc_array), nullptr);
        break;
    default:
        avl_elements = dsp_env.get_array_elements(static_cast<jintArray>(avoc_array), nullptr);
        break;
    }
    autc_elements = static_cast<uint8_t *>(avl_elements);
    const auto ull_align = static_cast<uint64_t>(imp_align);
    const uint64_t ull_rest = reinterpret_cast<uintptr_t>(autc_elements) % ull_align;
    set_memory(autc_elements, autc_elements + (ull_rest == 0 ? 0 : ull_align - ull_rest), imp_size);
}

c_java_buffer::~c_java_buffer()
{
    TRACE_FUNCTION(3);
    JNIEnv *adsl_env = c_ffmpeg::get_thread_env();
    if (adsl_env == nullptr)
        return; // outside a call the array cannot be reached
    // The elements first: nothing may write to an array that was released to Java.
    c_java_buffer::release();
    if (!delivered())
        dsc_allocation.release_memory(adsl_env);
    c_jnienv(adsl_env).delete_global_ref(avoc_array);
}

void c_java_buffer::commit()
{
    TRACE_FUNCTION(3);
    if (JNIEnv *adsl_env = c_ffmpeg::get_thread_env(); adsl_env != nullptr)
        end_access(adsl_env, JNI_COMMIT);
}

void c_java_buffer::release()
{
    TRACE_FUNCTION(3);
    JNIEnv *adsl_env = c_ffmpeg::get_thread_env();
    if (adsl_env == nullptr)
        return;
    end_access(adsl_env, delivered() ? JNI_ABORT : 0);
    autc_elements = nullptr;
}

void c_java_buffer::end_access(JNIEnv *adsp_env, jint imp_mode) noexcept
{
    if (autc_elements == nullptr)
        return;
    switch (kind()) {
    case kiv::jni::ie_array_byte:
        adsp_env->ReleaseByteArrayElements(static_cast<jbyteArray>(avoc_array),
                                           reinterpret_cast<jbyte *>(autc_elements), imp_mode);
        break;
    case kiv::jni::ie_array_short:
        adsp_env->ReleaseShortArrayElements(static_cast<jshortArray>(avoc_array),
                                            reinterpret_cast<jshort *>(autc_elements), imp_mode);
        break;
    case kiv::jni::ie_array_int:
        adsp_env->ReleaseIntArrayElements(static_cast<jintArray>(avoc_array), reinterpret_cast<jint *>(autc_elements),
                                          imp_mode);
        break;
    default:
        break;
    }
}
