/**
 * @file
 * A small decode through the entry points, for counting instructions: a program without a virtual machine always takes the
 * same ones. tools/count_cost.py runs it under Valgrind.
 *
 * entry_cost LIBRARY LIBRARIES FILE arrays | pooled | sound: LIBRARY is ours, LIBRARIES a directory of FFmpeg's. Decodes the
 * first stream of video or of sound, as a program in Java does, and prints how many pictures or bytes came.
 */
#include "reference/reference.h"

#include <jni.h>
#include <natives/AudioFormatLayout.h>
#include <natives/AudioParams.h>
#include <natives/BufferRequest.h>
#include <natives/BufferSlots.h>
#include <natives/ColorModelLayout.h>
#include <natives/PictureCall.h>
#include <natives/PictureResult.h>
#include <natives/ProcessFlags.h>
#include <natives/ProcessResult.h>
#include <natives/StreamFields.h>
#include <natives/VideoParams.h>

#include <cstdarg>
#include <cstring>

#include <deque>

using namespace ffmpeg;

namespace
{

/** A Java object: an array, a string, or nothing in particular. */
struct dsd_object
{
    bytes utc_bytes;
    size_t ulc_element = 1;
    std::vector<jobject> avoc_elements;
};

dsd_object &object_of(jobject avop_object)
{
    return *reinterpret_cast<dsd_object *>(avop_object);
}

/** Every object lives until the end. */
template <class REFERENCE> REFERENCE made(size_t ulp_count, size_t ulp_element)
{
    static std::deque<dsd_object> s_objects;
    dsd_object &dsl_object = s_objects.emplace_back();
    dsl_object.utc_bytes.resize(ulp_count * ulp_element);
    dsl_object.ulc_element = ulp_element;
    return reinterpret_cast<REFERENCE>(&dsl_object);
}

template <class REFERENCE, class T> REFERENCE made(std::span<const T> dsp_values)
{
    auto avol_array = made<REFERENCE>(dsp_values.size(), sizeof(T));
    std::memcpy(object_of(avol_array).utc_bytes.data(), dsp_values.data(), dsp_values.size_bytes());
    return avol_array;
}

jstring text(std::string_view strp_text)
{
    bytes utl_text(strp_text.begin(), strp_text.end());
    utl_text.push_back(0);
    return made<jstring>(std::span<const uint8_t>(utl_text));
}

template <class T> T *values_of(jobject avop_array)
{
    return reinterpret_cast<T *>(object_of(avop_array).utc_bytes.data());
}

const auto s_allocate = reinterpret_cast<jmethodID>(uintptr_t{8});
const auto s_other = reinterpret_cast<jmethodID>(uintptr_t{16});
std::vector<jobject> s_spare;

/** m_vcodec_alloc_buffer: arrays of delivered pictures are used again. */
jboolean allocate(va_list dsp_arguments)
{
    va_arg(dsp_arguments, jobject); // the codec
    va_arg(dsp_arguments, jobject); // the layout
    const auto aiml_request = values_of<jint>(va_arg(dsp_arguments, jobject));
    dsd_object &dsl_slots = object_of(va_arg(dsp_arguments, jobject));
    if (s_spare.empty())
        s_spare.push_back(made<jbyteArray>(static_cast<size_t>(aiml_request[natives::BufferRequest::BYTES]), 1));
    dsl_slots.avoc_elements[natives::BufferSlots::MEMORY] = s_spare.back();
    dsl_slots.avoc_elements[natives::BufferSlots::RESULT] = s_spare.back();
    s_spare.pop_back();
    return JNI_TRUE;
}

void give_region(jobject avop_array, jsize imp_start, jsize imp_count, void *avp_to)
{
    const dsd_object &dsl_array = object_of(avop_array);
    std::memcpy(avp_to, dsl_array.utc_bytes.data() + static_cast<size_t>(imp_start) * dsl_array.ulc_element,
                static_cast<size_t>(imp_count) * dsl_array.ulc_element);
}

void take_region(jobject avop_array, jsize imp_start, jsize imp_count, const void *avp_from)
{
    dsd_object &dsl_array = object_of(avop_array);
    std::memcpy(dsl_array.utc_bytes.data() + static_cast<size_t>(imp_start) * dsl_array.ulc_element, avp_from,
                static_cast<size_t>(imp_count) * dsl_array.ulc_element);
}

/** The functions that decoding calls, and no others. */
JNINativeInterface_ functions()
{
    JNINativeInterface_ dsl_table{};
    dsl_table.FindClass = [](JNIEnv *, const char *) { return made<jclass>(0, 1); };
    dsl_table.GetMethodID = [](JNIEnv *, jclass, const char *, const char *) { return s_other; };
    dsl_table.GetStaticMethodID = [](JNIEnv *, jclass, const char *strp_name, const char *) {
        return std::strcmp(strp_name, "m_vcodec_alloc_buffer") == 0 ? s_allocate : s_other;
    };
    dsl_table.NewGlobalRef = dsl_table.NewLocalRef = [](JNIEnv *, jobject avop_object) { return avop_object; };
    dsl_table.DeleteGlobalRef = dsl_table.DeleteLocalRef = [](JNIEnv *, jobject) {};
    dsl_table.IsInstanceOf = [](JNIEnv *, jobject, jclass) { return jboolean{JNI_TRUE}; };
    dsl_table.ExceptionCheck = [](JNIEnv *) { return jboolean{JNI_FALSE}; };
    dsl_table.ExceptionOccurred = [](JNIEnv *) { return jthrowable{nullptr}; };
    dsl_table.ExceptionClear = [](JNIEnv *) {};
    dsl_table.ThrowNew = [](JNIEnv *, jclass, const char *strp_text) -> jint { throw std::runtime_error(strp_text); };
    dsl_table.GetStringUTFChars = [](JNIEnv *, jstring avop_text, jboolean *) -> const char * {
        return values_of<char>(avop_text);
    };
    dsl_table.ReleaseStringUTFChars = [](JNIEnv *, jstring, const char *) {};
    dsl_table.GetArrayLength = [](JNIEnv *, jarray avop_array) {
        const dsd_object &dsl_array = object_of(avop_array);
        return static_cast<jsize>(
            std::max(dsl_array.avoc_elements.size(), dsl_array.utc_bytes.size() / dsl_array.ulc_element));
    };
    dsl_table.NewIntArray = [](JNIEnv *, jsize imp_count) {
        return made<jintArray>(static_cast<size_t>(imp_count), sizeof(jint));
    };
    dsl_table.NewObjectArray = [](JNIEnv *, jsize imp_count, jclass, jobject) {
        const auto avol_array = made<jobjectArray>(0, 1);
        object_of(avol_array).avoc_elements.resize(static_cast<size_t>(imp_count));
        return avol_array;
    };
    dsl_table.GetObjectArrayElement = [](JNIEnv *, jobjectArray avop_array, jsize imp_index) {
        return object_of(avop_array).avoc_elements.at(static_cast<size_t>(imp_index));
    };
    dsl_table.SetObjectArrayElement = [](JNIEnv *, jobjectArray avop_array, jsize imp_index, jobject avop_value) {
        object_of(avop_array).avoc_elements.at(static_cast<size_t>(imp_index)) = avop_value;
    };
    dsl_table.GetPrimitiveArrayCritical = [](JNIEnv *, jarray avop_array, jboolean *) -> void * {
        return values_of<uint8_t>(avop_array);
    };
    dsl_table.ReleasePrimitiveArrayCritical = [](JNIEnv *, jarray, void *, jint) {};
    dsl_table.GetByteArrayElements = [](JNIEnv *, jbyteArray avop_array, jboolean *abp_is_copy) {
        if (abp_is_copy != nullptr)
            *abp_is_copy = JNI_FALSE;
        return values_of<jbyte>(avop_array);
    };
    dsl_table.ReleaseByteArrayElements = [](JNIEnv *, jbyteArray, jbyte *, jint) {};
    dsl_table.GetByteArrayRegion = [](JNIEnv *, jbyteArray avop_array, jsize imp_start, jsize imp_count,
                                      jbyte *autp_to) { give_region(avop_array, imp_start, imp_count, autp_to); };
    dsl_table.GetLongArrayRegion = [](JNIEnv *, jlongArray avop_array, jsize imp_start, jsize imp_count,
                                      jlong *ailp_to) { give_region(avop_array, imp_start, imp_count, ailp_to); };
    dsl_table.GetIntArrayRegion = [](JNIEnv *, jintArray avop_array, jsize imp_start, jsize imp_count, jint *aimp_to) {
        give_region(avop_array, imp_start, imp_count, aimp_to);
    };
    dsl_table.SetByteArrayRegion = [](JNIEnv *, jbyteArray avop_array, jsize imp_start, jsize imp_count,
                                      const jbyte *autp_from) {
        take_region(avop_array, imp_start, imp_count, autp_from);
    };
    dsl_table.SetLongArrayRegion = [](JNIEnv *, jlongArray avop_array, jsize imp_start, jsize imp_count,
                                      const jlong *ailp_from) {
        take_region(avop_array, imp_start, imp_count, ailp_from);
    };
    dsl_table.SetIntArrayRegion = [](JNIEnv *, jintArray avop_array, jsize imp_start, jsize imp_count,
                                     const jint *aimp_from) {
        take_region(avop_array, imp_start, imp_count, aimp_from);
    };
    dsl_table.CallStaticBooleanMethodV = [](JNIEnv *, jclass, jmethodID adsp_method, va_list dsp_arguments) {
        return adsp_method == s_allocate ? allocate(dsp_arguments) : jboolean{JNI_FALSE};
    };
    dsl_table.CallStaticVoidMethodV = [](JNIEnv *, jclass, jmethodID, va_list dsp_arguments) {
        va_arg(dsp_arguments, jobject); // the codec
        s_spare.push_back(object_of(va_arg(dsp_arguments, jobject)).avoc_elements[natives::BufferSlots::MEMORY]);
    };
    return dsl_table;
}

/** The library's exported functions, by their class and name in Java as symbols have them. */
class c_library
{
public:
    explicit c_library(const std::string &strp_file)
        : avc_library(existing(dlopen(strp_file.c_str(), RTLD_NOW), strp_file)), dsc_functions(functions())
    {
        dsc_env.functions = &dsc_functions;
        find<jint (*)(JavaVM *, void *)>("JNI_OnLoad")(nullptr, nullptr);
    }

