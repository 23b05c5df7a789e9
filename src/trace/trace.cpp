#include "trace/trace.h"

#include "trace/exception_aside.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace
{

constexpr size_t ul_line_size = 512;

std::atomic<JNIEnv *(*)()> g_environment_hook{nullptr};
std::atomic<bool> g_silent{false};

// The lock keeps the receiver and its method together. It is held to make a local reference, never during a call.
std::mutex g_receiver_lock;
std::atomic<jobject> g_log_receiver{nullptr};
jmethodID g_print_info_method = nullptr;

/** Bytes of the UTF-8 sequence that starts here; 0 when it is cut or not valid in Java's modified UTF-8. */
size_t sequence_length(const unsigned char *autp_text)
{
    const auto is_follower = [autp_text](size_t ulp_index) { return (autp_text[ulp_index] & 0xC0) == 0x80; };
    if (autp_text[0] < 0x80)
        return 1;
    if (autp_text[0] >= 0xC2 && autp_text[0] < 0xE0 && is_follower(1))
        return 2;
    if ((autp_text[0] & 0xF0) == 0xE0 && is_follower(1) && is_follower(2))
        return 3;
    return 0;
}

/** A line may hold any four-character code, but NewStringUTF needs well-formed text: other bytes become '?'. */
void make_well_formed(char *strp_line)
{
    auto *autl_at = reinterpret_cast<unsigned char *>(strp_line);
    while (*autl_at != 0) {
        const size_t ull_length = sequence_length(autl_at);
        if (ull_length == 0)
            *autl_at = '?';
        autl_at += ull_length == 0 ? 1 : ull_length;
    }
}

} // namespace

void trace_set_environment_hook(JNIEnv *(*adsp_hook)())
{
    g_environment_hook = adsp_hook;
}

JNIEnv *trace_environment() noexcept
{
    JNIEnv *(*const adsl_hook)() = g_environment_hook.load(std::memory_order_relaxed);
    return adsl_hook == nullptr ? nullptr : adsl_hook();
}

bool trace_has_receiver() noexcept
{
    return g_log_receiver.load(std::memory_order_relaxed) != nullptr;
}

void trace_set_receiver(jobject avop_receiver, jmethodID adsp_method)
{
    const std::lock_guard dsl_lock(g_receiver_lock);
    g_print_info_method = adsp_method;
    g_log_receiver = avop_receiver;
}

void trace_forget_receiver()
{
    trace_set_receiver(nullptr, nullptr);
}

void trace_silence() noexcept
{
    g_silent = true;
}

bool trace_is_silent() noexcept
{
    return g_silent.load(std::memory_order_relaxed);
}

void trace_to_output(const char *strp_format, ...)
{
    va_list dsl_arguments;
    va_start(dsl_arguments, strp_format);
    std::vprintf(strp_format, dsl_arguments);
    va_end(dsl_arguments);
    std::fflush(stdout);
}

void trace_print(JNIEnv *adsp_env, int32_t imp_level, const char *strp_format, ...)
{
    char byrl_line[ul_line_size];
    va_list dsl_arguments;
    va_start(dsl_arguments, strp_format);
    std::vsnprintf(byrl_line, sizeof byrl_line, strp_format, dsl_arguments);
    va_end(dsl_arguments);
    make_well_formed(byrl_line);

    const kiv::jni::c_pending_exception_aside dsl_aside(adsp_env);
    jobject avol_receiver = nullptr;
    jmethodID adsl_method = nullptr;
    {
        const std::lock_guard dsl_lock(g_receiver_lock);
        adsl_method = g_print_info_method;
        if (const jobject avol_global = g_log_receiver; avol_global != nullptr && adsl_method != nullptr)
            avol_receiver = adsp_env->NewLocalRef(avol_global);
    }
    if (avol_receiver == nullptr)
        return;
    // Without memory for the string the line is dropped and the OutOfMemoryError stays pending.
    if (const jstring avol_line = adsp_env->NewStringUTF(byrl_line); avol_line != nullptr) {
        adsp_env->CallVoidMethod(avol_receiver, adsl_method, static_cast<jint>(imp_level), avol_line);
        adsp_env->ExceptionCheck(); // an exception of the receiver stays pending for the caller
        adsp_env->DeleteLocalRef(avol_line);
    }
    adsp_env->DeleteLocalRef(avol_receiver);
}
