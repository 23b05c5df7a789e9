#include "kivjniffmpeg/entries/native_call.h"

#include <exception>
#include <new>

void deliver_current_exception(JNIEnv *adsp_env)
{
    try {
        throw;
    } catch (const kiv::jni::c_jniexception &dsl_exception) {
        dsl_exception.throw_java_exception(adsp_env);
    } catch (const std::bad_alloc &) {
        kiv::jni::throw_java_error(adsp_env, "thrown from native code", "java/lang/OutOfMemoryError",
                                   "could not find class java.lang.OutOfMemoryError");
    } catch (const std::exception &dsl_exception) {
        kiv::jni::throw_java_error(adsp_env, dsl_exception.what());
    } catch (...) {
        kiv::jni::throw_java_error(adsp_env, nullptr);
    }
}