    template <class RESULT, class... ARGUMENTS>
    RESULT call(const std::string &strp_class, const std::string &strp_name, ARGUMENTS... dsp_arguments)
    {
        const auto function = find<RESULT (*)(JNIEnv *, jclass, ARGUMENTS...)>("Java_kiv_media_ffmpeg_" + strp_class +
                                                                               "_1ffmpeg_n_1" + strp_name);
        return function(&dsc_env, nullptr, dsp_arguments...);
    }

private:
    template <class FUNCTION> FUNCTION find(const std::string &strp_symbol)
    {
        void *&avl_found = dsc_found[strp_symbol];
        if (avl_found == nullptr)
            avl_found = existing(dlsym(avc_library, strp_symbol.c_str()), strp_symbol);
        return reinterpret_cast<FUNCTION>(avl_found);
    }

    void *avc_library;
    JNINativeInterface_ dsc_functions;
    JNIEnv dsc_env{};
    std::map<std::string, void *> dsc_found;
};

constexpr auto str_codecs = "c_1multimediaapi";
constexpr auto str_options = "natives_c_1codecoptions";

/** The stream and its packets, as Java's arrays. */
struct dsd_stream
{
    jlongArray avoc_fields;
    jbyteArray avoc_extradata;
    const AVCodecContext *adsc_codec;
    std::vector<jbyteArray> avoc_packets;
};

dsd_stream read_stream(AVFormatContext &dsp_file, AVMediaType iep_type)
{
    namespace StreamFields = natives::StreamFields;
    for (const AVStream *adsl_stream : std::span(dsp_file.streams, dsp_file.nb_streams)) {
        const AVCodecContext &dsl_codec = *adsl_stream->codec;
        if (dsl_codec.codec_type != iep_type)
            continue;
        std::array<jlong, StreamFields::SIZE> aill_fields{};
        aill_fields[StreamFields::MEDIA_TYPE] = dsl_codec.codec_type;
        aill_fields[StreamFields::CODEC_ID] = dsl_codec.codec_id;
        aill_fields[StreamFields::CODEC_TAG] = dsl_codec.codec_tag;
        aill_fields[StreamFields::WIDTH] = dsl_codec.width;
        aill_fields[StreamFields::HEIGHT] = dsl_codec.height;
        const std::span utl_extradata(dsl_codec.extradata, static_cast<size_t>(dsl_codec.extradata_size));
        dsd_stream dsl_stream{made<jlongArray>(std::span<const jlong>(aill_fields)),
                              made<jbyteArray>(std::span<const uint8_t>(utl_extradata)),
                              &dsl_codec,
                              {}};
        for_each_packet(dsp_file, adsl_stream->index, [&](const AVPacket &dsp_packet) {
            const std::span utl_bytes(dsp_packet.data, static_cast<size_t>(dsp_packet.size));
            dsl_stream.avoc_packets.push_back(made<jbyteArray>(std::span<const uint8_t>(utl_bytes)));
        });
        return dsl_stream;
    }
    throw std::runtime_error("no such stream");
}

jlong open_video(c_library &dsp_library, jlong ilp_context, const dsd_stream &dsp_stream, bool bp_pooled)
{
    jobjectArray avol_models = nullptr;
    if (!bp_pooled) {
        std::array<jint, natives::ColorModelLayout::SIZE> aiml_model{};
        aiml_model[natives::ColorModelLayout::FOURCC] = 'I' | '4' << 8 | '2' << 16 | '0' << 24;
        aiml_model[natives::ColorModelLayout::BITS_PER_PIXEL] = 12;
        avol_models = made<jobjectArray>(0, 1);
        object_of(avol_models).avoc_elements = {made<jintArray>(std::span<const jint>(aiml_model))};
    }
    const auto ill_codec =
        dsp_library.call<jlong>("natives_c_1codecs", "create_1vcodec", ilp_context, dsp_stream.avoc_fields,
                                dsp_stream.avoc_extradata, avol_models, jobject{nullptr});
    dsp_library.call<void>(str_options, "vcodec_1set_1option", ill_codec, text("whole_packets"), jlong{1});
    if (bp_pooled)
        dsp_library.call<void>(str_options, "vcodec_1set_1option", ill_codec, text("pooled_pictures"), jlong{1});
    if (dsp_library.call<jboolean>(str_codecs, "vcodec_1open", ill_codec) != JNI_TRUE)
        throw std::runtime_error("the decoder does not open");
    return ill_codec;
}

int decode_arrays(c_library &dsp_library, jlong ilp_context, const dsd_stream &dsp_stream)
{
    namespace VideoParams = natives::VideoParams;
    const jlong ill_codec = open_video(dsp_library, ilp_context, dsp_stream, false);
    const auto avol_params = made<jintArray>(VideoParams::SIZE, sizeof(jint));
    const auto avol_out = made<jobjectArray>(0, 1);
    object_of(avol_out).avoc_elements.resize(1);
    int inl_pictures = 0;
    for (jbyteArray avol_packet : dsp_stream.avoc_packets) {
        auto *aiml_params = values_of<jint>(avol_params);
        aiml_params[VideoParams::LENGTH] = static_cast<jint>(object_of(avol_packet).utc_bytes.size());
        const jint iml_result =
            dsp_library.call<jint>(str_codecs, "vcodec_1process", ill_codec, avol_packet, avol_out, avol_params);
        if (iml_result != natives::ProcessResult::PICTURE)
            continue;
        ++inl_pictures;
        s_spare.push_back(object_of(avol_out).avoc_elements[0]);
    }
    dsp_library.call<void>(str_codecs, "vcodec_1delete", ill_codec);
    return inl_pictures;
}

int decode_pooled(c_library &dsp_library, jlong ilp_context, const dsd_stream &dsp_stream)
{
    namespace PictureCall = natives::PictureCall;
    const jlong ill_codec = open_video(dsp_library, ilp_context, dsp_stream, true);
    const auto avol_call = made<jlongArray>(PictureCall::SIZE, sizeof(jlong));
    auto *aill_call = values_of<jlong>(avol_call);
    std::deque<bytes> dsl_blocks;
    std::vector<jlong> aill_free;
    int inl_pictures = 0;
    for (jbyteArray avol_packet : dsp_stream.avoc_packets) {
        jint iml_length = static_cast<jint>(object_of(avol_packet).utc_bytes.size());
        for (jint iml_result = natives::PictureResult::MORE;
             (iml_result & (natives::PictureResult::MORE | natives::PictureResult::MEMORY)) != 0; iml_length = 0) {
            const jlong ill_wanted = std::min<jlong>(aill_call[PictureCall::WANTED], PictureCall::MOST_BLOCKS);
            aill_call[PictureCall::STOCKED] = ill_wanted;
            for (jlong ill_block = 0; ill_block < ill_wanted; ++ill_block) {
                if (aill_free.empty()) {
                    dsl_blocks.emplace_back(static_cast<size_t>(aill_call[PictureCall::WANTED_BYTES]));
                    aill_free.push_back(static_cast<jlong>(dsl_blocks.size()) - 1);
                }
                jlong *aill_block = aill_call + PictureCall::BLOCKS + ill_block * PictureCall::BLOCK_SIZE;
                bytes &dsl_memory = dsl_blocks[static_cast<size_t>(aill_free.back())];
                aill_block[PictureCall::BLOCK_SLOT] = aill_free.back();
                aill_block[PictureCall::BLOCK_ADDRESS] = reinterpret_cast<jlong>(dsl_memory.data());
                aill_block[PictureCall::BLOCK_BYTES] = static_cast<jlong>(dsl_memory.size());
                aill_free.pop_back();
            }
            iml_result = dsp_library.call<jint>("natives_c_1pictures", "decode", ill_codec, avol_packet, iml_length,
                                                jint{0}, avol_call);
            inl_pictures += (iml_result & natives::PictureResult::PICTURE) != 0 ? 1 : 0;
            for (jlong ill_slot = 0; ill_slot < aill_call[PictureCall::RELEASED]; ++ill_slot)
                aill_free.push_back(aill_call[PictureCall::RELEASED_SLOTS + ill_slot]);
        }
    }
    dsp_library.call<void>(str_codecs, "vcodec_1delete", ill_codec);
    return inl_pictures;
}

int decode_sound(c_library &dsp_library, jlong ilp_context, const dsd_stream &dsp_stream)
{
    namespace AudioParams = natives::AudioParams;
    namespace AudioFormatLayout = natives::AudioFormatLayout;
    constexpr size_t ul_room = 1 << 18;
    constexpr jint im_mpeg = 0x50;
    std::array<jint, AudioFormatLayout::SIZE> aiml_format{};
    aiml_format[AudioFormatLayout::FORMAT_TAG] = im_mpeg;
    aiml_format[AudioFormatLayout::CHANNELS] = dsp_stream.adsc_codec->channels;
    aiml_format[AudioFormatLayout::SAMPLE_RATE] = dsp_stream.adsc_codec->sample_rate;
    const auto ill_codec =
        dsp_library.call<jlong>(str_codecs, "create_1acodec_1to_1pcm", ilp_context,
                                made<jintArray>(std::span<const jint>(aiml_format)), jbyteArray{nullptr});
    const auto avol_out = made<jbyteArray>(ul_room, 1);
    const auto avol_params = made<jintArray>(AudioParams::SIZE, sizeof(jint));
    auto *aiml_params = values_of<jint>(avol_params);
    int inl_bytes = 0;
    for (jbyteArray avol_packet : dsp_stream.avoc_packets) {
        aiml_params[AudioParams::OFFSET] = 0;
        aiml_params[AudioParams::LENGTH] = static_cast<jint>(object_of(avol_packet).utc_bytes.size());
        aiml_params[AudioParams::FLAGS] = natives::ProcessFlags::WHOLE_PACKET;
        aiml_params[AudioParams::OUT_OFFSET] = 0;
        aiml_params[AudioParams::OUT_LENGTH] = ul_room;
        dsp_library.call<jint>(str_codecs, "acodec_1process", ill_codec, avol_packet, avol_out, avol_params);
        inl_bytes += aiml_params[AudioParams::OUT_LENGTH];
    }
    dsp_library.call<void>(str_codecs, "acodec_1delete", ill_codec);
    return inl_bytes;
}

} // namespace

