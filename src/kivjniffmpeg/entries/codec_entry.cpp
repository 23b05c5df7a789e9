#include "kivjniffmpeg/entries/codec_entry.h"

#include "jni/exceptions.h"
#include "jni/java_arrays.h"

#include <algorithm>
#include <cstdint>

c_coded_stream read_coded_stream(const kiv::jni::c_jnienv &dsp_env, jlongArray avop_stream, jbyteArray avop_extradata)
{
    c_coded_stream::values aill_values{};
    const auto iml_size = static_cast<jsize>(aill_values.size());
    if (avop_stream == nullptr || dsp_env.get_array_length(avop_stream) < iml_size)
        throw_ffmpeg_exception(2713, "array of a stream is null or shorter than ", iml_size);
    dsp_env.get_array_region(avop_stream, 0, iml_size, aill_values.data());
    kiv::jni::c_jbytearray dsl_extradata(dsp_env, avop_extradata, INT32_MAX);
    return {aill_values, kiv::jni::from_java(dsl_extradata, dsl_extradata.size())};
}

uint8_t *copy_input(const kiv::jni::c_jnienv &dsp_env, c_padded_bytes &dsp_memory, jbyteArray avop_in,
                    int32_t imp_offset, int32_t imp_length)
{
    if (avop_in == nullptr || imp_length <= 0)
        return nullptr;
    const jsize iml_array_length = dsp_env.get_array_length(avop_in);
    if (imp_offset < 0 || imp_offset > iml_array_length || imp_length > iml_array_length - imp_offset)
        throw_ffmpeg_exception(2409, "packet lies outside of its array: offset=", imp_offset, " length=", imp_length,
                               " array=", iml_array_length);
    const auto utl_room = dsp_memory.prepare(static_cast<size_t>(imp_length));
    dsp_env.get_array_region(avop_in, imp_offset, imp_length, reinterpret_cast<jbyte *>(utl_room.data()));
    return utl_room.data();
}
