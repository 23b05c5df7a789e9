#include "kivjniffmpeg/containers/java_channel.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/context/library_context.h"

#include <algorithm>

using kiv::jni::c_jnienv;
using kiv::jni::c_local_ref;

void c_java_object::dsd_delete_global_ref::operator()(jobject avop_reference) const noexcept
{
    // Channels are destroyed inside a call. Outside one, the reference would leak.
    if (JNIEnv *adsl_env = c_ffmpeg::get_thread_env(); adsl_env != nullptr)
        adsl_env->DeleteGlobalRef(avop_reference);
}

c_java_object::c_java_object(const c_jnienv &dsp_env, jobject avop_object)
    : avoc_object(dsp_env.NewGlobalRef(avop_object))
{
    const jmethodID adsl_buffer = method(dsp_env, "m_buffer", "()Ljava/nio/ByteBuffer;");
    const c_local_ref dsl_buffer(dsp_env.raw(), dsp_env.call_object_method(avop_object, adsl_buffer));
    if (dsl_buffer.get() == nullptr)
        return;
    avoc_buffer.reset(dsp_env.NewGlobalRef(dsl_buffer.get()));
    auto *autl_bytes = static_cast<uint8_t *>(dsp_env.raw()->GetDirectBufferAddress(avoc_buffer.get()));
    const jlong ill_capacity = dsp_env.raw()->GetDirectBufferCapacity(avoc_buffer.get());
    if (autl_bytes != nullptr && ill_capacity > 0)
        utc_memory = {autl_bytes, static_cast<size_t>(ill_capacity)};
}

jmethodID c_java_object::method(const c_jnienv &dsp_env, const char *strp_name, const char *strp_signature) const
{
    const c_local_ref dsl_class(dsp_env.raw(), dsp_env.raw()->GetObjectClass(avoc_object.get()));
    return dsp_env.get_method_id(dsl_class.get(), strp_name, strp_signature);
}

bool c_java_object::is_out_of_reach() const noexcept
{
    JNIEnv *adsl_env = c_ffmpeg::get_thread_env();
    return adsl_env == nullptr || adsl_env->ExceptionCheck() == JNI_TRUE;
}

jint c_java_object::call_int(jmethodID adsp_method, jint imp_argument) const
{
    return c_jnienv(c_ffmpeg::get_thread_env()).call_int_method(avoc_object.get(), adsp_method, imp_argument);
}

jlong c_java_object::call_long(jmethodID adsp_method, jlong ilp_argument) const
{
    return c_jnienv(c_ffmpeg::get_thread_env()).call_long_method(avoc_object.get(), adsp_method, ilp_argument);
}

jlong c_java_object::call_long(jmethodID adsp_method) const
{
    return c_jnienv(c_ffmpeg::get_thread_env()).call_long_method(avoc_object.get(), adsp_method);
}

namespace
{

jobject require_source(jobject avop_source)
{
    if (avop_source == nullptr)
        throw_ffmpeg_exception(2601, "media source == NULL");
    return avop_source;
}

jobject require_sink(jobject avop_sink)
{
    if (avop_sink == nullptr)
        throw_ffmpeg_exception(2651, "media sink == NULL");
    return avop_sink;
}

} // namespace

c_java_source::c_java_source(const c_jnienv &dsp_env, jobject avop_source, bool bp_anywhere)
    : dsc_object(dsp_env, require_source(avop_source)), adsc_read(dsc_object.method(dsp_env, "m_read", "(I)I"))
{
    if (bp_anywhere) {
        adsc_seek = dsc_object.method(dsp_env, "m_seek", "(J)J");
        adsc_size = dsc_object.method(dsp_env, "m_size", "()J");
    }
    if (!dsc_object.has_buffer())
        throw_ffmpeg_exception(2603, "buffer of the media source == NULL");
    if (memory().empty())
        throw_ffmpeg_exception(2604, "buffer of the media source is not direct, or empty");
}

void c_java_source::check() const
{
    if (has_failed())
        throw kiv::jni::c_jniexception("media source");
}

int32_t c_java_source::read(int32_t imp_wanted)
{
    return dsc_object.call_int(adsc_read, imp_wanted);
}

int64_t c_java_source::seek(int64_t ilp_position)
{
    return dsc_object.call_long(adsc_seek, ilp_position);
}

int64_t c_java_source::size()
{
    return dsc_object.call_long(adsc_size);
}

c_java_sink::c_java_sink(const c_jnienv &dsp_env, jobject avop_sink)
    : dsc_object(dsp_env, require_sink(avop_sink)),
      adsc_write(dsc_object.method(dsp_env, "m_write", "(I)I")),
      adsc_seek(dsc_object.method(dsp_env, "m_seek", "(J)J"))
{
    if (!dsc_object.has_buffer())
        throw_ffmpeg_exception(2652, "buffer of the media sink == NULL");
    if (memory().empty())
        throw_ffmpeg_exception(2653, "buffer of the media sink is not direct, or empty");
}

void c_java_sink::check() const
{
    if (has_failed())
        throw kiv::jni::c_jniexception("media sink");
}

void c_java_sink::write(int32_t imp_count)
{
    dsc_object.call_int(adsc_write, imp_count);
}

int64_t c_java_sink::seek(int64_t ilp_position)
{
    return dsc_object.call_long(adsc_seek, ilp_position);
}