int main(int inp_count, char **astrp_arguments)
try {
    const std::vector<std::string> strl_arguments(astrp_arguments, astrp_arguments + inp_count);
    const std::map<std::string, decltype(&decode_arrays)> dsl_roads{
        {"arrays", decode_arrays}, {"pooled", decode_pooled}, {"sound", decode_sound}};
    if (strl_arguments.size() != 5 || !dsl_roads.contains(strl_arguments[4]))
        throw std::runtime_error("usage: entry_cost LIBRARY LIBRARIES FILE arrays | pooled | sound");
    load(strl_arguments[2]);
    av_log_set_level(-8); // nothing
    const bool bl_sound = strl_arguments[4] == "sound";
    const format_ptr dsl_file = open_file(strl_arguments[3]);
    const dsd_stream dsl_stream = read_stream(*dsl_file, bl_sound ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO);
    c_library dsl_library(strl_arguments[1]);
    const auto ill_context =
        dsl_library.call<jlong>(str_codecs, "init", text(strl_arguments[2]), jobject{nullptr}, jint{0});
    std::cout << dsl_roads.at(strl_arguments[4])(dsl_library, ill_context, dsl_stream) << '\n';
} catch (const std::exception &dsp_exception) {
    std::cerr << "entry_cost: " << dsp_exception.what() << '\n';
    return 1;
}
