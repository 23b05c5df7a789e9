// The exported functions of the container reader.

#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/containers/java_channel.h"
#include "kivjniffmpeg/containers/known_formats.h"
#include "kivjniffmpeg/containers/media_reader.h"
#include "kivjniffmpeg/containers/packet_fields.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "kivjniffmpeg/ffmpeg/logged_errors.h"
#include "trace/exception_aside.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_mediareader_ffmpeg.h>
#include <natives/MediaType.h>
#include <natives/PacketFields.h>
#include <natives/PacketFlags.h>
#include <natives/SeekFlags.h>
#include <natives/c_mediareader_ffmpeg.h>

#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <utility>
#include <vector>

using kiv::jni::c_jnienv;
using kiv::jni::c_pending_exception_aside;
using kiv::jni::to_java;
namespace PacketFields = natives::PacketFields;

namespace
{

// Java knows FFmpeg's numbers under names of its own.
static_assert(natives::MediaType::UNKNOWN == AVMEDIA_TYPE_UNKNOWN);
static_assert(natives::MediaType::VIDEO == AVMEDIA_TYPE_VIDEO);
static_assert(natives::MediaType::AUDIO == AVMEDIA_TYPE_AUDIO);
static_assert(natives::MediaType::DATA == AVMEDIA_TYPE_DATA);
static_assert(natives::MediaType::SUBTITLE == AVMEDIA_TYPE_SUBTITLE);
static_assert(natives::MediaType::ATTACHMENT == AVMEDIA_TYPE_ATTACHMENT);
static_assert(natives::PacketFlags::KEY == AV_PKT_FLAG_KEY);
static_assert(natives::PacketFlags::DISCARDED == AV_PKT_FLAG_DISCARD);
static_assert(natives::SeekFlags::BACKWARD == AVSEEK_FLAG_BACKWARD);
static_assert(natives::SeekFlags::BYTE == AVSEEK_FLAG_BYTE);
static_assert(natives::SeekFlags::ANY == AVSEEK_FLAG_ANY);

c_mediareader *reader_of(jlong ilp_handle)
{
    return from_handle<c_mediareader>(ilp_handle, "ilp_hreader == 0", 2701);
}

c_reader_limits::values limits_of(const c_jnienv &dsp_env, jlongArray avop_limits)
{
    c_reader_limits::values aill_limits{};
    if (avop_limits == nullptr || dsp_env.get_array_length(avop_limits) < natives::ReaderLimitFields::SIZE)
        throw_ffmpeg_exception(2704, "array of limits is null or shorter than ", natives::ReaderLimitFields::SIZE);
    dsp_env.get_array_region(avop_limits, 0, natives::ReaderLimitFields::SIZE, aill_limits.data());
    return aill_limits;
}

jlong open(c_ffmpeg *adsp_ffmpeg, const c_jnienv &dsp_env, jobject avop_source, ie_access iep_access,
           const c_reader_limits::values &ailp_limits)
{
    auto dsl_source = std::make_unique<c_java_source>(dsp_env, avop_source, iep_access == ie_access::ie_anywhere);
    return to_handle(
        std::make_unique<c_mediareader>(adsp_ffmpeg, std::move(dsl_source), iep_access, ailp_limits).release());
}

using packet_description = std::array<int64_t, PacketFields::SIZE_WITH_LENGTH>;

/**
 * Reads the next packet of a stream, and passes over those of others.
 *
 * @param imp_stream NO_STREAM for any
 * @param ailp_fields receives what describes it
 * @return false at the end
 */
bool read_of_stream(c_mediareader &dsp_reader, jint imp_stream, c_avpacket &dsp_packet, packet_description &ailp_fields)
{
    const int64_t ill_errors = logged_errors::of_this_thread();
    do {
        dsp_packet.free_payload();
        if (!dsp_reader.read(dsp_packet))
            return false;
    } while (imp_stream != natives::c_mediareader_ffmpeg::NO_STREAM && dsp_packet.packet()->stream_index != imp_stream);
    ailp_fields = packet_fields(*dsp_packet.packet());
    ailp_fields[PacketFields::ERRORS] = logged_errors::of_this_thread() - ill_errors;
    return true;
}

std::span<const uint8_t> bytes_of(const c_avpacket &dsp_packet) noexcept
{
    return {dsp_packet.data(), static_cast<size_t>(dsp_packet.size())};
}

/** Copies bytes to a place of an array, unless there are none. */
void copy_to(const c_jnienv &dsp_env, std::span<const uint8_t> utp_bytes, jbyteArray avop_to, jsize imp_place)
{
    if (!utp_bytes.empty())
        dsp_env.set_array_region(avop_to, imp_place, static_cast<jsize>(utp_bytes.size()),
                                 reinterpret_cast<const jbyte *>(utp_bytes.data()));
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1open(JNIEnv *adsp_env, jclass,
                                                                                             jlong ilp_hffmpeg,
                                                                                             jobject avop_source)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2702);
        return open(adsl_ffmpeg, dsp_env, avop_source, ie_access::ie_anywhere, c_reader_limits::usual());
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1open_1within(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jobject avop_source, jlongArray avop_limits)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2702);
        return open(adsl_ffmpeg, dsp_env, avop_source, ie_access::ie_anywhere, limits_of(dsp_env, avop_limits));
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1open_1forward(
    JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg, jobject avop_source, jlongArray avop_limits)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2708);
        return open(adsl_ffmpeg, dsp_env, avop_source, ie_access::ie_forward, limits_of(dsp_env, avop_limits));
    });
}

