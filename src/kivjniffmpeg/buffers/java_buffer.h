/** @file Picture memory in a Java array. */
#pragma once

#include "kivjniffmpeg/buffers/frame_buffer.h"
#include "kivjniffmpeg/buffers/java_allocation.h"

#include <jni.h>

#include <cstdint>
#include <memory>
#include <span>

class c_colormodel;

/** What a picture needs of a Java array. */
struct dsd_java_buffer_request
{
    int32_t imc_width;                          /**< of the stream, pixels */
    int32_t imc_height;                         /**< of the stream, pixels */
    std::span<const int32_t, 4> aimc_linesizes; /**< bytes per line of each plane */
    int32_t imc_scanheight;                     /**< lines of the first plane */
    int32_t imc_pixel_step;                     /**< bytes per pixel of the first plane; decides the kind of array */
    int32_t imc_align;                          /**< alignment of the first plane */
    int32_t imc_planes_size;                    /**< bytes of all planes; the array is never smaller */
};

/**
 * An array that Java's m_vcodec_alloc_buffer provided. Its elements are accessible as long as the buffer lives.
 *
 * The pixel step decides the kind of array: 1 byte[], 2 short[], 4 int[].
 *
 * A buffer whose picture is not delivered is released through m_vcodec_free_buffer. A delivered array is Java's: after
 * commit() nothing is written to it, although the decoder may read the elements as a reference picture. Uses the
 * environment registered for the calling thread; the destructor calls Java.
 */
class c_java_buffer final : public ca_ffmpeg_buffer
{
public:
    /**
     * Has Java allocate the array and opens its elements. A failure after that releases the array.
     *
     * @throws c_ffmpeg_exception when the request is invalid, Java returns false or its array does not fit
     * @throws std::runtime_error "invalid buffer type" for a pixel step that no kind of array has
     * @throws kiv::jni::c_jniexception when Java threw, which is then pending
     */
    static std::unique_ptr<c_java_buffer> allocate(c_ffmpeg *adsp_ffmpeg, const c_colormodel &dsp_model,
                                                   const dsd_java_buffer_request &dsp_request);

    ~c_java_buffer() override;
    c_java_buffer(const c_java_buffer &) = delete;
    c_java_buffer &operator=(const c_java_buffer &) = delete;

    void commit() override;
    /** Ends the access. The elements are copied back unless the array was delivered, which has its picture already. */
    void release() override;

    jobject result_object(const kiv::jni::c_jnienv &dsp_env) const override
    {
        return dsc_allocation.result_object(dsp_env);
    }

private:
    explicit c_java_buffer(c_ffmpeg *adsp_ffmpeg) noexcept;

    void open_elements(const kiv::jni::c_jnienv &dsp_env, int32_t imp_size, int32_t imp_align);
    void end_access(JNIEnv *adsp_env, jint imp_mode) noexcept;

    c_java_allocation dsc_allocation;
    jobject avoc_array = nullptr;     // global reference to the memory
    uint8_t *autc_elements = nullptr; // of the array, as JNI returned them
};
