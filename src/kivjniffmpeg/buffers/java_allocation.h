/** @file The calls by which Java provides and releases picture memory. */
#pragma once

#include "kivjniffmpeg/context/library_context.h"

#include <jni.h>
#include <natives/BufferRequest.h>

#include <array>
#include <cstdint>
#include <span>

class c_trace;

/** The BufferRequest for a Java array; further elements of a larger LENGTH are 0. */
template <size_t LENGTH = natives::BufferRequest::SIZE>
std::array<jint, LENGTH> buffer_request(int32_t imp_bytes, int32_t imp_align, int32_t imp_width,
                                        int32_t imp_scanheight) noexcept
{
    std::array<jint, LENGTH> aiml_sizes{};
    aiml_sizes[natives::BufferRequest::COUNT] = 1;
    aiml_sizes[natives::BufferRequest::BYTES] = imp_bytes;
    aiml_sizes[natives::BufferRequest::ALIGNMENT] = imp_align;
    aiml_sizes[natives::BufferRequest::WIDTH] = imp_width;
    aiml_sizes[natives::BufferRequest::SCAN_HEIGHT] = imp_scanheight;
    return aiml_sizes;
}

/**
 * The memory of one successful m_vcodec_alloc_buffer: the BufferSlots that Java filled.
 *
 * Uses the environment registered for the calling thread. The owner calls release_memory when the library does not
 * use the memory any more; an array that was delivered is Java's without it.
 */
class c_java_allocation
{
public:
    explicit c_java_allocation(c_ffmpeg *adsp_ffmpeg) noexcept : adsc_ffmpeg(adsp_ffmpeg) {}
    ~c_java_allocation();
    c_java_allocation(const c_java_allocation &) = delete;
    c_java_allocation &operator=(const c_java_allocation &) = delete;

    /**
     * Asks Java for memory. Called at most once.
     *
     * @param avop_layout laid out as PictureLayout
     * @param aimp_sizes laid out as BufferRequest
     * @param dsp_trace the scope of the trace line
     * @throws c_ffmpeg_exception "java buffer allocator failed" when Java returns false
     * @throws kiv::jni::c_jniexception when Java threw, which is then pending
     */
    void allocate(const kiv::jni::c_jnienv &dsp_env, jintArray avop_layout, std::span<const jint> aimp_sizes,
                  const c_trace &dsp_trace);

    /** Local reference to the memory, an object of any class. */
    jobject memory(const kiv::jni::c_jnienv &dsp_env) const;
    /** Local reference to the object that the process call stores in its out array. */
    jobject result_object(const kiv::jni::c_jnienv &dsp_env) const;

    /** Calls m_vcodec_free_buffer if Java provided memory, also while a Java exception is pending. */
    void release_memory(JNIEnv *adsp_env) noexcept;

private:
    c_ffmpeg *adsc_ffmpeg;          // the codec's, which outlives its buffers
    jobject avoc_objects = nullptr; // global reference, BufferSlots
    bool bc_allocated = false;      // Java expects the release
};
