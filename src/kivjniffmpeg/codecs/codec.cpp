#include "kivjniffmpeg/codecs/codec.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/codec_context.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <utility>

c_codec::c_codec(c_ffmpeg *adsp_ffmpeg, std::string strp_name)
    : dsc_ffmpeg(adsp_ffmpeg), strc_name(std::move(strp_name))
{
    TRACE_FUNCTION(3);
}

c_codec::~c_codec()
{
    TRACE_FUNCTION(3);
}

const std::string &c_codec::get_name()
{
    TRACE_FUNCTION(4);
    return strc_name;
}

void c_codec::throw_if_pending()
{
    if (JNIEnv *adsl_env = c_ffmpeg::get_thread_env(); adsl_env != nullptr && adsl_env->ExceptionCheck())
        throw kiv::jni::c_jniexception("java callback threw");
}

bool c_codec::open_in_ffmpeg(c_avcodec_ctx &dsp_context, const c_avcodec &dsp_codec, const c_trace &dsp_trace)
{
    const int inl_err = g_avcodec.avcodec_open2(dsp_context.context(), dsp_codec.codec(), nullptr);
    if (inl_err < 0)
        TRACE_LINE_IN(dsp_trace, im_level_error, "%s#%s(): avcodec_open2: inl_err=%08X codec_id=%s",
                      static_cast<unsigned int>(inl_err), dsp_codec.display_name());
    bc_open = inl_err >= 0;
    return bc_open;
}

void c_codec::close_in_ffmpeg(c_avcodec_ctx &dsp_context)
{
    bc_open = false;
    g_avcodec.avcodec_close(dsp_context.context());
}
