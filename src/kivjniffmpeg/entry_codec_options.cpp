// The exported functions that set what the codec interface itself leaves fixed.

#include "jni/string_holder.h"
#include "kivjniffmpeg/entry_boundary.h"
#include "kivjniffmpeg/video_codec.h"
#include "trace/trace.h"

#include <kiv_media_ffmpeg_c_codecoptions_ffmpeg.h>

#include <string_view>

JNIEXPORT void JNICALL Java_kiv_media_ffmpeg_c_1codecoptions_1ffmpeg_n_1vcodec_1set_1option(JNIEnv *adsp_env, jclass,
                                                                                            jlong ilp_codec,
                                                                                            jstring avop_name,
                                                                                            jlong ilp_value)
{
    TRACE_FUNCTION("Java_kiv_media_ffmpeg_c_1codecoptions_1ffmpeg_n_1vcodec_1set_1option", 1);
    enter_library(adsp_env, [&](kiv::jni::c_jnienv &dsp_env) {
        auto *adsl_codec = from_handle<c_videocodec>(ilp_codec, "ilp_hcodec == 0", 2502);
        const kiv::jni::c_jstring dsl_name(dsp_env, avop_name);
        const std::string_view strl_name = dsl_name.characters() == nullptr ? "" : dsl_name.characters();
        if (strl_name == "whole_packets")
            adsl_codec->set_whole_packets(ilp_value != 0);
        else
            throw_ffmpeg_exception(2509, "no such codec option: ", strl_name);
    });
}
