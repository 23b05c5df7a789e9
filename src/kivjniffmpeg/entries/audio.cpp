// The exported functions of audio codecs.

#include "jni/array_holders.h"
#include "jni/exceptions.h"
#include "kivjniffmpeg/codecs/audio_codec.h"
#include "kivjniffmpeg/entries/codec_entry.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_c_multimediaapi_ffmpeg.h>
#include <kiv_media_ffmpeg_natives_c_codecs_ffmpeg.h>
#include <natives/AudioFormatLayout.h>
#include <natives/AudioParams.h>
#include <natives/AudioStatus.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <utility>

using kiv::jni::c_jbytearray;
using kiv::jni::c_jintarray;
using kiv::jni::c_jnienv;
namespace AudioParams = natives::AudioParams;
namespace AudioStatus = natives::AudioStatus;

namespace
{

std::unique_ptr<c_aformat> read_format(const c_jnienv &dsp_env, jintArray avop_format, jbyteArray avop_header)
{
    if (avop_format == nullptr)
        throw_ffmpeg_exception(2821, "audio format == NULL");
    c_jintarray dsl_format(dsp_env, avop_format, natives::AudioFormatLayout::SIZE);
    c_jbytearray dsl_header(dsp_env, avop_header, INT32_MAX);
    return c_aformat::create_from_java_array(dsl_format, dsl_header);
}

/** Makes an open codec; null when FFmpeg refuses to open it. */
jlong create_codec(const c_jnienv &dsp_env, c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_src,
                   std::unique_ptr<c_aformat> dsp_dst)
{
    auto dsl_codec = std::make_unique<c_audiocodec>(adsp_ffmpeg, std::move(dsp_src), std::move(dsp_dst));
    if (!dsl_codec->open()) {
        dsl_codec->close();
        return 0;
    }
    if (dsp_env.exception_pending()) // the receiver of trace lines threw: Java would not get the handle
        throw kiv::jni::c_jniexception("print_info");
    return to_handle(dsl_codec.release());
}

/** Java's params array, read once and written once. Elements that it does not have are 0 and are not written. */
class c_audio_params
{
public:
    c_audio_params(const c_jnienv &dsp_env, jintArray avop_params, const c_audiocodec &dsp_codec)
        : dsc_env(dsp_env),
          avoc_params(avop_params),
          dsc_codec(dsp_codec),
          imc_count(avop_params == nullptr ? 0
                                           : std::min<jsize>(dsp_env.get_array_length(avop_params),
                                                             dsp_codec.is_continuous() ? AudioParams::SIZE_WITH_SKIPPED
                                                                                       : AudioParams::SIZE))
    {
        if (imc_count > 0)
            dsc_env.get_array_region(avoc_params, 0, imc_count, aimc_values.data());
    }

    /** @param imp_index one of AudioParams */
    jint &operator[](int32_t imp_index) noexcept { return aimc_values[static_cast<size_t>(imp_index)]; }

