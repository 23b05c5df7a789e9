/** @file The characters of a Java string during one call. */
#pragma once

#include "jni/jnienv.h"

namespace kiv::jni
{

/** The modified UTF-8 of a string; null for a null string. */
class c_jstring
{
public:
    /** @throws c_jniexception "GetStringUTFChars" when the virtual machine has no memory for the characters */
    c_jstring(const c_jnienv &dsp_env, jstring avop_string) : adsc_env(dsp_env.raw()), avoc_string(avop_string)
    {
        if (avoc_string == nullptr)
            return;
        strc_characters = adsc_env->GetStringUTFChars(avoc_string, &bc_is_copy);
        if (strc_characters == nullptr)
            throw c_jniexception("GetStringUTFChars");
    }
    /** Releases the characters if they are a copy; the virtual machine's own need no release. */
    ~c_jstring()
    {
        if (bc_is_copy)
            adsc_env->ReleaseStringUTFChars(avoc_string, strc_characters);
    }
    c_jstring(const c_jstring &) = delete;
    c_jstring &operator=(const c_jstring &) = delete;

    const char *characters() const noexcept { return strc_characters; }

private:
    JNIEnv *adsc_env;
    jstring avoc_string;
    const char *strc_characters = nullptr;
    jboolean bc_is_copy = JNI_FALSE;
};

} // namespace kiv::jni
