// The exported functions of video decoders.

#include "jni/array_holders.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/codecs/picture_call.h"
#include "kivjniffmpeg/codecs/video_codec.h"
#include "kivjniffmpeg/entries/codec_entry.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_c_multimediaapi_ffmpeg.h>
#include <kiv_media_ffmpeg_natives_c_codecs_ffmpeg.h>
#include <kiv_media_ffmpeg_natives_c_pictures_ffmpeg.h>
#include <natives/ColorModelLayout.h>
#include <natives/PictureCall.h>
#include <natives/VideoParams.h>

#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

using kiv::jni::c_jbytearray;
using kiv::jni::c_jintarray;
using kiv::jni::c_jintarray_rw;
using kiv::jni::c_jnienv;
using kiv::jni::c_local_ref;
namespace PictureCall = natives::PictureCall;
namespace VideoParams = natives::VideoParams;

namespace
{

/** The elements of the params array that Java sets. */
struct dsd_packet_params
{
    int32_t imc_offset;
    int32_t imc_length;
    int32_t imc_flags;
    int64_t ilc_timestamp;
};

std::unique_ptr<c_vformat> read_format(const c_jnienv &dsp_env, jstring avop_subtype, jintArray avop_format,
                                       jbyteArray avop_extradata)
{
    if (avop_subtype == nullptr)
        throw_ffmpeg_exception(2311, "media subtype == NULL");
    if (avop_format == nullptr)
        throw_ffmpeg_exception(2312, "video format == NULL");
    const kiv::jni::c_jstring dsl_subtype(dsp_env, avop_subtype);
    c_jintarray dsl_format(dsp_env, avop_format, natives::VideoFormatLayout::SIZE);
    c_jbytearray dsl_extradata(dsp_env, avop_extradata, INT32_MAX);
    return c_vformat::create_from_java_array(dsl_subtype.characters(), dsl_format, dsl_extradata);
}

void append_models(const c_jnienv &dsp_env, c_videocodec &dsp_codec, jobjectArray avop_models)
{
    if (avop_models == nullptr) {
        dsp_codec.append_dst_format(std::make_unique<c_colormodel>());
        return;
    }
    const c_local_ref dsl_class(dsp_env.raw(), dsp_env.find_class("[I"));
    const jsize iml_count = dsp_env.get_array_length(avop_models);
    for (jsize iml_index = 0; iml_index < iml_count; ++iml_index) {
        const c_local_ref dsl_element(dsp_env.raw(), dsp_env.get_jobject_array_element(avop_models, iml_index));
        if (dsl_element.get() != nullptr && !dsp_env.raw()->IsInstanceOf(dsl_element.get(), dsl_class.get()))
            throw_ffmpeg_exception(2333, "color model is not an int array");
        c_jintarray dsl_values(dsp_env, static_cast<jintArray>(dsl_element.get()), natives::ColorModelLayout::SIZE);
        auto dsl_model = c_colormodel::create_from_java_array(dsl_values);
        if (dsl_model == nullptr)
            continue; // Java may offer models that the library does not have
        dsl_model->print();
        dsp_codec.append_dst_format(std::move(dsl_model));
    }
    if (!dsp_codec.has_dst_formats())
        throw_ffmpeg_exception(2341, "no supported color model");
}

jlong create_codec(const c_jnienv &dsp_env, c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_vformat> dsp_format,
                   jobjectArray avop_models, jobject avop_object)
{
    dsp_format->print();
    auto dsl_codec = std::make_unique<c_videocodec>(adsp_ffmpeg, std::move(dsp_format));
    append_models(dsp_env, *dsl_codec, avop_models);
    if (dsp_env.exception_pending())
        throw kiv::jni::c_jniexception("print_info"); // the receiver of a line above threw
    adsp_ffmpeg->set_vcodec_object(dsp_env, avop_object, dsl_codec.get());
    return to_handle(dsl_codec.release());
}

dsd_packet_params read_params(const c_jnienv &dsp_env, jintArray avop_params)
{
    c_jintarray dsl_params(dsp_env, avop_params, VideoParams::SIZE);
    dsl_params.pin();
    return {dsl_params[VideoParams::OFFSET], dsl_params[VideoParams::LENGTH], dsl_params[VideoParams::FLAGS],
            timestamp_of(dsl_params[VideoParams::TIME_LOW], dsl_params[VideoParams::TIME_HIGH])};
}

/**
 * Delivers the picture: it is Java's from then on. The record's offset and size become elements of its array.
 *
 * @return the kind of the array; ie_array_invalid when there is none, and nothing was delivered
 */
int32_t deliver_picture(const c_jnienv &dsp_env, jobjectArray avop_out, c_framebuffer_reference dsp_buffer,
                        c_codec::dsd_out_params &dsp_out)
{
    dsp_buffer->commit();
    const int32_t iml_kind = dsp_buffer->kind();
    if (iml_kind == kiv::jni::ie_native_memory)
        throw std::runtime_error(
            "TODO: file=" __FILE__
            " function=Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1vcodec_1process line=2437");
    const jint iml_element_size = kiv::jni::get_element_size(iml_kind);
    if (iml_element_size == 0)
        return kiv::jni::ie_array_invalid;
    if (avop_out == nullptr)
        throw_ffmpeg_exception(2443, "out array == NULL");
    {
        const c_local_ref dsl_result(dsp_env.raw(), dsp_buffer->result_object(dsp_env));
        dsp_env.set_jobject_array_element(avop_out, 0, dsl_result.get());
    }
    dsp_buffer->set_delivered();
    dsp_out.imc_data_offset /= iml_element_size;
    dsp_out.imc_data_size /= iml_element_size;
    for (uint32_t uml_plane = 0; uml_plane < 4; ++uml_plane)
        dsp_out.aimc_plane_offsets[uml_plane] = dsp_buffer->get_plane_offset(uml_plane);
    return iml_kind;
}

void write_params(const c_jnienv &dsp_env, jintArray avop_params, int32_t imp_kind,
                  const c_codec::dsd_out_params &dsp_out)
{
    c_jintarray_rw dsl_params(dsp_env, avop_params, VideoParams::SIZE);
    dsl_params.pin();
    dsl_params.set(VideoParams::ARRAY_KIND, imp_kind);
    dsl_params.set(VideoParams::PICTURE_OFFSET, dsp_out.imc_data_offset);
    for (int32_t iml_plane = 0; iml_plane < 4; ++iml_plane)
        dsl_params.set(VideoParams::PLANE_OFFSETS + iml_plane, dsp_out.aimc_plane_offsets[iml_plane]);
    dsl_params.set(VideoParams::PICTURE_SIZE, dsp_out.imc_data_size);
    dsl_params.set(VideoParams::CALL_FLAGS, dsp_out.imc_flags);
    dsl_params.set(VideoParams::PICTURE_TIME_LOW, static_cast<jint>(dsp_out.ilc_timestamp));
    dsl_params.set(VideoParams::PICTURE_TIME_HIGH, static_cast<jint>(dsp_out.ilc_timestamp >> 32));
    dsl_params.set(VideoParams::REFERENCE_WORD, dsp_out.imc_buffer_word);
}

/** Describes a picture in a direct buffer. Elements that the array does not have are not written. */
void write_picture_info(const c_jnienv &dsp_env, jintArray avop_params, const c_codec::dsd_picture_info &dsp_picture)
{
    c_jintarray_rw dsl_params(dsp_env, avop_params, VideoParams::DIRECT_SIZE);
    dsl_params.pin();
    dsl_params.set(VideoParams::WIDTH, dsp_picture.imc_width);
    dsl_params.set(VideoParams::HEIGHT, dsp_picture.imc_height);
    dsl_params.set(VideoParams::PIXEL_FORMAT, dsp_picture.imc_pixel_format);
    dsl_params.set(VideoParams::KEY_PICTURE, dsp_picture.imc_key_frame);
    dsl_params.set(VideoParams::PICTURE_TYPE, dsp_picture.imc_picture_type);
    dsl_params.set(VideoParams::INTERLACED, dsp_picture.imc_interlaced);
    for (int32_t iml_plane = 0; iml_plane < 4; ++iml_plane)
        dsl_params.set(VideoParams::LINE_SIZES + iml_plane, dsp_picture.aimc_linesizes[iml_plane]);
    dsl_params.set(VideoParams::PIXEL_WIDTH, dsp_picture.imc_aspect_numerator);
    dsl_params.set(VideoParams::PIXEL_HEIGHT, dsp_picture.imc_aspect_denominator);
    dsl_params.set(VideoParams::COLOR_RANGE, dsp_picture.imc_color_range);
    dsl_params.set(VideoParams::COLOR_SPACE, dsp_picture.imc_colorspace);
}

} // namespace

