/** @file The JNI functions that the library calls, with their failures as exceptions. */
#pragma once

#include "jni/exceptions.h"

#include <jni.h>
#include <natives/ArrayKind.h>

#include <cstddef>
#include <span>
#include <type_traits>
#include <utility>

namespace kiv::jni
{

/**
 * A JNIEnv whose operations throw when JNI fails: a c_jniexception with the operation's own name as the message.
 *
 * The Java exception that the failing call raised stays pending, and Java sees that one. An operation also throws,
 * without calling JNI, when an exception is pending already: the receiver of a trace line may have thrown it.
 *
 * Owns nothing. It lives on the stack of one call and is used by the thread of its JNIEnv.
 */
class c_jnienv
{
public:
    explicit c_jnienv(JNIEnv *adsp_env) noexcept : adsc_env(adsp_env) {}

    JNIEnv *raw() const noexcept { return adsc_env; }

    /** Whether a Java exception is pending. Few JNI functions may be called while one is. */
    bool exception_pending() const { return adsc_env->ExceptionCheck() == JNI_TRUE; }

    jclass find_class(const char *strp_name) const;
    jmethodID get_method_id(jclass avop_class, const char *strp_name, const char *strp_signature) const;
    jmethodID get_static_method_id(jclass avop_class, const char *strp_name, const char *strp_signature) const;

    /** A new global reference; null for null. */
    jobject NewGlobalRef(jobject avop_object) const;
    /** Deletes the reference, unless it is null, and sets the field to null. Never throws. */
    void delete_global_ref(jobject &avop_field) const noexcept;

    jintArray new_jint_array(jsize imp_length) const;
    jbyteArray new_jbyte_array(jsize imp_length) const;
    jlongArray new_jlong_array(jsize imp_length) const;
    jobjectArray new_jobject_array(jsize imp_length, jclass avop_class, jobject avop_initial) const;
    /** A direct buffer over memory, which the caller keeps for as long as Java has the buffer. */
    jobject new_direct_buffer(std::span<std::byte> utp_memory) const;
    /** @param strp_text modified UTF-8 */
    jstring new_jstring_utf(const char *strp_text) const;

    void set_array_region(jintArray avop_array, jsize imp_start, jsize imp_length, const jint *aimp_from) const;
    void set_array_region(jbyteArray avop_array, jsize imp_start, jsize imp_length, const jbyte *autp_from) const;
    void set_array_region(jlongArray avop_array, jsize imp_start, jsize imp_length, const jlong *ailp_from) const;
    void get_array_region(jintArray avop_array, jsize imp_start, jsize imp_length, jint *aimp_to) const;
    void get_array_region(jbyteArray avop_array, jsize imp_start, jsize imp_length, jbyte *autp_to) const;
    void get_array_region(jlongArray avop_array, jsize imp_start, jsize imp_length, jlong *ailp_to) const;
    jsize get_array_length(jarray avop_array) const;
    /** A local reference to the element, which may be null. */
    jobject get_jobject_array_element(jobjectArray avop_array, jsize imp_index) const;
    void set_jobject_array_element(jobjectArray avop_array, jsize imp_index, jobject avop_value) const;

    template <class... ARGUMENTS>
    bool call_static_boolean_method(jclass avop_class, jmethodID adsp_method, ARGUMENTS... dsp_arguments) const
    {
        return run(__func__, [&] {
            return adsc_env->CallStaticBooleanMethod(avop_class, adsp_method, dsp_arguments...) == JNI_TRUE;
        });
    }
    template <class... ARGUMENTS>
    void call_static_void_method(jclass avop_class, jmethodID adsp_method, ARGUMENTS... dsp_arguments) const
    {
        run(__func__, [&] { adsc_env->CallStaticVoidMethod(avop_class, adsp_method, dsp_arguments...); });
    }
    template <class... ARGUMENTS>
    jint call_int_method(jobject avop_object, jmethodID adsp_method, ARGUMENTS... dsp_arguments) const
    {
        return run(__func__, [&] { return adsc_env->CallIntMethod(avop_object, adsp_method, dsp_arguments...); });
    }
    template <class... ARGUMENTS>
    jlong call_long_method(jobject avop_object, jmethodID adsp_method, ARGUMENTS... dsp_arguments) const
    {
        return run(__func__, [&] { return adsc_env->CallLongMethod(avop_object, adsp_method, dsp_arguments...); });
    }
    template <class... ARGUMENTS>
    jobject call_object_method(jobject avop_object, jmethodID adsp_method, ARGUMENTS... dsp_arguments) const
    {
        return run(__func__, [&] { return adsc_env->CallObjectMethod(avop_object, adsp_method, dsp_arguments...); });
    }

    jbyte *get_array_elements(jbyteArray avop_array, jboolean *abp_is_copy) const;
    jshort *get_array_elements(jshortArray avop_array, jboolean *abp_is_copy) const;
    jint *get_array_elements(jintArray avop_array, jboolean *abp_is_copy) const;
    jint *get_array_critical(jintArray avop_array, jboolean *abp_is_copy) const;
    jbyte *get_array_critical(jbyteArray avop_array, jboolean *abp_is_copy) const;

private:
    /** Throws when a Java exception is pending: before every call that it forbids, and after it. */
    void check_pending(const char *strp_operation) const;

    /** Calls a JNI function that returns null when it fails. */
    template <class CALL> auto make(const char *strp_operation, CALL dsp_call) const;

    /** Calls a JNI function that leaves an exception pending when it fails, whatever it returns. */
    template <class CALL> auto run(const char *strp_operation, CALL dsp_call) const
    {
        check_pending(strp_operation);
        if constexpr (std::is_void_v<decltype(dsp_call())>) {
            dsp_call();
            check_pending(strp_operation);
        } else {
            const auto dsl_result = dsp_call();
            check_pending(strp_operation);
            return dsl_result;
        }
    }

    JNIEnv *adsc_env;
};

/** Kinds of picture memory. Java knows all but native memory, which has a number between the others. */
enum ie_array_kind : int32_t
{
    ie_array_invalid = natives::ArrayKind::NONE,
    ie_array_byte = natives::ArrayKind::BYTE,
    ie_array_short = natives::ArrayKind::SHORT,
    ie_array_int = natives::ArrayKind::INT,
    ie_native_memory = 3,
    ie_direct_buffer = natives::ArrayKind::DIRECT /**< a direct java.nio.ByteBuffer */
};

/** Bytes of one element of an array kind (byte 1, short 2, int 4) or of a direct buffer (1); 0 for anything else. */
constexpr jint get_element_size(jint imp_kind) noexcept
{
    switch (imp_kind) {
    case ie_array_byte:
    case ie_direct_buffer:
        return 1;
    case ie_array_short:
        return 2;
    case ie_array_int:
        return 4;
    default:
        return 0;
    }
}

/** A local reference that is deleted at the end of the scope; a call that makes many would fill the thread's table. */
template <class T> class c_local_ref
{
public:
    c_local_ref(JNIEnv *adsp_env, T avop_object) noexcept : adsc_env(adsp_env), avoc_object(avop_object) {}
    ~c_local_ref()
    {
        if (avoc_object != nullptr)
            adsc_env->DeleteLocalRef(avoc_object); // allowed while an exception is pending
    }
    c_local_ref(const c_local_ref &) = delete;
    c_local_ref &operator=(const c_local_ref &) = delete;

    T get() const noexcept { return avoc_object; }

private:
    JNIEnv *adsc_env;
    T avoc_object;
};

} // namespace kiv::jni
