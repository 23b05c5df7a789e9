#include "kivjniffmpeg/codec.h"

#include "jni/exceptions.h"
#include "trace/trace.h"

#include <utility>

c_codec::c_codec(c_ffmpeg *adsp_ffmpeg, std::string strp_name)
    : dsc_ffmpeg(adsp_ffmpeg), strc_name(std::move(strp_name))
{
    TRACE_FUNCTION("c_codec", 3);
}

c_codec::~c_codec()
{
    TRACE_FUNCTION("~c_codec", 3);
}

const std::string &c_codec::get_name()
{
    TRACE_FUNCTION("get_name", 4);
    return strc_name;
}

void c_codec::throw_if_pending()
{
    if (JNIEnv *adsl_env = c_ffmpeg::get_thread_env(); adsl_env != nullptr && adsl_env->ExceptionCheck())
        throw kiv::jni::c_jniexception("java callback threw");
}
