/** @file A scope in which JNI may be used although a Java exception is pending. */
#pragma once

#include <jni.h>

namespace kiv::jni
{

/**
 * Puts a pending Java exception aside for a scope and throws it again at the end.
 *
 * An exception that comes up inside the scope gives way to the one put aside; without one it stays pending.
 */
class c_pending_exception_aside
{
public:
    explicit c_pending_exception_aside(JNIEnv *adsp_env)
        : adsc_env(adsp_env), avoc_exception(adsp_env->ExceptionOccurred())
    {
        if (avoc_exception != nullptr)
            adsc_env->ExceptionClear();
    }
    ~c_pending_exception_aside()
    {
        if (avoc_exception == nullptr)
            return;
        adsc_env->ExceptionClear();
        adsc_env->Throw(avoc_exception);
        adsc_env->DeleteLocalRef(avoc_exception);
    }
    c_pending_exception_aside(const c_pending_exception_aside &) = delete;
    c_pending_exception_aside &operator=(const c_pending_exception_aside &) = delete;

private:
    JNIEnv *adsc_env;
    jthrowable avoc_exception;
};

} // namespace kiv::jni
