/** @file New Java arrays from native values, and native copies of whole Java arrays. */
#pragma once

#include "jni/array_holders.h"
#include "jni/exceptions.h"
#include "jni/jnienv.h"

#include <concepts>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <span>
#include <vector>

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

/** A new array of new strings, from texts that end with a zero; null for an empty one. @throws c_jniexception */
template <class TEXTS>
jobjectArray
to_java(const c_jnienv &dsp_env,
        const TEXTS &strp_texts) requires std::convertible_to<decltype(std::begin(strp_texts)->data()), const char *>
{
    const c_local_ref dsl_class(dsp_env.raw(), dsp_env.find_class("java/lang/String"));
    const jobjectArray avol_array =
        dsp_env.new_jobject_array(static_cast<jsize>(std::size(strp_texts)), dsl_class.get(), nullptr);
    for (jsize iml_index = -1; const auto &strl_text : strp_texts) {
        ++iml_index;
        if (*strl_text.data() == '\0')
            continue;
        const c_local_ref dsl_text(dsp_env.raw(), dsp_env.new_jstring_utf(strl_text.data()));
        dsp_env.set_jobject_array_element(avol_array, iml_index, dsl_text.get());
    }
    return avol_array;
}

/**
 * The first bytes of the array.
 *
 * @param imp_length how many
 * @throws std::bad_alloc for a negative length
 * @throws c_ffmpeg_exception when the array is shorter
 * @throws c_jniexception when the virtual machine has no memory for the array
 */
inline std::vector<uint8_t> from_java(c_jbytearray &dsp_array, int32_t imp_length)
{
    if (imp_length < 0)
        throw std::bad_array_new_length();
    if (imp_length > dsp_array.size())
        throw_ffmpeg_exception(1207, "an array of ", dsp_array.size(), " bytes is shorter than its length of ",
                               imp_length);
    std::vector<uint8_t> utl_bytes(static_cast<size_t>(imp_length));
    dsp_array.pin();
    if (!utl_bytes.empty())
        std::memcpy(utl_bytes.data(), dsp_array.elements().data(), utl_bytes.size());
    dsp_array.release();
    return utl_bytes;
}

} // namespace kiv::jni
