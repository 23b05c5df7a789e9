/** @file New Java arrays of what native code has. */
#pragma once

#include "jni/jnienv.h"

#include <cstdint>
#include <span>

namespace kiv::jni
{

/** Copies the values into a new array of the same length. @throws c_jniexception */
inline jintArray to_java(const c_jnienv &dsp_env, std::span<const jint> aimp_values)
{
    const auto iml_length = static_cast<jsize>(aimp_values.size());
    const jintArray avol_array = dsp_env.new_jint_array(iml_length);
    dsp_env.set_array_region(avol_array, 0, iml_length, aimp_values.data());
    return avol_array;
}

/** Copies the values into a new array of the same length. @throws c_jniexception */
inline jlongArray to_java(const c_jnienv &dsp_env, std::span<const jlong> ailp_values)
{
    const auto iml_length = static_cast<jsize>(ailp_values.size());
    const jlongArray avol_array = dsp_env.new_jlong_array(iml_length);
    dsp_env.set_array_region(avol_array, 0, iml_length, ailp_values.data());
    return avol_array;
}

/** Copies the bytes into a new array of the same length, which may be 0. @throws c_jniexception */
inline jbyteArray to_java(const c_jnienv &dsp_env, std::span<const uint8_t> utp_bytes)
{
    const auto iml_length = static_cast<jsize>(utp_bytes.size());
    const jbyteArray avol_array = dsp_env.new_jbyte_array(iml_length);
    if (iml_length > 0)
        dsp_env.set_array_region(avol_array, 0, iml_length, reinterpret_cast<const jbyte *>(utp_bytes.data()));
    return avol_array;
}

} // namespace kiv::jni
