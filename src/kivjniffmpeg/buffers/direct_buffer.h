/** @file Picture memory in a direct java.nio buffer. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/buffers/java_allocation.h"
#include "kivjniffmpeg/formats/picture_layout.h"

#include <jni.h>

#include <cstdint>
#include <memory>

/**
 * Memory outside the Java heap that m_vcodec_alloc_buffer provided as a direct ByteBuffer. The decoder and Java share
 * it.
 *
 * It is released through m_vcodec_free_buffer exactly once, when the library does not use it any more, whether its
 * picture was delivered or not.
 *
 * The request has the sizes of a PictureLayout, whose other elements are 0, and the longer BufferRequest.
 */
class c_direct_buffer final : public ca_ffmpeg_buffer
{
public:
    /**
     * @throws c_ffmpeg_exception when Java returns false, or its memory is not a direct buffer of the requested size
     * @throws kiv::jni::c_jniexception when Java threw, which is then pending
     */
    static std::unique_ptr<c_direct_buffer> allocate(c_ffmpeg *adsp_ffmpeg, int32_t imp_width, int32_t imp_height,
                                                     AVPixelFormat iep_format, const dsd_picture_layout &dsp_layout);

    ~c_direct_buffer() override;
    c_direct_buffer(const c_direct_buffer &) = delete;
    c_direct_buffer &operator=(const c_direct_buffer &) = delete;

    /** Does nothing: Java shares the memory. */
    void commit() override {}
    void release() override {}
    jobject result_object(const kiv::jni::c_jnienv &dsp_env) const override
    {
        return dsc_allocation.result_object(dsp_env);
    }

private:
    explicit c_direct_buffer(c_ffmpeg *adsp_ffmpeg) noexcept : dsc_allocation(adsp_ffmpeg) {}

    void take_memory(const kiv::jni::c_jnienv &dsp_env, int32_t imp_size, int32_t imp_align);

    c_java_allocation dsc_allocation;
    jobject avoc_memory = nullptr; // global reference, which keeps the memory when Java has released its own
};
