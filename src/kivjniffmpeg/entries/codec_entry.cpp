#include "kivjniffmpeg/entries/codec_entry.h"

#include "jni/exceptions.h"

#include <algorithm>

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
    kiv::jni::c_jbytearray dsl_in(dsp_env, avop_in, imp_length, imp_offset);
    dsl_in.pin();
    std::ranges::copy(dsl_in.elements(), reinterpret_cast<jbyte *>(utl_room.data()));
    return utl_room.data();
}