JNIEXPORT jint JNICALL Java_kiv_media_ffmpeg_natives_c_1pictures_1ffmpeg_n_1decode(JNIEnv *adsp_env, jclass,
                                                                                   jlong ilp_codec, jbyteArray avop_in,
                                                                                   jint imp_length, jint imp_flags,
                                                                                   jlongArray avop_call)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jint {
        auto *adsl_codec = codec_of<c_videocodec>(ilp_codec);
        picture_call::stock(*adsl_codec); // refuses a codec without one
        if (avop_call == nullptr || dsp_env.get_array_length(avop_call) < PictureCall::SIZE)
            throw_ffmpeg_exception(2453, "array of the call is null or shorter than ", PictureCall::SIZE);
        std::array<jlong, PictureCall::SIZE> aill_call{};
        dsp_env.get_array_region(avop_call, 0, PictureCall::SIZE, aill_call.data());
        picture_call::add_blocks(*adsl_codec, aill_call);
        uint8_t *autl_packet = copy_input(dsp_env, adsl_codec->input(), avop_in, 0, imp_length);
        const int32_t iml_result = picture_call::decode(
            *adsl_codec, {autl_packet, autl_packet == nullptr ? 0 : static_cast<size_t>(imp_length)}, imp_flags,
            aill_call);
        dsp_env.set_array_region(avop_call, 0, PictureCall::SIZE, aill_call.data());
        return iml_result;
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1pictures_1ffmpeg_n_1address(JNIEnv *adsp_env, jclass,
                                                                                     jobject avop_memory)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        return to_handle(avop_memory == nullptr ? nullptr : dsp_env.raw()->GetDirectBufferAddress(avop_memory));
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1create_1vcodec_1to_1raw(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jstring avop_subtype, jintArray avop_format, jbyteArray avop_extradata,
    jobjectArray avop_models, jobject avop_object)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2321);
        auto dsl_format = read_format(dsp_env, avop_subtype, avop_format, avop_extradata);
        return create_codec(dsp_env, adsl_ffmpeg, std::move(dsl_format), avop_models, avop_object);
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1codecs_1ffmpeg_n_1create_1vcodec(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jlongArray avop_stream, jbyteArray avop_extradata,
    jobjectArray avop_models, jobject avop_object)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2711);
        auto dsl_format = c_vformat::of_stream(read_coded_stream(dsp_env, avop_stream, avop_extradata));
        return create_codec(dsp_env, adsl_ffmpeg, std::move(dsl_format), avop_models, avop_object);
    });
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1vcodec_1open(JNIEnv *adsp_env, jclass,
                                                                                          jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_videocodec>(adsp_env, ilp_codec, &c_codec::open);
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1vcodec_1close(JNIEnv *adsp_env, jclass,
                                                                                           jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_videocodec>(adsp_env, ilp_codec, &c_codec::close);
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1vcodec_1reset(JNIEnv *adsp_env, jclass,
                                                                                           jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return change_state<c_videocodec>(adsp_env, ilp_codec, &c_codec::reset);
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1vcodec_1get_1name(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return name_of<c_videocodec>(adsp_env, ilp_codec);
}

JNIEXPORT jint JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1vcodec_1process(
    JNIEnv *adsp_env, jclass, jlong ilp_codec, jbyteArray avop_in, jobjectArray avop_out, jintArray avop_params)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jint {
        c_videocodec &dsl_codec = *codec_of<c_videocodec>(ilp_codec);
        const dsd_packet_params dsl_params = read_params(dsp_env, avop_params);
        uint8_t *autl_packet =
            copy_input(dsp_env, dsl_codec.input(), avop_in, dsl_params.imc_offset, dsl_params.imc_length);
        c_codec::dsd_out_params dsl_out{};
        const int32_t iml_result = dsl_codec.process(autl_packet, dsl_params.imc_length, dsl_params.imc_flags,
                                                     dsl_params.ilc_timestamp, dsl_out);
        int32_t iml_kind = kiv::jni::ie_array_invalid;
        if (dsl_out.adsc_buffer != nullptr) {
            iml_kind = deliver_picture(dsp_env, avop_out, c_framebuffer_reference(dsl_out.adsc_buffer), dsl_out);
            if (iml_kind == kiv::jni::ie_array_invalid)
                return ie_decoding_error; // params keep what Java put there
        }
        write_params(dsp_env, avop_params, iml_kind, dsl_out);
        if (dsl_codec.takes_direct_buffers())
            write_picture_info(dsp_env, avop_params, dsl_out.dsc_picture);
        return iml_result;
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1vcodec_1delete(JNIEnv *adsp_env, jclass,
                                                                                        jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    delete_codec<c_videocodec>(adsp_env, ilp_codec, dsl_trace, false);
}

JNIEXPORT jintArray JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1get_1vcodec_1dst_1format(JNIEnv *adsp_env,
                                                                                                       jclass,
                                                                                                       jlong ilp_codec)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &) -> jintArray {
        return codec_of<c_videocodec>(ilp_codec)->export_dst_format(adsp_env);
    });
}
