// Memory, messages, arithmetic.

#include "bridge/old/entry.h"

#include <cerrno>

using bridge::enter;

BRIDGE_ENTRY const char *av_version_info(void)
{
    return enter<const char *>(nullptr, [](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_version_info(); });
}

BRIDGE_ENTRY const char *avutil_license(void)
{
    return enter<const char *>(nullptr, [](const auto &dsp_ffmpeg) { return dsp_ffmpeg.avutil_license(); });
}

BRIDGE_ENTRY void *av_malloc(size_t ulp_size)
{
    return enter<void *>(nullptr, [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_malloc(ulp_size); });
}

BRIDGE_ENTRY void *av_mallocz(size_t ulp_size)
{
    return enter<void *>(nullptr, [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_mallocz(ulp_size); });
}

BRIDGE_ENTRY void av_max_alloc(size_t ulp_most)
{
    enter([&](const auto &dsp_ffmpeg) { dsp_ffmpeg.av_max_alloc(ulp_most); });
}

BRIDGE_ENTRY void av_freep(void *avp_pointer)
{
    enter([&](const auto &dsp_ffmpeg) { dsp_ffmpeg.av_freep(avp_pointer); });
}

BRIDGE_ENTRY void av_log_set_level(int inp_level)
{
    enter([&](const auto &dsp_ffmpeg) { dsp_ffmpeg.av_log_set_level(inp_level); });
}

/** The callback gets the newer FFmpeg's objects, which it may only compare. */
BRIDGE_ENTRY void av_log_set_callback(void (*adsp_callback)(void *, int, const char *, va_list))
{
    enter([&](const auto &dsp_ffmpeg) { dsp_ffmpeg.av_log_set_callback(adsp_callback); });
}

BRIDGE_ENTRY void av_log_default_callback(void *avp_object, int inp_level, const char *strp_format, va_list dsp_values)
{
    enter([&](const auto &dsp_ffmpeg) {
        dsp_ffmpeg.av_log_default_callback(avp_object, inp_level, strp_format, dsp_values);
    });
}

BRIDGE_ENTRY int av_strerror(int inp_error, char *strp_text, size_t ulp_size)
{
    return enter(AVERROR(ENOSYS),
                 [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_strerror(inp_error, strp_text, ulp_size); });
}

BRIDGE_ENTRY int64_t av_rescale_rnd(int64_t ilp_value, int64_t ilp_times, int64_t ilp_by, AVRounding iep_rounding)
{
    return enter<int64_t>(INT64_MIN, [&](const auto &dsp_ffmpeg) {
        return dsp_ffmpeg.av_rescale_rnd(ilp_value, ilp_times, ilp_by, iep_rounding);
    });
}

BRIDGE_ENTRY void av_md5_sum(uint8_t *autp_sum, const uint8_t *autp_bytes, int inp_size)
{
    enter([&](const auto &dsp_ffmpeg) { dsp_ffmpeg.av_md5_sum(autp_sum, autp_bytes, static_cast<size_t>(inp_size)); });
}

BRIDGE_ENTRY int av_buffer_get_ref_count(const AVBufferRef *adsp_buffer)
{
    return enter(1, [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_buffer_get_ref_count(adsp_buffer); });
}

BRIDGE_ENTRY AVBufferRef *av_buffer_create(uint8_t *autp_bytes, int inp_size, void (*adsp_free)(void *, uint8_t *),
                                           void *avp_opaque, int inp_flags)
{
    return enter<AVBufferRef *>(nullptr, [&](const auto &dsp_ffmpeg) {
        return dsp_ffmpeg.av_buffer_create(autp_bytes, static_cast<size_t>(inp_size), adsp_free, avp_opaque, inp_flags);
    });
}

BRIDGE_ENTRY AVBufferRef *av_buffer_ref(AVBufferRef *adsp_buffer)
{
    return enter<AVBufferRef *>(nullptr, [&](const auto &dsp_ffmpeg) { return dsp_ffmpeg.av_buffer_ref(adsp_buffer); });
}

BRIDGE_ENTRY void av_buffer_unref(AVBufferRef **aadsp_buffer)
{
    enter([&](const auto &dsp_ffmpeg) { dsp_ffmpeg.av_buffer_unref(aadsp_buffer); });
}
