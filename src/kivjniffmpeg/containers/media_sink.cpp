#include "kivjniffmpeg/containers/media_sink.h"

#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <natives/c_mediawriter_sink.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

using kiv::jni::c_jnienv;
using kiv::jni::c_local_ref;

namespace
{

/** As large as Java's buffer, so that one call of Java empties it. */
constexpr int32_t im_io_buffer_size = natives::c_mediawriter_sink::BUFFER_SIZE;

} // namespace

void c_mediasink::dsd_delete_global_ref::operator()(jobject avop_reference) const noexcept
{
    // Sinks are destroyed inside a call. Outside one, the reference would leak.
    if (JNIEnv *adsl_env = c_ffmpeg::get_thread_env(); adsl_env != nullptr)
        adsl_env->DeleteGlobalRef(avop_reference);
}

void c_mediasink::dsd_free_io::operator()(AVIOContext *adsp_io) const noexcept
{
    g_avutil.av_freep(&adsp_io->buffer); // FFmpeg may have replaced the first buffer
    g_avutil.av_freep(&adsp_io);
}

c_mediasink::c_mediasink(const c_jnienv &dsp_env, jobject avop_sink, bool bp_seekable)
{
    TRACE_FUNCTION(3);
    if (avop_sink == nullptr)
        throw_ffmpeg_exception(2651, "media sink == NULL");
    avoc_sink.reset(dsp_env.NewGlobalRef(avop_sink));
    {
        const c_local_ref dsl_class(dsp_env.raw(), dsp_env.raw()->GetObjectClass(avop_sink));
        adsc_write = dsp_env.get_method_id(dsl_class.get(), "m_write", "(I)I");
        adsc_seek = dsp_env.get_method_id(dsl_class.get(), "m_seek", "(J)J");
        const jmethodID adsl_buffer = dsp_env.get_method_id(dsl_class.get(), "m_buffer", "()Ljava/nio/ByteBuffer;");
        const c_local_ref dsl_buffer(dsp_env.raw(), dsp_env.call_object_method(avop_sink, adsl_buffer));
        avoc_buffer.reset(dsp_env.NewGlobalRef(dsl_buffer.get()));
    }
    find_buffer(dsp_env);
    auto *autl_io_buffer = static_cast<unsigned char *>(g_avutil.av_malloc(im_io_buffer_size));
    if (autl_io_buffer == nullptr)
        throw std::bad_alloc();
    adsc_io.reset(g_avformat.avio_alloc_context(autl_io_buffer, im_io_buffer_size, 1, this, nullptr,
                                                &c_mediasink::write, bp_seekable ? &c_mediasink::seek : nullptr));
    if (adsc_io == nullptr) {
        g_avutil.av_freep(&autl_io_buffer);
        throw std::bad_alloc();
    }
}

void c_mediasink::find_buffer(const c_jnienv &dsp_env)
{
    if (avoc_buffer == nullptr)
        throw_ffmpeg_exception(2652, "buffer of the media sink == NULL");
    autc_bytes = static_cast<uint8_t *>(dsp_env.raw()->GetDirectBufferAddress(avoc_buffer.get()));
    ilc_capacity = dsp_env.raw()->GetDirectBufferCapacity(avoc_buffer.get());
    if (autc_bytes == nullptr || ilc_capacity <= 0)
        throw_ffmpeg_exception(2653, "buffer of the media sink is not direct, or empty");
}

void c_mediasink::check(const c_jnienv &dsp_env) const
{
    if (dsp_env.exception_pending())
        throw kiv::jni::c_jniexception("media sink");
    if (bc_wrong_position)
        throw_ffmpeg_exception(2654, "media sink moved to another place");
}

/** Runs one request of FFmpeg's. A failure or an exception becomes an FFmpeg error. */
template <class WORK> int64_t c_mediasink::ask(void *avp_sink, WORK dsp_work) noexcept
{
    auto &dsl_sink = *static_cast<c_mediasink *>(avp_sink);
    const c_jnienv dsl_env(c_ffmpeg::get_thread_env());
    if (dsl_sink.bc_abandoned || dsl_sink.bc_wrong_position || dsl_env.raw() == nullptr || dsl_env.exception_pending())
        return AVERROR_EXIT;
    try {
        return dsp_work(dsl_sink, dsl_env);
    } catch (const std::exception &) {
        return AVERROR_EXIT; // check() finds the pending Java exception
    }
}

int c_mediasink::write(void *avp_sink, uint8_t *autp_from, int inp_length) noexcept
{
    return static_cast<int>(ask(avp_sink, [&](c_mediasink &dsp_sink, const c_jnienv &dsp_env) -> int64_t {
        for (int64_t ill_done = 0; ill_done < inp_length;) {
            const int64_t ill_count = std::min<int64_t>(inp_length - ill_done, dsp_sink.ilc_capacity);
            std::memcpy(dsp_sink.autc_bytes, autp_from + ill_done, static_cast<size_t>(ill_count));
            dsp_env.call_int_method(dsp_sink.avoc_sink.get(), dsp_sink.adsc_write, static_cast<jint>(ill_count));
            ill_done += ill_count;
        }
        return inp_length;
    }));
}

int64_t c_mediasink::seek(void *avp_sink, int64_t ilp_offset, int inp_whence) noexcept
{
    return ask(avp_sink, [&](c_mediasink &dsp_sink, const c_jnienv &dsp_env) -> int64_t {
        // FFmpeg knows its position, and no format of the list asks for the size.
        if ((inp_whence & ~AVSEEK_FORCE) != SEEK_SET || ilp_offset < 0)
            return AVERROR(EINVAL);
        const int64_t ill_position =
            dsp_env.call_long_method(dsp_sink.avoc_sink.get(), dsp_sink.adsc_seek, static_cast<jlong>(ilp_offset));
        dsp_sink.bc_wrong_position = ill_position != ilp_offset;
        return dsp_sink.bc_wrong_position ? AVERROR_EXIT : ill_position;
    });
}
