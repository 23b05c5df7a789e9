// The exported functions of processes behind the wall.

#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "kivjniffmpeg/workers/lane_turn.h"
#include "kivjniffmpeg/workers/nursery_client.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_natives_c_workers_ffmpeg.h>
#include <natives/c_workers_ffmpeg.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <system_error>
#include <thread>
#include <utility>

using kiv::jni::c_jnienv;
using lane_turn::ie_end;

static_assert(static_cast<int32_t>(ie_end::ie_answered) == natives::c_workers_ffmpeg::ANSWERED &&
              static_cast<int32_t>(ie_end::ie_ended) == natives::c_workers_ffmpeg::ENDED &&
              static_cast<int32_t>(ie_end::ie_silent) == natives::c_workers_ffmpeg::SILENT &&
              static_cast<int32_t>(ie_end::ie_lied) == natives::c_workers_ffmpeg::LIED);

namespace
{

/** The report of an end comes by another process, a moment after the end. */
constexpr int in_looks_for_report = 100;
constexpr std::chrono::milliseconds s_between_looks{10};

c_nursery *nursery_of(jlong ilp_handle)
{
    return from_handle<c_nursery>(ilp_handle, "ilp_hnursery == 0", 3021);
}

c_kept_memory *kept_memory_of(jlong ilp_handle)
{
    return from_handle<c_kept_memory>(ilp_handle, "ilp_hmemory == 0", 3026);
}

c_worker *worker_of(jlong ilp_handle)
{
    return from_handle<c_worker>(ilp_handle, "ilp_hworker == 0", 3022);
}

std::span<std::byte> part_of(const c_worker &dsp_worker, jlong ilp_offset, jint imp_length)
{
    const auto ill_size = static_cast<jlong>(dsp_worker.memory().size());
    if (ilp_offset < 0 || imp_length < 0 || ilp_offset > ill_size || imp_length > ill_size - ilp_offset)
        throw_ffmpeg_exception(3023, "a part outside of the shared memory");
    return dsp_worker.memory().subspan(static_cast<size_t>(ilp_offset), static_cast<size_t>(imp_length));
}

std::optional<nursery_messages::dsd_report> wait_for_end(c_nursery &dsp_nursery, const c_worker &dsp_worker)
{
    for (int inl_look = 0; inl_look < in_looks_for_report; ++inl_look) {
        if (const auto dsl_end = dsp_nursery.end_of(dsp_worker.process()))
            return dsl_end;
        std::this_thread::sleep_for(s_between_looks);
    }
    return {};
}

} // namespace

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1start_1nursery(JNIEnv *adsp_env, jclass,
                                                                                           jstring avop_program,
                                                                                           jstring avop_directory)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jlong {
        if (avop_program == nullptr || avop_directory == nullptr)
            throw_ffmpeg_exception(3024, "program or directory == NULL");
        const kiv::jni::c_jstring dsl_program(dsp_env, avop_program);
        const kiv::jni::c_jstring dsl_directory(dsp_env, avop_directory);
        return to_handle(std::make_unique<c_nursery>(dsl_program.characters(), dsl_directory.characters()).release());
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1delete_1nursery(JNIEnv *adsp_env, jclass,
                                                                                           jlong ilp_nursery)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) { const std::unique_ptr<c_nursery> dsl_nursery(nursery_of(ilp_nursery)); });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1create_1worker(
    JNIEnv *adsp_env, jclass, jlong ilp_nursery, jlong ilp_shared, jlong ilp_memory, jint imp_seconds, jlong ilp_kept)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &) -> jlong {
        std::unique_ptr<c_kept_memory> dsl_kept(ilp_kept == 0 ? nullptr : kept_memory_of(ilp_kept));
        c_nursery &dsl_nursery = *nursery_of(ilp_nursery);
        if (ilp_shared < 0 || ilp_memory < 0 || imp_seconds < 0)
            throw_ffmpeg_exception(3025, "negative limit of a worker");
        try {
            return to_handle(dsl_nursery
                                 .make({static_cast<uint64_t>(ilp_memory), static_cast<uint32_t>(imp_seconds), 0},
                                       static_cast<size_t>(ilp_shared), std::move(dsl_kept))
                                 .release());
        } catch (const std::system_error &) {
            if (dsl_nursery.has_ended())
                return 0;
            throw;
        }
    });
}

JNIEXPORT jstring JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1worker_1held(JNIEnv *adsp_env, jclass,
                                                                                           jlong ilp_worker,
                                                                                           jint imp_longest)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jstring {
        c_worker &dsl_worker = *worker_of(ilp_worker);
        dsl_worker.wait_until_ready(std::chrono::milliseconds(imp_longest));
        return dsp_env.new_jstring_utf(dsl_worker.held().c_str());
    });
}

