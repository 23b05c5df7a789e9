/**
 * @file
 * What all exported functions have in common: their skeleton, and the place where C++ exceptions become Java's.
 */
#pragma once

#include "jni/jnienv.h"
#include "kivjniffmpeg/context/library_context.h"

#include <jni.h>

#include <cstdint>

/**
 * Turns the exception that is being handled into a pending Java exception; called from catch (...) only.
 *
 * A c_jniexception throws its own class unless a Java exception is pending already, std::bad_alloc throws
 * OutOfMemoryError "thrown from native code", any other std::exception java.lang.Error with its text, and anything else
 * java.lang.Error without a message.
 */
void deliver_current_exception(JNIEnv *adsp_env);

/**
 * Runs @p dsp_work with the thread's environment registered and wrapped. When it throws, everything that it held is
 * released first. Then the exception is delivered, and the result is the zero of its type.
 */
template <class WORK>
auto enter_library(JNIEnv *adsp_env, WORK dsp_work) -> decltype(dsp_work(std::declval<kiv::jni::c_jnienv &>()))
{
    try {
        const c_register_threadlocal_env dsl_registration(adsp_env);
        kiv::jni::c_jnienv dsl_env(adsp_env);
        return dsp_work(dsl_env);
    } catch (...) {
        deliver_current_exception(adsp_env);
    }
    return decltype(dsp_work(std::declval<kiv::jni::c_jnienv &>()))();
}

/** Java's handle of a native object. */
template <class T> jlong to_handle(T *adsp_object) noexcept
{
    return static_cast<jlong>(reinterpret_cast<intptr_t>(adsp_object));
}

/** The native object of a handle. @throws c_ffmpeg_exception with @p strp_message and the line number for a zero one */
template <class T> T *from_handle(jlong ilp_handle, const char *strp_message, int inp_line)
{
    if (ilp_handle == 0)
        throw_ffmpeg_exception(inp_line, strp_message);
    // A Java long holds the address. NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<T *>(static_cast<intptr_t>(ilp_handle));
}

/** The library context of a handle. @throws c_ffmpeg_exception with the line number for a zero one */
inline c_ffmpeg *context_of(jlong ilp_hffmpeg, int inp_line)
{
    return from_handle<c_ffmpeg>(ilp_hffmpeg, "ilp_hffmpeg == 0", inp_line);
}
