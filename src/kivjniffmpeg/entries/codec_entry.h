/** @file What the exported functions of video and audio codecs have in common. */
#pragma once

#include "jni/array_holders.h"
#include "kivjniffmpeg/codecs/codec.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "kivjniffmpeg/formats/coded_stream.h"
#include "trace/trace.h"

#include <jni.h>

#include <cstdint>
#include <memory>

/** The codec of a handle. @throws c_ffmpeg_exception with the line number for a zero one */
template <class CODEC> CODEC *codec_of(jlong ilp_hcodec, int inp_line = 2302)
{
    return from_handle<CODEC>(ilp_hcodec, "ilp_hcodec == 0", inp_line);
}

/** Opens, closes or resets. */
template <class CODEC> jboolean change_state(JNIEnv *adsp_env, jlong ilp_codec, bool (c_codec::*adsp_operation)())
{
    return enter_library(adsp_env, [&](kiv::jni::c_jnienv &) -> jboolean {
        return (codec_of<CODEC>(ilp_codec)->*adsp_operation)() ? JNI_TRUE : JNI_FALSE;
    });
}

template <class CODEC> jstring name_of(JNIEnv *adsp_env, jlong ilp_codec)
{
    return enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) -> jstring {
        return dsp_env.new_jstring_utf(codec_of<CODEC>(ilp_codec)->get_name().c_str());
    });
}

/**
 * Closes and deletes the codec, and with it the context if this was its last holder.
 *
 * @param dsp_trace the scope of the exported function, in which the lines are written
 * @param bp_trace_end whether a line reports the end of the context
 */
template <class CODEC> void delete_codec(JNIEnv *adsp_env, jlong ilp_codec, const c_trace &dsp_trace, bool bp_trace_end)
{
    enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) {
        std::unique_ptr<c_codec> dsl_codec(codec_of<CODEC>(ilp_codec));
        c_ffmpeg *adsl_ffmpeg = dsl_codec->get_ffmpeg();
        adsl_ffmpeg->add_holder(); // the last line below reports on it
        dsl_codec->close();
        dsl_codec.reset();
        if (bp_trace_end && adsl_ffmpeg->has_one_holder())
            TRACE_LINE_IN(dsp_trace, im_level_debug, "%s#%s(): destroy ffmpeg structure%s", "");
        const int32_t iml_counter = c_ffmpeg::drop_holder(adsl_ffmpeg, dsp_env);
        TRACE_LINE_IN(dsp_trace, im_level_debug, "%s#%s(): counter=%d", iml_counter);
    });
}

/** Java's StreamFields and extradata. @throws c_ffmpeg_exception when the array of numbers is missing or too short */
c_coded_stream read_coded_stream(const kiv::jni::c_jnienv &dsp_env, jlongArray avop_stream, jbyteArray avop_extradata);

/**
 * Copies the caller's bytes into memory with FFmpeg's padding behind them.
 *
 * @return null when there are none
 * @throws c_ffmpeg_exception when the bytes are not within the array
 */
uint8_t *copy_input(const kiv::jni::c_jnienv &dsp_env, c_padded_bytes &dsp_memory, jbyteArray avop_in,
                    int32_t imp_offset, int32_t imp_length);
