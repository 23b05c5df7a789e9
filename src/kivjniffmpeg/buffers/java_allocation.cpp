#include "kivjniffmpeg/buffers/java_allocation.h"

#include "jni/exceptions.h"
#include "jni/java_arrays.h"
#include "trace/exception_aside.h"
#include "trace/trace.h"

#include <natives/BufferSlots.h>

#include <utility>

using kiv::jni::c_jnienv;
using kiv::jni::c_local_ref;

c_java_allocation::~c_java_allocation()
{
    // Outside a call Java cannot be reached.
    if (JNIEnv *adsl_env = c_ffmpeg::get_thread_env(); adsl_env != nullptr)
        c_jnienv(adsl_env).delete_global_ref(avoc_objects);
}

void c_java_allocation::allocate(const c_jnienv &dsp_env, jintArray avop_layout, std::span<const jint> aimp_sizes,
                                 const c_trace &dsp_trace)
{
    const c_local_ref dsl_sizes(dsp_env.raw(), kiv::jni::to_java(dsp_env, aimp_sizes));
    TRACE_LINE_IN(dsp_trace, im_level_debug, "%s#%s(): adsc_ffmpeg=%p, adsc_ffmpeg->avoc_jobject_class=%p",
                  static_cast<const void *>(adsc_ffmpeg), static_cast<const void *>(adsc_ffmpeg->object_class()));
    const c_local_ref dsl_objects(
        dsp_env.raw(), dsp_env.new_jobject_array(natives::BufferSlots::SIZE, adsc_ffmpeg->object_class(), nullptr));
    // Made before Java is asked: once it has returned true, nothing may fail that prevents the release.
    avoc_objects = dsp_env.NewGlobalRef(dsl_objects.get());
    const c_local_ref dsl_codec(dsp_env.raw(), adsc_ffmpeg->vcodec_object(dsp_env));
    bc_allocated =
        dsp_env.call_static_boolean_method(adsc_ffmpeg->api_class(), adsc_ffmpeg->methods().adsc_alloc_buffer,
                                           dsl_codec.get(), avop_layout, dsl_sizes.get(), dsl_objects.get());
    if (!bc_allocated)
        throw_ffmpeg_exception(988, "java buffer allocator failed");
}

jobject c_java_allocation::memory(const c_jnienv &dsp_env) const
{
    return dsp_env.get_jobject_array_element(static_cast<jobjectArray>(avoc_objects), natives::BufferSlots::MEMORY);
}

jobject c_java_allocation::result_object(const c_jnienv &dsp_env) const
{
    return dsp_env.get_jobject_array_element(static_cast<jobjectArray>(avoc_objects), natives::BufferSlots::RESULT);
}

void c_java_allocation::release_memory(JNIEnv *adsp_env) noexcept
{
    if (!std::exchange(bc_allocated, false))
        return;
    const kiv::jni::c_pending_exception_aside dsl_aside(adsp_env);
    const c_jnienv dsl_env(adsp_env);
    try {
        const c_local_ref dsl_codec(adsp_env, adsc_ffmpeg->vcodec_object(dsl_env));
        dsl_env.call_static_void_method(adsc_ffmpeg->api_class(), adsc_ffmpeg->methods().adsc_free_buffer,
                                        dsl_codec.get(), avoc_objects);
    } catch (const kiv::jni::c_jniexception &) {
        // What Java threw stays pending, unless an earlier exception replaces it.
    }
}
