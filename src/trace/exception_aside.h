/** @file A scope that clears a pending Java exception and throws it again at its end. */
#pragma once

#include <jni.h>

namespace kiv::jni
{

/**
 * Clears a pending Java exception, so that JNI may be used, and throws it again at the end of the scope.
 *
 * It then replaces an exception that was thrown inside the scope. When none was pending before, that exception stays.
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