    void write()
    {
        const int64_t ill_skipped = dsc_codec.skipped();
        (*this)[AudioParams::SKIPPED_LOW] = static_cast<jint>(ill_skipped);
        (*this)[AudioParams::SKIPPED_HIGH] = static_cast<jint>(ill_skipped >> 32);
        if (imc_count > 0)
            dsc_env.set_array_region(avoc_params, 0, imc_count, aimc_values.data());
    }

private:
    const c_jnienv &dsc_env;
    jintArray avoc_params;
    const c_audiocodec &dsc_codec;
    jsize imc_count;
    std::array<jint, AudioParams::SIZE_WITH_SKIPPED> aimc_values{};
};

/** Copies one buffer into the output array. @return false when the array is shorter than the caller said */
bool copy_out(const c_jnienv &dsp_env, const ca_ffmpeg_buffer &dsp_buffer, jbyteArray avop_out, int64_t ilp_offset)
{
    if (avop_out == nullptr)
        return dsp_buffer.copy_to(nullptr, 0);
    const int64_t ill_length = dsp_env.get_array_length(avop_out);
    if (ilp_offset < 0 || ilp_offset > ill_length || dsp_buffer.data_size() > ill_length - ilp_offset)
        return false;
    if (dsp_buffer.data_size() > 0)
        dsp_env.set_array_region(avop_out, static_cast<jsize>(ilp_offset), dsp_buffer.data_size(),
                                 reinterpret_cast<const jbyte *>(dsp_buffer.data() + dsp_buffer.data_offset()));
    return true;
}

jbyteArray export_format(JNIEnv *adsp_env, jlong ilp_codec,
                         const c_aformat &(c_audiocodec::*adsp_getter)() const noexcept)
{
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        return (codec_of<c_audiocodec>(ilp_codec)->*adsp_getter)().export_to_java_array(dsp_env);
    });
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1create_1acodec_1to_1pcm(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jintArray avop_format, jbyteArray avop_header)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2831);
        auto dsl_src = read_format(dsp_env, avop_format, avop_header);
        TRACE_LINE(im_level_debug, "%s#%s(): src_format: %s", dsl_src->to_string().c_str());
        auto dsl_dst = c_aformat::pcm16(dsl_src->channels(), dsl_src->sample_rate());
        return create_codec(dsp_env, adsl_ffmpeg, std::move(dsl_src), std::move(dsl_dst));
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1codecs_1ffmpeg_n_1create_1acodec(JNIEnv *adsp_env, jclass,
                                                                                          jlong ilp_hffmpeg,
                                                                                          jlongArray avop_stream,
                                                                                          jbyteArray avop_extradata)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2712);
        auto dsl_src = c_aformat::of_stream(read_coded_stream(dsp_env, avop_stream, avop_extradata));
        TRACE_LINE(im_level_debug, "%s#%s(): src_format: %s", dsl_src->to_string().c_str());
        auto dsl_dst = c_aformat::pcm16(dsl_src->channels(), dsl_src->sample_rate());
        return create_codec(dsp_env, adsl_ffmpeg, std::move(dsl_src), std::move(dsl_dst));
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1create_1acodec_1from_1pcm(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jintArray avop_format, jbyteArray avop_header)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2843);
        auto dsl_dst = read_format(dsp_env, avop_format, avop_header);
        TRACE_LINE(im_level_debug, "%s#%s(): dst_format: %s", dsl_dst->to_string().c_str());
        auto dsl_src = c_aformat::pcm16(dsl_dst->channels(), dsl_dst->sample_rate());
        return create_codec(dsp_env, adsl_ffmpeg, std::move(dsl_src), std::move(dsl_dst));
    });
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1open(JNIEnv *adsp_env, jclass,
                                                                                          jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_audiocodec>(adsp_env, ilp_codec, &c_codec::open);
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1close(JNIEnv *adsp_env, jclass,
                                                                                           jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_audiocodec>(adsp_env, ilp_codec, &c_codec::close);
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1reset(JNIEnv *adsp_env, jclass,
                                                                                           jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_audiocodec>(adsp_env, ilp_codec, &c_codec::reset);
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1get_1name(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return name_of<c_audiocodec>(adsp_env, ilp_codec);
}

JNIEXPORT jint JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1process(
    JNIEnv *adsp_env, jclass, jlong ilp_codec, jbyteArray avop_in, jbyteArray avop_out, jintArray avop_params)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jint {
        c_audiocodec &dsl_codec = *codec_of<c_audiocodec>(ilp_codec);
        c_output_queue &dsl_queue = dsl_codec.output();
        c_audio_params dsl_params(dsp_env, avop_params, dsl_codec);
        const jint iml_length = dsl_params[AudioParams::LENGTH];
        const jint iml_room = dsl_params[AudioParams::OUT_LENGTH];
        const int64_t ill_timestamp =
            timestamp_of(dsl_params[AudioParams::TIME_LOW], dsl_params[AudioParams::TIME_HIGH]);
        c_codec::dsd_out_params dsl_out{};
        dsl_out.ilc_timestamp = ill_timestamp;
        jint iml_result = 0;
        // Input is taken only when the caller has fetched what came before.
        if (dsl_queue.empty()) {
            uint8_t *autl_in =
                copy_input(dsp_env, dsl_codec.input(), avop_in, dsl_params[AudioParams::OFFSET], iml_length);
            if (autl_in == nullptr && iml_length > 0)
                throw_ffmpeg_exception(2861, "input array == NULL");
            iml_result =
                dsl_codec.process2(autl_in, iml_length, dsl_params[AudioParams::FLAGS],
                                   static_cast<uint64_t>(ill_timestamp), dsl_out, static_cast<uint32_t>(iml_room));
        }
        if (dsl_out.ilc_timestamp != ill_timestamp)
            throw_ffmpeg_exception(2866, "timestamp out corrupt");
        if (static_cast<uint32_t>(dsl_out.imc_processed_len) > static_cast<uint32_t>(iml_length))
            throw_ffmpeg_exception(2868, "corrupt processed_len=", dsl_out.imc_processed_len);
        dsl_params[AudioParams::OFFSET] += dsl_out.imc_processed_len;
        dsl_params[AudioParams::LENGTH] -= dsl_out.imc_processed_len;
        if (avop_out == nullptr)
            dsl_params.write(); // copying into no array throws, and Java then sees what of its input was consumed
        if (iml_room < dsl_queue.deliverable()) {
            dsl_params[AudioParams::OUT_OFFSET] = 0;
            dsl_params[AudioParams::OUT_LENGTH] = dsl_queue.deliverable();
            dsl_params.write();
            return AudioStatus::OUTPUT_TOO_SMALL;
        }
        jint iml_written = 0;
        while (!dsl_queue.empty() && dsl_queue.front_size() <= iml_room - iml_written) {
            const c_framebuffer_reference dsl_buffer = dsl_queue.popfront();
            if (!copy_out(dsp_env, *dsl_buffer.get(), avop_out,
                          int64_t{dsl_params[AudioParams::OUT_OFFSET]} + iml_written)) {
                dsl_params.write();
                return AudioStatus::OUTPUT_LOST;
            }
            iml_written += dsl_buffer->data_size();
        }
        TRACE_LINE(im_level_debug, "%s#%s(): uml_cur_length_out=%d queue.length=%lu", iml_written,
                   static_cast<unsigned long>(dsl_queue.size()));
        dsl_params[AudioParams::OUT_LENGTH] = iml_written;
        dsl_params[AudioParams::CALL_FLAGS] = dsl_out.imc_flags;
        dsl_params[AudioParams::CALL_TIME_LOW] = static_cast<jint>(dsl_out.ilc_timestamp);
        dsl_params[AudioParams::CALL_TIME_HIGH] = static_cast<jint>(dsl_out.ilc_timestamp >> 32);
        dsl_params.write();
        return iml_result | (dsl_out.imc_processed_len < iml_length ? AudioStatus::INPUT_LEFT : 0);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1acodec_1delete(JNIEnv *adsp_env, jclass,
                                                                                        jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    delete_codec<c_audiocodec>(adsp_env, ilp_codec, dsl_trace, true);
}

JNIEXPORT jbyteArray JNICALL
Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1get_1acodec_1src_1format(JNIEnv *adsp_env, jclass, jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return export_format(adsp_env, ilp_codec, &c_audiocodec::get_src_format);
}

JNIEXPORT jbyteArray JNICALL
Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1get_1acodec_1dst_1format(JNIEnv *adsp_env, jclass, jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return export_format(adsp_env, ilp_codec, &c_audiocodec::get_dst_format);
}