JNIEXPORT jlongArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1info(JNIEnv *adsp_env,
                                                                                                       jclass,
                                                                                                       jlong ilp_reader)
{
    TRACE_FUNCTION(1);
    return enter_library(
        adsp_env, [&](c_jnienv &dsp_env) -> jlongArray { return to_java(dsp_env, reader_of(ilp_reader)->info()); });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1format_1name(
    JNIEnv *adsp_env, jclass, jlong ilp_reader)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        return dsp_env.new_jstring_utf(reader_of(ilp_reader)->format_name());
    });
}

JNIEXPORT jlongArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1stream(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlongArray {
        return to_java(dsp_env, reader_of(ilp_reader)->stream_info(imp_index));
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1codec_1name(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        return dsp_env.new_jstring_utf(reader_of(ilp_reader)->codec_name(imp_index));
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1get_1extradata(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_index)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        return to_java(dsp_env, reader_of(ilp_reader)->extradata(imp_index));
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1read(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jlongArray avop_packet)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        c_mediareader &dsl_reader = *reader_of(ilp_reader);
        // Checked before anything is read: a packet that cannot be described would be lost.
        if (avop_packet == nullptr || dsp_env.get_array_length(avop_packet) < PacketFields::SIZE)
            throw_ffmpeg_exception(2703, "packet array is null or shorter than ", PacketFields::SIZE);
        c_avpacket dsl_packet;
        if (!dsl_reader.read(dsl_packet))
            return nullptr;
        dsp_env.set_array_region(avop_packet, 0, PacketFields::SIZE, packet_fields(*dsl_packet.packet()).data());
        return to_java(dsp_env, bytes_of(dsl_packet));
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1read_1stream(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_stream, jbyteArray avop_buffer, jlongArray avop_packet)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        c_mediareader &dsl_reader = *reader_of(ilp_reader);
        if (avop_packet == nullptr || dsp_env.get_array_length(avop_packet) < PacketFields::SIZE_WITH_LENGTH)
            throw_ffmpeg_exception(2707, "packet array is null or shorter than ", PacketFields::SIZE_WITH_LENGTH);
        packet_description aill_fields{};
        c_avpacket dsl_packet;
        if (!read_of_stream(dsl_reader, imp_stream, dsl_packet, aill_fields))
            return nullptr;
        dsp_env.set_array_region(avop_packet, 0, PacketFields::SIZE_WITH_LENGTH, aill_fields.data());
        if (avop_buffer == nullptr || dsp_env.get_array_length(avop_buffer) < dsl_packet.size())
            return to_java(dsp_env, bytes_of(dsl_packet));
        copy_to(dsp_env, bytes_of(dsl_packet), avop_buffer, 0);
        return avop_buffer;
    });
}

