#include "jni/jnienv.h"

namespace kiv::jni
{

void c_jnienv::check_pending(const char *strp_operation) const
{
    if (exception_pending())
        throw c_jniexception(strp_operation);
}

template <class CALL> auto c_jnienv::make(const char *strp_operation, CALL dsp_call) const
{
    check_pending(strp_operation);
    const auto avol_result = dsp_call();
    if (avol_result == nullptr)
        throw c_jniexception(strp_operation);
    return avol_result;
}

jclass c_jnienv::find_class(const char *strp_name) const
{
    return make(__func__, [&] { return adsc_env->FindClass(strp_name); });
}

jmethodID c_jnienv::get_method_id(jclass avop_class, const char *strp_name, const char *strp_signature) const
{
    return make(__func__, [&] { return adsc_env->GetMethodID(avop_class, strp_name, strp_signature); });
}

jmethodID c_jnienv::get_static_method_id(jclass avop_class, const char *strp_name, const char *strp_signature) const
{
    return make(__func__, [&] { return adsc_env->GetStaticMethodID(avop_class, strp_name, strp_signature); });
}

jobject c_jnienv::NewGlobalRef(jobject avop_object) const
{
    if (avop_object == nullptr)
        return nullptr;
    return make(__func__, [&] { return adsc_env->NewGlobalRef(avop_object); });
}

void c_jnienv::delete_global_ref(jobject &avop_field) const noexcept
{
    if (avop_field != nullptr)
        adsc_env->DeleteGlobalRef(std::exchange(avop_field, nullptr));
}

jintArray c_jnienv::new_jint_array(jsize imp_length) const
{
    return make(__func__, [&] { return adsc_env->NewIntArray(imp_length); });
}

jobject c_jnienv::new_direct_buffer(std::span<std::byte> utp_memory) const
{
    return make(__func__, [&] {
        return adsc_env->NewDirectByteBuffer(utp_memory.data(), static_cast<jlong>(utp_memory.size()));
    });
}

jbyteArray c_jnienv::new_jbyte_array(jsize imp_length) const
{
    return make(__func__, [&] { return adsc_env->NewByteArray(imp_length); });
}

jlongArray c_jnienv::new_jlong_array(jsize imp_length) const
{
    return make(__func__, [&] { return adsc_env->NewLongArray(imp_length); });
}

jobjectArray c_jnienv::new_jobject_array(jsize imp_length, jclass avop_class, jobject avop_initial) const
{
    return make(__func__, [&] { return adsc_env->NewObjectArray(imp_length, avop_class, avop_initial); });
}

jstring c_jnienv::new_jstring_utf(const char *strp_text) const
{
    return make(__func__, [&] { return adsc_env->NewStringUTF(strp_text); });
}

void c_jnienv::set_array_region(jintArray avop_array, jsize imp_start, jsize imp_length, const jint *aimp_from) const
{
    run("set_array_region(jint)", [&] { adsc_env->SetIntArrayRegion(avop_array, imp_start, imp_length, aimp_from); });
}

void c_jnienv::set_array_region(jbyteArray avop_array, jsize imp_start, jsize imp_length, const jbyte *autp_from) const
{
    run("set_array_region(jbyte)", [&] { adsc_env->SetByteArrayRegion(avop_array, imp_start, imp_length, autp_from); });
}

void c_jnienv::set_array_region(jlongArray avop_array, jsize imp_start, jsize imp_length, const jlong *ailp_from) const
{
    run("set_array_region(jlong)", [&] { adsc_env->SetLongArrayRegion(avop_array, imp_start, imp_length, ailp_from); });
}

void c_jnienv::get_array_region(jintArray avop_array, jsize imp_start, jsize imp_length, jint *aimp_to) const
{
    run("get_array_region(jint)", [&] { adsc_env->GetIntArrayRegion(avop_array, imp_start, imp_length, aimp_to); });
}

void c_jnienv::get_array_region(jbyteArray avop_array, jsize imp_start, jsize imp_length, jbyte *autp_to) const
{
    run("get_array_region(jbyte)", [&] { adsc_env->GetByteArrayRegion(avop_array, imp_start, imp_length, autp_to); });
}

void c_jnienv::get_array_region(jlongArray avop_array, jsize imp_start, jsize imp_length, jlong *ailp_to) const
{
    run("get_array_region(jlong)", [&] { adsc_env->GetLongArrayRegion(avop_array, imp_start, imp_length, ailp_to); });
}

jsize c_jnienv::get_array_length(jarray avop_array) const
{
    check_pending(__func__);
    return adsc_env->GetArrayLength(avop_array); // it cannot fail
}

jobject c_jnienv::get_jobject_array_element(jobjectArray avop_array, jsize imp_index) const
{
    return run(__func__, [&] { return adsc_env->GetObjectArrayElement(avop_array, imp_index); });
}

void c_jnienv::set_jobject_array_element(jobjectArray avop_array, jsize imp_index, jobject avop_value) const
{
    run(__func__, [&] { adsc_env->SetObjectArrayElement(avop_array, imp_index, avop_value); });
}

jbyte *c_jnienv::get_array_elements(jbyteArray avop_array, jboolean *abp_is_copy) const
{
    return make("get_array_elements(jbyte)", [&] { return adsc_env->GetByteArrayElements(avop_array, abp_is_copy); });
}

jshort *c_jnienv::get_array_elements(jshortArray avop_array, jboolean *abp_is_copy) const
{
    return make("get_array_elements(jshort)", [&] { return adsc_env->GetShortArrayElements(avop_array, abp_is_copy); });
}

jint *c_jnienv::get_array_elements(jintArray avop_array, jboolean *abp_is_copy) const
{
    return make("get_array_elements(jint)", [&] { return adsc_env->GetIntArrayElements(avop_array, abp_is_copy); });
}

jint *c_jnienv::get_array_critical(jintArray avop_array, jboolean *abp_is_copy) const
{
    return static_cast<jint *>(
        make("get_array_critical(jint)", [&] { return adsc_env->GetPrimitiveArrayCritical(avop_array, abp_is_copy); }));
}

jbyte *c_jnienv::get_array_critical(jbyteArray avop_array, jboolean *abp_is_copy) const
{
    return static_cast<jbyte *>(make("get_array_critical(jbyte)",
                                     [&] { return adsc_env->GetPrimitiveArrayCritical(avop_array, abp_is_copy); }));
}

} // namespace kiv::jni
