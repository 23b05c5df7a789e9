#include "jni/jnienv.h"

#include <cstdarg>

namespace kiv::jni
{

namespace
{

template <class T> void check_result(T avop_result, const char *strp_operation)
{
    if (avop_result == nullptr)
        throw c_jniexception(strp_operation);
}

/** A variable argument list that is ended on every way out. */
#define KIV_FORWARD_ARGUMENTS(result, call)                                                                            \
    va_list dsl_arguments;                                                                                             \
    va_start(dsl_arguments, adsp_method);                                                                              \
    result adsc_env->call;                                                                                             \
    va_end(dsl_arguments)

} // namespace

void c_jnienv::check_pending(const char *strp_operation) const
{
    if (exception_pending())
        throw c_jniexception(strp_operation);
}

jclass c_jnienv::find_class(const char *strp_name) const
{
    check_pending("find_class");
    const jclass avol_class = adsc_env->FindClass(strp_name);
    check_result(avol_class, "find_class");
    return avol_class;
}

jmethodID c_jnienv::get_method_id(jclass avop_class, const char *strp_name, const char *strp_signature) const
{
    check_pending("get_method_id");
    const jmethodID adsl_method = adsc_env->GetMethodID(avop_class, strp_name, strp_signature);
    check_result(adsl_method, "get_method_id");
    return adsl_method;
}

jmethodID c_jnienv::get_static_method_id(jclass avop_class, const char *strp_name, const char *strp_signature) const
{
    check_pending("get_static_method_id");
    const jmethodID adsl_method = adsc_env->GetStaticMethodID(avop_class, strp_name, strp_signature);
    check_result(adsl_method, "get_static_method_id");
    return adsl_method;
}

jobject c_jnienv::NewGlobalRef(jobject avop_object) const
{
    if (avop_object == nullptr)
        return nullptr;
    check_pending("NewGlobalRef");
    const jobject avol_reference = adsc_env->NewGlobalRef(avop_object);
    check_result(avol_reference, "NewGlobalRef");
    return avol_reference;
}

void c_jnienv::delete_global_ref(jobject &avop_field) const noexcept
{
    if (avop_field != nullptr)
        adsc_env->DeleteGlobalRef(std::exchange(avop_field, nullptr));
}

jintArray c_jnienv::new_jint_array(jsize imp_length) const
{
    check_pending("new_jint_array");
    const jintArray avol_array = adsc_env->NewIntArray(imp_length);
    check_result(avol_array, "new_jint_array");
    return avol_array;
}

jbyteArray c_jnienv::new_jbyte_array(jsize imp_length) const
{
    check_pending("new_jbyte_array");
    const jbyteArray avol_array = adsc_env->NewByteArray(imp_length);
    check_result(avol_array, "new_jbyte_array");
    return avol_array;
}

jlongArray c_jnienv::new_jlong_array(jsize imp_length) const
{
    check_pending("new_jlong_array");
    const jlongArray avol_array = adsc_env->NewLongArray(imp_length);
    check_result(avol_array, "new_jlong_array");
    return avol_array;
}

jobjectArray c_jnienv::new_jobject_array(jsize imp_length, jclass avop_class, jobject avop_initial) const
{
    check_pending("new_jobject_array");
    const jobjectArray avol_array = adsc_env->NewObjectArray(imp_length, avop_class, avop_initial);
    check_result(avol_array, "new_jobject_array");
    return avol_array;
}

jstring c_jnienv::new_jstring_utf(const char *strp_text) const
{
    check_pending("new_jstring_utf");
    const jstring avol_string = adsc_env->NewStringUTF(strp_text);
    check_result(avol_string, "new_jstring_utf");
    return avol_string;
}

void c_jnienv::set_array_region(jintArray avop_array, jsize imp_start, jsize imp_length, const jint *aimp_from) const
{
    check_pending("set_array_region(jint)");
    adsc_env->SetIntArrayRegion(avop_array, imp_start, imp_length, aimp_from);
    check_pending("set_array_region(jint)");
}

void c_jnienv::set_array_region(jbyteArray avop_array, jsize imp_start, jsize imp_length, const jbyte *autp_from) const
{
    check_pending("set_array_region(jbyte)");
    adsc_env->SetByteArrayRegion(avop_array, imp_start, imp_length, autp_from);
    check_pending("set_array_region(jbyte)");
}

void c_jnienv::set_array_region(jlongArray avop_array, jsize imp_start, jsize imp_length, const jlong *ailp_from) const
{
    check_pending("set_array_region(jlong)");
    adsc_env->SetLongArrayRegion(avop_array, imp_start, imp_length, ailp_from);
    check_pending("set_array_region(jlong)");
}

jsize c_jnienv::get_array_length(jarray avop_array) const
{
    check_pending("get_array_length");
    const jsize iml_length = adsc_env->GetArrayLength(avop_array);
    check_pending("get_array_length");
    return iml_length;
}

jobject c_jnienv::get_jobject_array_element(jobjectArray avop_array, jsize imp_index) const
{
    check_pending("get_jobject_array_element");
    const jobject avol_element = adsc_env->GetObjectArrayElement(avop_array, imp_index);
    check_pending("get_jobject_array_element");
    return avol_element;
}

void c_jnienv::set_jobject_array_element(jobjectArray avop_array, jsize imp_index, jobject avop_value) const
{
    check_pending("set_jobject_array_element");
    adsc_env->SetObjectArrayElement(avop_array, imp_index, avop_value);
    check_pending("set_jobject_array_element");
}

bool c_jnienv::call_static_boolean_method(jclass avop_class, jmethodID adsp_method, ...) const
{
    check_pending("call_static_boolean_method");
    KIV_FORWARD_ARGUMENTS(const jboolean bl_result =, CallStaticBooleanMethodV(avop_class, adsp_method, dsl_arguments));
    check_pending("call_static_boolean_method");
    return bl_result == JNI_TRUE;
}

void c_jnienv::call_static_void_method(jclass avop_class, jmethodID adsp_method, ...) const
{
    check_pending("call_static_void_method");
    KIV_FORWARD_ARGUMENTS(, CallStaticVoidMethodV(avop_class, adsp_method, dsl_arguments));
    check_pending("call_static_void_method");
}

jint c_jnienv::call_int_method(jobject avop_object, jmethodID adsp_method, ...) const
{
    check_pending("call_int_method");
    KIV_FORWARD_ARGUMENTS(const jint iml_result =, CallIntMethodV(avop_object, adsp_method, dsl_arguments));
    check_pending("call_int_method");
    return iml_result;
}

jlong c_jnienv::call_long_method(jobject avop_object, jmethodID adsp_method, ...) const
{
    check_pending("call_long_method");
    KIV_FORWARD_ARGUMENTS(const jlong ill_result =, CallLongMethodV(avop_object, adsp_method, dsl_arguments));
    check_pending("call_long_method");
    return ill_result;
}

jobject c_jnienv::call_object_method(jobject avop_object, jmethodID adsp_method, ...) const
{
    check_pending("call_object_method");
    KIV_FORWARD_ARGUMENTS(const jobject avol_result =, CallObjectMethodV(avop_object, adsp_method, dsl_arguments));
    check_pending("call_object_method");
    return avol_result;
}

jbyte *c_jnienv::get_array_elements(jbyteArray avop_array, jboolean *abp_is_copy) const
{
    check_pending("get_array_elements(jbyte)");
    jbyte *autl_elements = adsc_env->GetByteArrayElements(avop_array, abp_is_copy);
    check_result(autl_elements, "get_array_elements(jbyte)");
    return autl_elements;
}

jshort *c_jnienv::get_array_elements(jshortArray avop_array, jboolean *abp_is_copy) const
{
    check_pending("get_array_elements(jshort)");
    jshort *ail_elements = adsc_env->GetShortArrayElements(avop_array, abp_is_copy);
    check_result(ail_elements, "get_array_elements(jshort)");
    return ail_elements;
}

jint *c_jnienv::get_array_elements(jintArray avop_array, jboolean *abp_is_copy) const
{
    check_pending("get_array_elements(jint)");
    jint *aiml_elements = adsc_env->GetIntArrayElements(avop_array, abp_is_copy);
    check_result(aiml_elements, "get_array_elements(jint)");
    return aiml_elements;
}

jint *c_jnienv::get_array_critical(jintArray avop_array, jboolean *abp_is_copy) const
{
    check_pending("get_array_critical(jint)");
    void *avl_elements = adsc_env->GetPrimitiveArrayCritical(avop_array, abp_is_copy);
    check_result(avl_elements, "get_array_critical(jint)");
    return static_cast<jint *>(avl_elements);
}

jbyte *c_jnienv::get_array_critical(jbyteArray avop_array, jboolean *abp_is_copy) const
{
    check_pending("get_array_critical(jbyte)");
    void *avl_elements = adsc_env->GetPrimitiveArrayCritical(avop_array, abp_is_copy);
    check_result(avl_elements, "get_array_critical(jbyte)");
    return static_cast<jbyte *>(avl_elements);
}

} // namespace kiv::jni
