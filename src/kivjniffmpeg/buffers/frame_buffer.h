/** @file Counted memory that FFmpeg decodes into. */
#pragma once

#include "jni/jnienv.h"
#include "kivjniffmpeg/buffers/buffer_statistics.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "memory/countable.h"

#include <array>
#include <cstdint>
#include <span>

/**
 * A block of memory for a picture or samples: Java's (c_java_buffer, c_direct_buffer) or native (c_native_buffer).
 *
 * Its count starts at 0. The frame that FFmpeg decodes into holds one reference, and so does every waiting picture,
 * every entry of an output queue and every output record. All of them are used by the thread that runs the codec.
 */
class ca_ffmpeg_buffer : public kiv::memory::c_countable
{
public:
    virtual ~ca_ffmpeg_buffer();
    ca_ffmpeg_buffer(const ca_ffmpeg_buffer &) = delete;
    ca_ffmpeg_buffer &operator=(const ca_ffmpeg_buffer &) = delete;

    /** Ends the library's access to a Java array's elements. */
    virtual void release() = 0;
    /** Copies what was decoded into the Java array; the elements stay accessible. */
    virtual void commit() = 0;

    /** Local reference to the object that Java gets for a picture in this memory; null for native memory. */
    virtual jobject result_object(const kiv::jni::c_jnienv &) const { return nullptr; }

    /**
     * Copies data_size() bytes from data() + data_offset().
     *
     * @return false, with nothing copied, when they do not fit
     * @throws c_ffmpeg_exception "dst buffer == NULL"
     */
    bool copy_to(uint8_t *autp_dst, uint32_t ump_dst_size) const;

    /** Bytes from data() to a plane. @throws c_ffmpeg_exception "index out of bounds in get_plane_offset" */
    int32_t get_plane_offset(uint32_t ump_index) const;
    void set_plane_offsets(const std::array<int32_t, 4> &aimp_offsets) noexcept { aimc_plane_offsets = aimp_offsets; }

    /** The kind of Java's memory, or native memory. */
    kiv::jni::ie_array_kind kind() const noexcept { return iec_kind; }
    /** Bytes of the allocation that may be used. */
    int32_t capacity() const noexcept { return imc_capacity; }
    /** Bytes in use. */
    int32_t data_size() const noexcept { return imc_data_size; }
    void set_data_size(int32_t imp_size) noexcept { imc_data_size = imp_size; }
    /** Bytes from the start of the allocation to data(). */
    int32_t data_offset() const noexcept { return imc_data_offset; }
    /** Where the first plane or sample lies. */
    uint8_t *data() const noexcept { return autc_data; }

    ie_statistics_kind statistics_kind() const noexcept { return iec_statistics_kind; }
    /** Counts the buffer as allocated; ffmpeg_release_framebuffer counts it as freed. */
    void set_statistics_kind(ie_statistics_kind iep_kind) noexcept;

    /** Whether the memory was delivered as a picture; it is Java's from then on. */
    bool delivered() const noexcept { return bc_delivered; }
    void set_delivered() noexcept { bc_delivered = true; }

    /** An opaque number for the output record, never 0. Nothing can be looked up by it. */
    int32_t reference_word() const noexcept { return imc_reference_word; }

protected:
    ca_ffmpeg_buffer() noexcept;

    void set_kind(kiv::jni::ie_array_kind iep_kind) noexcept { iec_kind = iep_kind; }
    /** Sets where the memory lies. All of it is in use at first. */
    void set_memory(uint8_t *autp_allocation, uint8_t *autp_data, int32_t imp_capacity) noexcept;
    uint8_t *allocation() const noexcept { return autc_allocation; }

private:
    std::array<int32_t, 4> aimc_plane_offsets{};
    kiv::jni::ie_array_kind iec_kind = kiv::jni::ie_array_invalid;
    int32_t imc_capacity = 0;
    int32_t imc_data_size = 0;
    int32_t imc_data_offset = 0;
    uint8_t *autc_allocation = nullptr;
    uint8_t *autc_data = nullptr;
    ie_statistics_kind iec_statistics_kind = ie_statistics_none;
    bool bc_delivered = false;
    int32_t imc_reference_word;
};

/**
 * Releases one reference; the last one counts the buffer as freed and deletes it. Null does nothing.
 *
 * @param adsp_before_deletion called before the deletion, unless null
 */
void ffmpeg_release_framebuffer(ca_ffmpeg_buffer *adsp_buffer, void (*adsp_before_deletion)() = nullptr);

/** Holds one reference to a buffer. */
class c_framebuffer_reference
{
public:
    c_framebuffer_reference() noexcept = default;
    /** Owns a reference that was added before. */
    explicit c_framebuffer_reference(ca_ffmpeg_buffer *adsp_buffer) noexcept : adsc_buffer(adsp_buffer) {}
    c_framebuffer_reference(c_framebuffer_reference &&dsp_other) noexcept : adsc_buffer(dsp_other.detach()) {}
    c_framebuffer_reference &operator=(c_framebuffer_reference &&dsp_other) noexcept
    {
        if (this != &dsp_other)
            ffmpeg_release_framebuffer(std::exchange(adsc_buffer, dsp_other.detach()));
        return *this;
    }
    c_framebuffer_reference(const c_framebuffer_reference &) = delete;
    c_framebuffer_reference &operator=(const c_framebuffer_reference &) = delete;
    ~c_framebuffer_reference() { ffmpeg_release_framebuffer(adsc_buffer); }

    ca_ffmpeg_buffer *get() const noexcept { return adsc_buffer; }
    ca_ffmpeg_buffer *operator->() const noexcept { return adsc_buffer; }
    explicit operator bool() const noexcept { return adsc_buffer != nullptr; }

    /** Leaves the reference to the caller. */
    ca_ffmpeg_buffer *detach() noexcept { return std::exchange(adsc_buffer, nullptr); }

private:
    ca_ffmpeg_buffer *adsc_buffer = nullptr;
};

/**
 * Adds a reference to the buffer that the callbacks stored in the frame.
 *
 * @throws c_ffmpeg_exception "NULL pointer in AVFrame::ffmpeg_buffer" when there is none
 */
c_framebuffer_reference ffmpeg_get_framebuffer(c_avframe &dsp_frame);
