#include "kivjniffmpeg/ffmpeg/codec_context.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <climits>
#include <cstring>
#include <new>

c_avcodec::c_avcodec(AVCodecID iep_id, bool bp_decoder)
    : adsc_codec(bp_decoder ? g_avcodec.avcodec_find_decoder(iep_id) : g_avcodec.avcodec_find_encoder(iep_id))
{
    TRACE_FUNCTION(3);
    if (adsc_codec == nullptr && bp_decoder)
        throw_ffmpeg_exception(495, "no decoder found for id=", static_cast<int>(iep_id));
    if (adsc_codec == nullptr)
        throw_ffmpeg_exception(498, "no encoder found for id=", static_cast<int>(iep_id));
}

c_avcodec::~c_avcodec()
{
    TRACE_FUNCTION(3);
}

const char *c_avcodec::display_name() const noexcept
{
    return adsc_codec->long_name != nullptr ? adsc_codec->long_name : adsc_codec->name;
}

bool c_avcodec::supports_sample_format(AVSampleFormat iep_format) const noexcept
{
    const AVSampleFormat *aiel_format = adsc_codec->sample_fmts;
    if (aiel_format == nullptr)
        return false;
    while (*aiel_format != AV_SAMPLE_FMT_NONE && *aiel_format != iep_format)
        ++aiel_format;
    return *aiel_format != AV_SAMPLE_FMT_NONE;
}

c_avcodec_ctx::c_avcodec_ctx(const c_avcodec &dsp_codec, const dsd_buffer_callbacks &dsp_callbacks)
    : adsc_context(g_avcodec.avcodec_alloc_context3(dsp_codec.codec()))
{
    TRACE_FUNCTION(3);
    if (adsc_context == nullptr)
        throw std::bad_alloc();
    adsc_context->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    adsc_context->get_buffer = dsp_callbacks.adsc_get_buffer;
    adsc_context->release_buffer = dsp_callbacks.adsc_release_buffer;
    adsc_context->reget_buffer = dsp_callbacks.adsc_reget_buffer;
}

c_avcodec_ctx::~c_avcodec_ctx()
{
    TRACE_FUNCTION(3);
    g_avcodec.avcodec_close(adsc_context);
    g_avutil.av_freep(&adsc_context->extradata);
    g_avutil.av_freep(&adsc_context);
}

AVCodecContext *c_avcodec_ctx::context() const
{
    if (adsc_context == nullptr)
        throw_ffmpeg_exception(559, "wrapper containing null pointer");
    return adsc_context;
}

void c_avcodec_ctx::set_extradata(std::span<const uint8_t> utp_extradata)
{
    if (utp_extradata.size() > INT_MAX - FF_INPUT_BUFFER_PADDING_SIZE)
        return;
    auto *autl_extradata =
        static_cast<uint8_t *>(g_avutil.av_malloc(utp_extradata.size() + FF_INPUT_BUFFER_PADDING_SIZE));
    if (autl_extradata == nullptr)
        return;
    std::memset(autl_extradata + utp_extradata.size(), 0, FF_INPUT_BUFFER_PADDING_SIZE);
    if (!utp_extradata.empty())
        std::memcpy(autl_extradata, utp_extradata.data(), utp_extradata.size());
    context()->extradata = autl_extradata;
    context()->extradata_size = static_cast<int>(utp_extradata.size());
}

bool c_avcodec_ctx::get_buffer(c_avframe &dsp_frame)
{
    return context()->get_buffer(context(), dsp_frame.frame()) >= 0;
}

void c_avcodec_ctx::release_buffer(c_avframe &dsp_frame)
{
    context()->release_buffer(context(), dsp_frame.frame());
}
