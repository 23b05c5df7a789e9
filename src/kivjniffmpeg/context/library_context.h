/** @file The library context behind Java's handle, and the registration of the threads that are inside a call. */
#pragma once

#include "jni/jnienv.h"
#include "memory/countable.h"
#include "memory/mutex.h"

#include <jni.h>

#include <mutex>

class c_register_threadlocal_env;

/**
 * What one n_init creates: the Java classes, objects and methods that the library calls back.
 *
 * Counted: Java holds one reference until n_close, and each codec, reader and converter holds one. The count changes
 * only under the library mutex. The last holder calls destroy() with its environment and deletes the object.
 */
class c_ffmpeg : public kiv::memory::c_countable
{
public:
    /** The Java methods that the library calls. */
    struct dsd_methods
    {
        jmethodID adsc_int_value;    /**< Integer.intValue() */
        jmethodID adsc_alloc_buffer; /**< static m_vcodec_alloc_buffer */
        jmethodID adsc_free_buffer;  /**< static m_vcodec_free_buffer */
        jmethodID adsc_print_info;   /**< print_info of the log receiver */
    };

    c_ffmpeg();
    virtual ~c_ffmpeg();
    c_ffmpeg(const c_ffmpeg &) = delete;
    c_ffmpeg &operator=(const c_ffmpeg &) = delete;

    /** Looks up the methods. @throws kiv::jni::c_jniexception with the name of the look-up that fails */
    void find_methods(const kiv::jni::c_jnienv &dsp_env, jclass avop_api_class);

    /** Makes global references, and sends every trace line to the receiver (null for none) from now on. */
    void take_references(const kiv::jni::c_jnienv &dsp_env, jclass avop_api_class, jobject avop_receiver);

    /** Removes the receiver of trace lines and deletes the global references. Called once, by the last holder. */
    void destroy(const kiv::jni::c_jnienv &dsp_env);

    /** Stores Java's log level. It filters nothing, because Java gets the level of every line. */
    void init_logging(int32_t imp_level);

    const dsd_methods &methods() const noexcept { return dsc_methods; }
    jclass api_class() const noexcept { return static_cast<jclass>(avoc_api_class); }
    jclass object_class() const noexcept { return static_cast<jclass>(avoc_jobject_class); }

    /**
     * Keeps the Java object of the codec that was created last, for the buffer callbacks' calls to Java.
     *
     * @param avp_owner the codec, as forget_vcodec_object names it
     */
    void set_vcodec_object(const kiv::jni::c_jnienv &dsp_env, jobject avop_object, const void *avp_owner);
    /** Releases the object if it is that of this codec, which is being deleted. */
    void forget_vcodec_object(const kiv::jni::c_jnienv &dsp_env, const void *avp_owner);
    /** A local reference to the object, or null. */
    jobject vcodec_object(const kiv::jni::c_jnienv &dsp_env) const;

    /** Adds a reference under the library mutex. */
    void add_holder();
    /** Whether the caller's reference is the only one. */
    bool has_one_holder() const;
    /**
     * Releases a reference under the library mutex; the last one destroys and deletes the context.
     *
     * @param dsp_env the calling thread's environment, which deletes the Java references
     * @return how many references there were before; after 1 the context does not exist any more
     */
    static int32_t drop_holder(c_ffmpeg *adsp_ffmpeg, const kiv::jni::c_jnienv &dsp_env);

    /** Start-up: creates the library mutex and the key of the thread registration. */
    static void static_init();

    /** Guards the loading of FFmpeg and the reference counts. Never held while Java or FFmpeg may call the library. */
    static c_mutex &library_mutex();

    /** Registers the calling thread; null clears. @throws kiv::jni::c_jniexception "pthread_setspecific failed" */
    static void register_threadlocal_env(c_register_threadlocal_env *adsp_registration);
    /** The calling thread's registration, or null. */
    static c_register_threadlocal_env *thread_registration() noexcept;
    /** The environment of the Java call that the calling thread is in, or null. */
    static JNIEnv *get_thread_env() noexcept;

private:
    void delete_references(const kiv::jni::c_jnienv &dsp_env) noexcept;

    jobject avoc_jobject_class = nullptr;
    jobject avoc_jinteger_class = nullptr;
    jobject avoc_api_class = nullptr;
    jobject avoc_info_object = nullptr;
    dsd_methods dsc_methods{};
    int32_t imc_log_level = 0;

    mutable std::mutex dsc_vcodec_object_lock; // codecs on several threads use the field
    jobject avoc_vcodec_object = nullptr;
    const void *avc_vcodec_owner = nullptr;
};

/**
 * Registers the calling thread's environment for one call, so that FFmpeg's callbacks and trace lines find it.
 *
 * Calls nest when Java calls the library from a callback; the outer registration holds again afterwards.
 */
class c_register_threadlocal_env
{
public:
    explicit c_register_threadlocal_env(JNIEnv *adsp_env);
    ~c_register_threadlocal_env();
    c_register_threadlocal_env(const c_register_threadlocal_env &) = delete;
    c_register_threadlocal_env &operator=(const c_register_threadlocal_env &) = delete;

    JNIEnv *env() const noexcept { return adsc_env; }

private:
    JNIEnv *adsc_env;
    c_register_threadlocal_env *adsc_outer;
};

/** A reference to a context, held by a codec, a reader or a converter. */
class c_ffmpeg_reference
{
public:
    explicit c_ffmpeg_reference(c_ffmpeg *adsp_ffmpeg) : adsc_ffmpeg(adsp_ffmpeg) { adsc_ffmpeg->add_holder(); }
    /** Runs inside an exported function, whose environment deletes the context's references after the last holder. */
    ~c_ffmpeg_reference();
    c_ffmpeg_reference(const c_ffmpeg_reference &) = delete;
    c_ffmpeg_reference &operator=(const c_ffmpeg_reference &) = delete;

    c_ffmpeg *get() const noexcept { return adsc_ffmpeg; }

private:
    c_ffmpeg *adsc_ffmpeg;
};
