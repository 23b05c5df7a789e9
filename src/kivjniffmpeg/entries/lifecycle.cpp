// The exported functions that start and stop the library.

#include "jni/string_holder.h"
#include "kivjniffmpeg/entries/native_call.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/ffmpeg/logged_errors.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_c_multimediaapi_ffmpeg.h>

#include <memory>

JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM *, void *)
{
    TRACE_FUNCTION(1);
    try {
        c_ffmpeg::static_init();
    } catch (...) {
        // Without the mutex every n_init fails with "pthread_mutex_lock() failure", which says more than a failed load.
    }
    return JNI_VERSION_1_2;
}

JNIEXPORT void JNICALL JNI_OnUnload(JavaVM *, void *)
{
    TRACE_FUNCTION(1);
}

JNIEXPORT jlong JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1init(JNIEnv *adsp_env, jclass avop_class,
                                                                               jstring avop_dir, jobject avop_receiver,
                                                                               jint imp_level)
{
    TRACE_FUNCTION(1);
    return enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) -> jlong {
        auto dsl_ffmpeg = std::make_unique<c_ffmpeg>();
        dsl_ffmpeg->find_methods(dsp_env, avop_class);
        const kiv::jni::c_jstring dsl_dir(dsp_env, avop_dir);
        {
            const c_mutex_lock dsl_lock(c_ffmpeg::library_mutex());
            ffmpeg_loader::load(dsl_dir.characters());
            dsl_ffmpeg->init_logging(imp_level);
        }
        dsl_ffmpeg->take_references(dsp_env, avop_class, avop_receiver);
        {
            // FFmpeg ignores a second registration, but two at the same time damage its list of codecs.
            const c_mutex_lock dsl_lock(c_ffmpeg::library_mutex());
            g_avutil.av_log_set_level(AV_LOG_ERROR);
            logged_errors::begin_to_count();
            g_avcodec.avcodec_register_all();
            g_avformat.av_register_all();
        }
        dsl_ffmpeg->add_holder(); // Java's reference, until n_close
        return to_handle(dsl_ffmpeg.release());
    });
}

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1close(JNIEnv *adsp_env, jclass,
                                                                               jlong ilp_hffmpeg)
{
    TRACE_FUNCTION(1);
    enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) {
        auto *adsl_ffmpeg = context_of(ilp_hffmpeg, 2211);
        const int32_t iml_counter = c_ffmpeg::drop_holder(adsl_ffmpeg, dsp_env);
        // The last holder silences the log, so this line then reaches nobody, on purpose.
        TRACE_LINE(im_level_debug, "%s#%s(): c_ffmpeg::n_close() counter=%d", iml_counter);
    });
}
