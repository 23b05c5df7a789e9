/** @file The bytes of a container, which come from Java. */
#pragma once

#include "jni/jnienv.h"
#include "kivjniffmpeg/ffmpeg/abi.h"

#include <jni.h>

#include <cstdint>
#include <memory>

/**
 * A Java object that reads, seeks and knows its size (c_mediareader_source), seen as FFmpeg's AVIOContext.
 *
 * The bytes pass through the object's one direct buffer, so no array is pinned while Java or FFmpeg work. Works through
 * the environment registered for the calling thread; made, used and destroyed inside entry points only.
 *
 * FFmpeg cannot carry a Java exception. While one is pending Java is not asked again: every further read fails at once,
 * and check() brings the exception to the surface when FFmpeg has returned.
 */
class c_mediasource
{
public:
    /**
     * @param avop_source kept by a global reference
     * @throws c_ffmpeg_exception when there is no source, or no direct buffer in it
     * @throws kiv::jni::c_jniexception when it lacks a method, or throws; the Java exception is then pending
     * @throws std::bad_alloc
     */
    c_mediasource(const kiv::jni::c_jnienv &dsp_env, jobject avop_source);
    ~c_mediasource() = default;
    c_mediasource(const c_mediasource &) = delete;
    c_mediasource &operator=(const c_mediasource &) = delete;

    /** Stays this object's. */
    AVIOContext *io() const noexcept { return adsc_io.get(); }

    /** How often Java was asked for bytes: what does not change while FFmpeg works on what it has. */
    uint64_t reads() const noexcept { return ulc_reads; }

    /** Whether the last read found the end. */
    bool at_end() const noexcept { return bc_at_end; }

    /**
     * To be called whenever FFmpeg returns.
     *
     * @throws kiv::jni::c_jniexception when a Java exception is pending
     * @throws c_ffmpeg_exception when the source returned what it must not; it stays unusable
     */
    void check(const kiv::jni::c_jnienv &dsp_env) const;

private:
    struct dsd_delete_global_ref
    {
        void operator()(jobject avop_reference) const noexcept;
    };
    using c_global_ref = std::unique_ptr<_jobject, dsd_delete_global_ref>;
    struct dsd_free_io
    {
        void operator()(AVIOContext *adsp_io) const noexcept;
    };

    static int read(void *avp_source, uint8_t *autp_to, int inp_length) noexcept;
    static int64_t seek(void *avp_source, int64_t ilp_offset, int inp_whence) noexcept;
    template <class WORK> static int64_t ask(void *avp_source, WORK dsp_work) noexcept;
    void find_buffer(const kiv::jni::c_jnienv &dsp_env);
    int64_t ask_size(const kiv::jni::c_jnienv &dsp_env);
    int64_t move(const kiv::jni::c_jnienv &dsp_env, int64_t ilp_position);
    int64_t reject(const char *strp_complaint, int64_t ilp_value) noexcept;

    c_global_ref avoc_source;
    c_global_ref avoc_buffer; // keeps the direct memory below
    const uint8_t *autc_bytes = nullptr;
    int64_t ilc_capacity = 0;
    jmethodID adsc_read = nullptr;
    jmethodID adsc_seek = nullptr;
    jmethodID adsc_size = nullptr;
    uint64_t ulc_reads = 0;
    int64_t ilc_known_size = -1; // what Java said last; -1 for unknown
    bool bc_at_end = false;
    bool bc_behind_known_end = false;     // the position that FFmpeg is at, without Java's having been told
    const char *strc_complaint = nullptr; // a literal: what the source did wrong
    int64_t ilc_complaint_value = 0;
    std::unique_ptr<AVIOContext, dsd_free_io> adsc_io;
};
