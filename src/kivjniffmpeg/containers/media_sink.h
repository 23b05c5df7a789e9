/** @file Writes the bytes of a container to a Java object. */
#pragma once

#include "jni/exceptions.h"
#include "jni/jnienv.h"
#include "kivjniffmpeg/context/library_context.h"
#include "kivjniffmpeg/ffmpeg/abi_containers.h"

#include <jni.h>

#include <cstdint>
#include <memory>

/**
 * The AVIOContext of a container that is written. Its callbacks call a Java object, on the thread that is inside a native
 * of the writer. Bytes go through one direct buffer of Java's.
 *
 * An exception that Java throws ends the calls: it stays pending, FFmpeg gets an error, and check() reports it.
 */
class c_mediasink
{
public:
    /**
     * @param avop_sink a c_mediawriter_sink
     * @param bp_seekable whether it can be written at any place
     * @throws c_ffmpeg_exception when it is null or its buffer is not direct
     */
    c_mediasink(const kiv::jni::c_jnienv &dsp_env, jobject avop_sink, bool bp_seekable);
    ~c_mediasink() = default;
    c_mediasink(const c_mediasink &) = delete;
    c_mediasink &operator=(const c_mediasink &) = delete;

    AVIOContext *io() const noexcept { return adsc_io.get(); }

    /** Throws what Java threw, or a complaint about what it returned. */
    void check(const kiv::jni::c_jnienv &dsp_env) const;

    /** From now on FFmpeg gets errors, and Java is not called. */
    void abandon() noexcept { bc_abandoned = true; }

private:
    struct dsd_delete_global_ref
    {
        using pointer = jobject;
        void operator()(jobject avop_reference) const noexcept;
    };
    using global_reference = std::unique_ptr<jobject, dsd_delete_global_ref>;
    struct dsd_free_io
    {
        void operator()(AVIOContext *adsp_io) const noexcept;
    };

    static int write(void *avp_sink, uint8_t *autp_from, int inp_length) noexcept;
    static int64_t seek(void *avp_sink, int64_t ilp_offset, int inp_whence) noexcept;
    template <class WORK> static int64_t ask(void *avp_sink, WORK dsp_work) noexcept;
    void find_buffer(const kiv::jni::c_jnienv &dsp_env);

    global_reference avoc_sink;
    global_reference avoc_buffer;
    jmethodID adsc_write = nullptr;
    jmethodID adsc_seek = nullptr;
    uint8_t *autc_bytes = nullptr;
    int64_t ilc_capacity = 0;
    bool bc_wrong_position = false; // Java moved to another place than FFmpeg asked for
    bool bc_abandoned = false;
    std::unique_ptr<AVIOContext, dsd_free_io> adsc_io;
};
