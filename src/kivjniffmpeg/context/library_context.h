/** @file The library context behind Java's handle, and the registration of the thread that is inside a call. */
#pragma once

#include "jni/jnienv.h"
#include "memory/countable.h"
#include "memory/mutex.h"

#include <jni.h>

#include <mutex>

class c_register_threadlocal_env;

/**
 * What one n_init created: the Java classes, objects and methods that the library calls back.
 *
 * Counted: Java holds one reference until n_close, each codec and each reader one more. The count changes only under the
 * library mutex. The last holder calls destroy() with its environment, then the object goes.
 */
class c_ffmpeg : public kiv::memory::c_countable
{
public:
    /** Prescribed methods of the class that n_init gets. */
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

    /** Looks up what the library calls back. @throws kiv::jni::c_jniexception named after the failing look-up */
    void find_methods(const kiv::jni::c_jnienv &dsp_env, jclass avop_api_class);

    /** Makes the references global, and the receiver (null for none) the one that gets every trace line from now on. */
    void take_references(const kiv::jni::c_jnienv &dsp_env, jclass avop_api_class, jobject avop_receiver);

    /** Silences trace lines to Java and deletes the global references. Called once, by the last holder. */
    void destroy(const kiv::jni::c_jnienv &dsp_env);

    /** Keeps the level that Java named. Nothing is filtered by it: every line carries its own level. */
    void init_logging(int32_t imp_level);

    const dsd_methods &methods() const noexcept { return dsc_methods; }
    jclass api_class() const noexcept { return static_cast<jclass>(avoc_api_class); }
    jclass object_class() const noexcept { return static_cast<jclass>(avoc_jobject_class); }

    /**
     * Remembers the Java object of the codec created last; buffer callbacks pass it to Java.
     *
     * @param avp_owner identifies the codec for forget_vcodec_object
     */
    void set_vcodec_object(const kiv::jni::c_jnienv &dsp_env, jobject avop_object, const void *avp_owner);
    /** Forgets the object if it still is that of this codec, which is being deleted. */
    void forget_vcodec_object(const kiv::jni::c_jnienv &dsp_env, const void *avp_owner);
    /** A local reference to the object, or null. */
    jobject vcodec_object(const kiv::jni::c_jnienv &dsp_env) const;

    /** Takes a reference under the library mutex. */
    void add_holder();
    /** Whether the caller's reference is the only one. */
    bool has_one_holder() const;
    /**
     * Gives a reference back under the library mutex; the last one destroys and deletes the context.
     *
     * @param dsp_env environment of the calling thread, to delete the Java references with
     * @return the references before this one was dropped. When it is 1 the context is gone.
     */
    static int32_t drop_holder(c_ffmpeg *adsp_ffmpeg, const kiv::jni::c_jnienv &dsp_env);

    /** Start-up: creates the library mutex anew and the key of the thread registration. */
    static void static_init();

    /** The library mutex: loading, and the reference counts. Never held while Java or FFmpeg may call us. */
    static c_mutex &library_mutex();

    /** Registers, or with null clears. @throws kiv::jni::c_jniexception "pthread_setspecific failed" */
    static void register_threadlocal_env(c_register_threadlocal_env *adsp_registration);
    /** The registration of this thread, or null. */
    static c_register_threadlocal_env *thread_registration() noexcept;
    /** The environment of the Java call that this thread is in, or null. */
    static JNIEnv *get_thread_env() noexcept;

private:
    void delete_references(const kiv::jni::c_jnienv &dsp_env) noexcept;

    jobject avoc_jobject_class = nullptr;
    jobject avoc_jinteger_class = nullptr;
    jobject avoc_api_class = nullptr;
    jobject avoc_info_object = nullptr;
    dsd_methods dsc_methods{};
    int32_t imc_log_level = 0;

    mutable std::mutex dsc_vcodec_object_lock; // codecs of several threads share the field
    jobject avoc_vcodec_object = nullptr;
    const void *avc_vcodec_owner = nullptr;
};

/**
 * Registers the calling thread's environment for one call, so that code below FFmpeg and trace lines find it.
 *
 * Calls nest when Java calls the library from a callback: the outer registration is back in force afterwards.
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

/** A reference to a context, held by a codec or a reader. */
class c_ffmpeg_reference
{
public:
    explicit c_ffmpeg_reference(c_ffmpeg *adsp_ffmpeg) : adsc_ffmpeg(adsp_ffmpeg) { adsc_ffmpeg->add_holder(); }
    /** Runs inside an entry point, whose environment deletes the context if this was its last holder. */
    ~c_ffmpeg_reference();
    c_ffmpeg_reference(const c_ffmpeg_reference &) = delete;
    c_ffmpeg_reference &operator=(const c_ffmpeg_reference &) = delete;

    c_ffmpeg *get() const noexcept { return adsc_ffmpeg; }

private:
    c_ffmpeg *adsc_ffmpeg;
};
