/** @file Picture memory as Java provides it: the call for it, and the call that gives it back. */
#pragma once

#include "kivjniffmpeg/context/library_context.h"

#include <jni.h>

#include <span>

class c_trace;

/**
 * What one successful m_vcodec_alloc_buffer gave: an Object[4] that Java filled. Element 0 is the memory, element 3 the
 * object that the process call stores in its out array; 1 and 2 are Java's own.
 *
 * Works through the environment registered for the calling thread. Whoever owns it calls give_back where Java is to hear
 * of the memory again.
 */
class c_java_allocation
{
public:
    explicit c_java_allocation(c_ffmpeg *adsp_ffmpeg) noexcept : adsc_ffmpeg(adsp_ffmpeg) {}
    ~c_java_allocation();
    c_java_allocation(const c_java_allocation &) = delete;
    c_java_allocation &operator=(const c_java_allocation &) = delete;

    /**
     * Asks Java, at most once.
     *
     * @param avop_layout the description of the picture
     * @param aimp_sizes becomes the callback's second int array
     * @param dsp_trace names who asks
     * @throws c_ffmpeg_exception "java buffer allocator failed" when Java says false
     * @throws kiv::jni::c_jniexception when Java threw, which is then pending
     */
    void allocate(const kiv::jni::c_jnienv &dsp_env, jintArray avop_layout, std::span<const jint> aimp_sizes,
                  const c_trace &dsp_trace);

    /** Local reference to the memory, which may be anything that Java put there. */
    jobject memory(const kiv::jni::c_jnienv &dsp_env) const;
    /** Local reference to the object that Java wants to find in the process call's out array. */
    jobject result_object(const kiv::jni::c_jnienv &dsp_env) const;

    /** Tells Java, also while an exception is pending, if it was asked with success before. */
    void give_back(JNIEnv *adsp_env) noexcept;

private:
    c_ffmpeg *adsc_ffmpeg;          // the codec's, which outlives its buffers
    jobject avoc_objects = nullptr; // global reference, Object[4]
    bool bc_allocated = false;      // Java counts the memory as ours
};