JNIEXPORT jobject JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1worker_1memory(JNIEnv *adsp_env, jclass,
                                                                                             jlong ilp_worker,
                                                                                             jlong ilp_offset,
                                                                                             jint imp_length)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jobject {
        return dsp_env.new_direct_buffer(part_of(*worker_of(ilp_worker), ilp_offset, imp_length));
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1discard(JNIEnv *adsp_env, jclass,
                                                                                   jlong ilp_worker, jlong ilp_offset,
                                                                                   jint imp_length)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) {
        const c_worker &dsl_worker = *worker_of(ilp_worker);
        c_sealed_memory::discard(part_of(dsl_worker, ilp_offset, imp_length));
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1open_1lane(JNIEnv *adsp_env, jclass,
                                                                                      jlong ilp_worker, jint imp_lane)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) {
        c_worker &dsl_worker = *worker_of(ilp_worker);
        lane_turn::check(dsl_worker, imp_lane);
        dsl_worker.open_lane(imp_lane);
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1give_1turn(JNIEnv *adsp_env, jclass,
                                                                                      jlong ilp_worker, jint imp_lane,
                                                                                      jint imp_half, jint imp_turn)
{
    enter_library(adsp_env, [&](c_jnienv &) {
        const c_worker &dsl_worker = *worker_of(ilp_worker);
        lane_turn::give(dsl_worker, lane_turn::checked(dsl_worker, imp_lane, imp_half),
                        static_cast<uint32_t>(imp_turn));
    });
}

JNIEXPORT jint JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1take_1turn(JNIEnv *adsp_env, jclass,
                                                                                      jlong ilp_worker, jint imp_lane,
                                                                                      jint imp_half, jint imp_turn,
                                                                                      jboolean bp_soon,
                                                                                      jint imp_longest)
{
    return enter_library(adsp_env, [&](c_jnienv &) -> jint {
        const c_worker &dsl_worker = *worker_of(ilp_worker);
        return static_cast<jint>(lane_turn::take(dsl_worker, lane_turn::checked(dsl_worker, imp_lane, imp_half),
                                                 static_cast<uint32_t>(imp_turn), bp_soon != JNI_FALSE,
                                                 std::chrono::milliseconds(imp_longest)));
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1kill(JNIEnv *adsp_env, jclass,
                                                                                jlong ilp_worker)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) { worker_of(ilp_worker)->kill(); });
}

JNIEXPORT jintArray JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1worker_1end(JNIEnv *adsp_env, jclass,
                                                                                            jlong ilp_nursery,
                                                                                            jlong ilp_worker)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &dsp_env) -> jintArray {
        const auto dsl_end = wait_for_end(*nursery_of(ilp_nursery), *worker_of(ilp_worker));
        return dsl_end ? kiv::jni::to_java(dsp_env, std::array<jint, 2>{dsl_end->imc_signal, dsl_end->imc_status})
                       : nullptr;
    });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1worker_1time(JNIEnv *adsp_env, jclass,
                                                                                         jlong ilp_worker)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env,
                         [&](c_jnienv &) -> jlong { return worker_of(ilp_worker)->processor_time().count(); });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1close_1worker(JNIEnv *adsp_env, jclass,
                                                                                         jlong ilp_worker)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) { worker_of(ilp_worker)->close(); });
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1close_1and_1keep(JNIEnv *adsp_env, jclass,
                                                                                             jlong ilp_worker,
                                                                                             jlong ilp_used)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](c_jnienv &) -> jlong {
        return to_handle(worker_of(ilp_worker)->close_and_keep(static_cast<size_t>(ilp_used)).release());
    });
}

JNIEXPORT jboolean JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1clear_1memory(JNIEnv *adsp_env, jclass,
                                                                                             jlong ilp_memory)
{
    TRACE_FUNCTION(1);
    return enter_library(
        adsp_env, [&](c_jnienv &) -> jboolean { return kept_memory_of(ilp_memory)->clear() ? JNI_TRUE : JNI_FALSE; });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1delete_1memory(JNIEnv *adsp_env, jclass,
                                                                                          jlong ilp_memory)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env,
                  [&](c_jnienv &) { const std::unique_ptr<c_kept_memory> dsl_memory(kept_memory_of(ilp_memory)); });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_natives_c_1workers_1ffmpeg_n_1delete_1worker(JNIEnv *adsp_env, jclass,
                                                                                          jlong ilp_worker)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](c_jnienv &) { const std::unique_ptr<c_worker> dsl_worker(worker_of(ilp_worker)); });
}
