/** @file Bytes of containers that Java reads and writes. */
#pragma once

#include "jni/jnienv.h"
#include "kivjniffmpeg/containers/byte_channel.h"

#include <jni.h>

#include <cstdint>
#include <memory>
#include <span>

/**
 * A Java object that reads or writes bytes of a container through its one direct buffer, so that no array is pinned while
 * Java or FFmpeg works. Uses the environment registered for the calling thread: it is made, used and destroyed inside
 * exported functions only.
 */
class c_java_object
{
public:
    /**
     * Keeps the object and its buffer in global references.
     *
     * @param avop_object not null
     * @throws kiv::jni::c_jniexception when it has no method m_buffer, or throws; the Java exception is then pending
     */
    c_java_object(const kiv::jni::c_jnienv &dsp_env, jobject avop_object);

    /** @throws kiv::jni::c_jniexception when there is no such method */
    jmethodID method(const kiv::jni::c_jnienv &dsp_env, const char *strp_name, const char *strp_signature) const;
    /** Whether the object returned a buffer. */
    bool has_buffer() const noexcept { return avoc_buffer != nullptr; }
    /** The buffer's memory; empty when it is not direct, or has none. */
    std::span<uint8_t> memory() const noexcept { return utc_memory; }
    /** Whether Java cannot be called: an exception is pending, or the thread is in no call of Java's. */
    bool is_out_of_reach() const noexcept;
    jint call_int(jmethodID adsp_method, jint imp_argument) const;
    jlong call_long(jmethodID adsp_method, jlong ilp_argument) const;
    jlong call_long(jmethodID adsp_method) const;

private:
    struct dsd_delete_global_ref
    {
        void operator()(jobject avop_reference) const noexcept;
    };
    using c_global_ref = std::unique_ptr<_jobject, dsd_delete_global_ref>;

    c_global_ref avoc_object;
    c_global_ref avoc_buffer; // keeps the memory
    std::span<uint8_t> utc_memory;
};

/** Bytes that a c_mediareader_source reads. */
class c_java_source final : public ca_byte_source
{
public:
    /**
     * @param bp_anywhere whether it also seeks and knows its size
     * @throws c_ffmpeg_exception when the source is null or has no direct buffer
     * @throws kiv::jni::c_jniexception when the source lacks a method or throws; the Java exception is then pending
     */
    c_java_source(const kiv::jni::c_jnienv &dsp_env, jobject avop_source, bool bp_anywhere);

    std::span<uint8_t> memory() const noexcept override { return dsc_object.memory(); }
    bool has_failed() const noexcept override { return dsc_object.is_out_of_reach(); }
    void check() const override;
    int32_t read(int32_t imp_wanted) override;
    int64_t seek(int64_t ilp_position) override;
    int64_t size() override;

private:
    c_java_object dsc_object;
    jmethodID adsc_read;
    jmethodID adsc_seek = nullptr;
    jmethodID adsc_size = nullptr;
};

/** Bytes that a c_mediawriter_sink writes. */
class c_java_sink final : public ca_byte_sink
{
public:
    /** Throws as the constructor of c_java_source. */
    c_java_sink(const kiv::jni::c_jnienv &dsp_env, jobject avop_sink);

    std::span<uint8_t> memory() const noexcept override { return dsc_object.memory(); }
    bool has_failed() const noexcept override { return dsc_object.is_out_of_reach(); }
    void check() const override;
    void write(int32_t imp_count) override;
    int64_t seek(int64_t ilp_position) override;

private:
    c_java_object dsc_object;
    jmethodID adsc_write;
    jmethodID adsc_seek;
};