JNIEXPORT jbyteArray JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1read_1several(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_stream, jbyteArray avop_buffer, jlongArray avop_packets)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jbyteArray {
        c_mediareader &dsl_reader = *reader_of(ilp_reader);
        const jsize iml_elements = avop_packets == nullptr ? 0 : dsp_env.get_array_length(avop_packets);
        if (avop_buffer == nullptr || iml_elements < PacketFields::SIZE_WITH_LENGTH)
            throw_ffmpeg_exception(2709, "buffer is null, or packet array is null or shorter than ",
                                   PacketFields::SIZE_WITH_LENGTH);
        const jsize iml_room = dsp_env.get_array_length(avop_buffer);
        constexpr size_t ul_fields = PacketFields::SIZE_WITH_LENGTH;
        std::vector<int64_t> aill_all(static_cast<size_t>(iml_elements) / ul_fields * ul_fields, PacketFields::NONE);
        const auto deliver_fields = [&] {
            dsp_env.set_array_region(avop_packets, 0, static_cast<jsize>(aill_all.size()), aill_all.data());
        };
        packet_description aill_fields{};
        c_avpacket dsl_packet;
        jsize iml_used = 0;
        jbyteArray avol_last = nullptr;
        try {
            for (auto ail_next = std::span(aill_all); !ail_next.empty() && avol_last == nullptr;
                 ail_next = ail_next.subspan(ul_fields)) {
                if (!read_of_stream(dsl_reader, imp_stream, dsl_packet, aill_fields))
                    break;
                if (dsl_packet.size() > iml_room - iml_used)
                    avol_last = to_java(dsp_env, bytes_of(dsl_packet));
                else
                    copy_to(dsp_env, bytes_of(dsl_packet), avop_buffer,
                            std::exchange(iml_used, iml_used + dsl_packet.size()));
                std::ranges::copy(aill_fields, ail_next.begin());
            }
        } catch (...) {
            // What was read before the failure is Java's all the same.
            const c_pending_exception_aside dsl_aside(adsp_env);
            deliver_fields();
            throw;
        }
        deliver_fields();
        return avol_last;
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1seek(
    JNIEnv *adsp_env, jclass, jlong ilp_reader, jint imp_stream, jlong ilp_time, jint imp_flags)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) { reader_of(ilp_reader)->seek(imp_stream, ilp_time, imp_flags); });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1reader_1delete(JNIEnv *adsp_env, jclass,
                                                                                              jlong ilp_reader)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &dsp_env) {
        std::unique_ptr<c_mediareader> dsl_reader(reader_of(ilp_reader));
        c_ffmpeg *adsl_ffmpeg = dsl_reader->get_ffmpeg();
        adsl_ffmpeg->add_holder(); // the last line below reports on it
        dsl_reader.reset();
        const int32_t iml_counter = c_ffmpeg::drop_holder(adsl_ffmpeg, dsp_env);
        TRACE_LINE(im_level_debug, "%s#%s(): counter=%d", iml_counter);
    });
}

JNIEXPORT jobjectArray JNICALL
Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1container_1names(JNIEnv *adsp_env, jclass, jlong ilp_hffmpeg)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jobjectArray {
        context_of(ilp_hffmpeg, 2705);
        return to_java(dsp_env, known_formats::names());
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1mediareader_1ffmpeg_n_1container_1title(JNIEnv *adsp_env,
                                                                                                   jclass,
                                                                                                   jlong ilp_hffmpeg,
                                                                                                   jstring avop_name)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        context_of(ilp_hffmpeg, 2706);
        const kiv::jni::c_jstring dsl_name(dsp_env, avop_name);
        const char *strl_title =
            dsl_name.characters() == nullptr ? nullptr : known_formats::title(dsl_name.characters());
        return strl_title == nullptr ? nullptr : dsp_env.new_jstring_utf(strl_title);
    });
}
