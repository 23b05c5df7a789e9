#include "jni/exceptions.h"

#include <cstring>

namespace kiv::jni
{

c_jniexception::c_jniexception(const char *strp_message) noexcept
    : strc_message(strp_message != nullptr ? strdup(strp_message) : nullptr)
{
}

c_jniexception::c_jniexception(const c_jniexception &dsp_other) noexcept
    : std::exception(dsp_other), strc_message(strdup(dsp_other.what()))
{
}

const char *c_jniexception::what() const noexcept
{
    return strc_message ? strc_message.get() : "";
}

void c_jniexception::throw_java_exception(JNIEnv *adsp_env) const
{
    throw_unless_pending(adsp_env, "java/lang/Error", "could not find class java/lang/Error");
}

void c_jniexception::throw_unless_pending(JNIEnv *adsp_env, const char *strp_class, const char *strp_not_found) const
{
    if (!adsp_env->ExceptionCheck())
        throw_java_error(adsp_env, what(), strp_class, strp_not_found);
}

void throw_java_error(JNIEnv *adsp_env, const char *strp_message, const char *strp_class, const char *strp_not_found)
{
    adsp_env->ExceptionClear(); // looking up a class is not allowed while an exception is pending
    const jclass avol_class = adsp_env->FindClass(strp_class);
    if (avol_class == nullptr)
        adsp_env->FatalError(strp_not_found);
    adsp_env->ThrowNew(avol_class, strp_message);
    adsp_env->DeleteLocalRef(avol_class);
}

} // namespace kiv::jni

void c_ffmpeg_exception::throw_java_exception(JNIEnv *adsp_env) const
{
    throw_unless_pending(adsp_env, "java/lang/RuntimeException", "could not find class java.lang.RuntimeException");
}
