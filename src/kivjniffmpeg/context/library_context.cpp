#include "kivjniffmpeg/context/library_context.h"

#include "trace/trace.h"

#include <pthread.h>

#include <optional>

using kiv::jni::c_jnienv;

namespace
{

c_mutex s_library_mutex;
std::optional<pthread_key_t> s_env_key; // empty before start-up

} // namespace

c_ffmpeg::c_ffmpeg()
{
    TRACE_FUNCTION(3);
}

c_ffmpeg::~c_ffmpeg()
{
    TRACE_FUNCTION(3);
}

void c_ffmpeg::find_methods(const c_jnienv &dsp_env, jclass avop_api_class)
{
    TRACE_FUNCTION(3);
    const kiv::jni::c_local_ref dsl_integer(dsp_env.raw(), dsp_env.find_class("java/lang/Integer"));
    dsc_methods.adsc_int_value = dsp_env.get_method_id(dsl_integer.get(), "intValue", "()I");
    dsc_methods.adsc_alloc_buffer = dsp_env.get_static_method_id(avop_api_class, "m_vcodec_alloc_buffer",
                                                                 "(Ljava/lang/Object;[I[I[Ljava/lang/Object;)Z");
    dsc_methods.adsc_free_buffer = dsp_env.get_static_method_id(avop_api_class, "m_vcodec_free_buffer",
                                                                "(Ljava/lang/Object;[Ljava/lang/Object;)V");
    dsc_methods.adsc_print_info = dsp_env.get_method_id(avop_api_class, "print_info", "(ILjava/lang/String;)V");
}

void c_ffmpeg::take_references(const c_jnienv &dsp_env, jclass avop_api_class, jobject avop_receiver)
{
    TRACE_FUNCTION(3);
    // print_info is a method of this class: calling it on an object of another class would be undefined.
    if (avop_receiver != nullptr && !dsp_env.raw()->IsInstanceOf(avop_receiver, avop_api_class))
        throw_ffmpeg_exception(2127, "log receiver is not an instance of the api class");
    const kiv::jni::c_local_ref dsl_object(dsp_env.raw(), dsp_env.find_class("java/lang/Object"));
    const kiv::jni::c_local_ref dsl_integer(dsp_env.raw(), dsp_env.find_class("java/lang/Integer"));
    try {
        avoc_jobject_class = dsp_env.NewGlobalRef(dsl_object.get());
        avoc_jinteger_class = dsp_env.NewGlobalRef(dsl_integer.get());
        avoc_api_class = dsp_env.NewGlobalRef(avop_api_class);
        avoc_info_object = dsp_env.NewGlobalRef(avop_receiver);
    } catch (...) {
        delete_references(dsp_env);
        throw;
    }
    trace_set_receiver(avoc_info_object, dsc_methods.adsc_print_info);
}

void c_ffmpeg::destroy(const c_jnienv &dsp_env)
{
    TRACE_FUNCTION(3);
    trace_forget_receiver();
    delete_references(dsp_env);
}

void c_ffmpeg::delete_references(const c_jnienv &dsp_env) noexcept
{
    dsp_env.delete_global_ref(avoc_info_object);
    dsp_env.delete_global_ref(avoc_api_class);
    dsp_env.delete_global_ref(avoc_jinteger_class);
    dsp_env.delete_global_ref(avoc_jobject_class);
    dsp_env.delete_global_ref(avoc_vcodec_object);
}

void c_ffmpeg::init_logging(int32_t imp_level)
{
    TRACE_FUNCTION(3);
    imc_log_level = imp_level;
}

void c_ffmpeg::set_vcodec_object(const c_jnienv &dsp_env, jobject avop_object, const void *avp_owner)
{
    jobject avol_object = dsp_env.NewGlobalRef(avop_object);
    {
        const std::lock_guard dsl_lock(dsc_vcodec_object_lock);
        std::swap(avoc_vcodec_object, avol_object);
        avc_vcodec_owner = avp_owner;
    }
    dsp_env.delete_global_ref(avol_object);
}

void c_ffmpeg::forget_vcodec_object(const c_jnienv &dsp_env, const void *avp_owner)
{
    jobject avol_object = nullptr;
    {
        const std::lock_guard dsl_lock(dsc_vcodec_object_lock);
        if (avc_vcodec_owner == avp_owner) {
            std::swap(avoc_vcodec_object, avol_object);
            avc_vcodec_owner = nullptr;
        }
    }
    dsp_env.delete_global_ref(avol_object);
}

jobject c_ffmpeg::vcodec_object(const c_jnienv &dsp_env) const
{
    const std::lock_guard dsl_lock(dsc_vcodec_object_lock);
    return avoc_vcodec_object == nullptr ? nullptr : dsp_env.raw()->NewLocalRef(avoc_vcodec_object);
}

void c_ffmpeg::add_holder()
{
    const c_mutex_lock dsl_lock(s_library_mutex);
    add_reference();
}

bool c_ffmpeg::has_one_holder() const
{
    const c_mutex_lock dsl_lock(s_library_mutex);
    return reference_count() == 1;
}

int32_t c_ffmpeg::drop_holder(c_ffmpeg *adsp_ffmpeg, const c_jnienv &dsp_env)
{
    int32_t iml_left = 0;
    {
        const c_mutex_lock dsl_lock(s_library_mutex);
        iml_left = adsp_ffmpeg->drop_reference();
    }
    if (iml_left == 0) {
        if (dsp_env.raw() != nullptr)
            adsp_ffmpeg->destroy(dsp_env);
        delete adsp_ffmpeg;
    }
    return iml_left + 1;
}

void c_ffmpeg::static_init()
{
    TRACE_FUNCTION(3);
    s_library_mutex.init();
    pthread_key_t uml_key = 0;
    if (pthread_key_create(&uml_key, nullptr) == 0)
        s_env_key = uml_key;
    trace_set_environment_hook(&c_ffmpeg::get_thread_env);
}

c_mutex &c_ffmpeg::library_mutex()
{
    return s_library_mutex;
}

void c_ffmpeg::register_threadlocal_env(c_register_threadlocal_env *adsp_registration)
{
    TRACE_FUNCTION(3);
    // Before start-up there is no key. The call then fails at the library mutex, which does not exist either.
    if (s_env_key && pthread_setspecific(*s_env_key, adsp_registration) != 0)
        throw kiv::jni::c_jniexception("pthread_setspecific failed");
}

c_register_threadlocal_env *c_ffmpeg::thread_registration() noexcept
{
    return s_env_key ? static_cast<c_register_threadlocal_env *>(pthread_getspecific(*s_env_key)) : nullptr;
}

JNIEnv *c_ffmpeg::get_thread_env() noexcept
{
    const c_register_threadlocal_env *adsl_registration = thread_registration();
    return adsl_registration == nullptr ? nullptr : adsl_registration->env();
}

c_register_threadlocal_env::c_register_threadlocal_env(JNIEnv *adsp_env)
    : adsc_env(adsp_env), adsc_outer(c_ffmpeg::thread_registration())
{
    c_ffmpeg::register_threadlocal_env(this);
}

c_register_threadlocal_env::~c_register_threadlocal_env()
{
    try {
        c_ffmpeg::register_threadlocal_env(adsc_outer);
    } catch (const kiv::jni::c_jniexception &) {
        // Only the first registration of a thread may need memory; this one replaces it.
    }
}

c_ffmpeg_reference::~c_ffmpeg_reference()
{
    c_ffmpeg::drop_holder(adsc_ffmpeg, c_jnienv(c_ffmpeg::get_thread_env()));
}
