#include "kivjniffmpeg/containers/media_source.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <natives/c_mediareader_source.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace
{

/** As large as Java's buffer, so that one read fills it. */
constexpr int32_t im_io_buffer_size = natives::c_mediareader_source::BUFFER_SIZE;

/**
 * Who reads forward only enlarges the buffer, to be able to go back. FFmpeg 2.5 to 2.8 make it smaller again in portions of
 * 32 KiB, and end the process when it was larger than that in the beginning.
 */
constexpr int32_t im_small_io_buffer_size = 32 * 1024;

/**
 * The most bytes that FFmpeg gets at once while a container is opened. It asks again after each portion, so that the
 * limits are looked at between one track of an MP4 and the next.
 */
constexpr size_t ul_portion = 256;
/**
 * By how much the portions differ. Equal ones fill the buffer of FFmpeg 2.8's FLAC parser to its last byte. Within a frame
 * of more than 80 KiB the parser then drops the file.
 */
constexpr size_t ul_portion_variation = 32;

} // namespace

void c_mediasource::dsd_free_io::operator()(AVIOContext *adsp_io) const noexcept
{
    g_avutil.av_freep(&adsp_io->buffer); // probing may have replaced the first buffer
    g_avutil.av_freep(&adsp_io);
}

c_mediasource::c_mediasource(std::unique_ptr<ca_byte_source> dsp_source, ie_access iep_access,
                             c_reader_limits &dsp_limits)
    : dsc_limits(dsp_limits),
      dsc_source(std::move(dsp_source)),
      iec_access(iep_access),
      bc_keeping(iep_access == ie_access::ie_forward)
{
    TRACE_FUNCTION(3);
    make_io();
}

void c_mediasource::make_io()
{
    const bool bl_forward = iec_access == ie_access::ie_forward;
    const bool bl_small = bl_forward && g_avutil.kiv_bridge_description == nullptr;
    const int32_t iml_size = bl_small ? im_small_io_buffer_size : im_io_buffer_size;
    auto *autl_io_buffer = static_cast<unsigned char *>(g_avutil.av_malloc(static_cast<size_t>(iml_size)));
    if (autl_io_buffer == nullptr)
        throw std::bad_alloc();
    // The readers of other containers take an unknown size for what it is only without a function that seeks.
    adsc_io.reset(g_avformat.avio_alloc_context(autl_io_buffer, iml_size, 0, this, &c_mediasource::read, nullptr,
                                                bl_forward && !bc_empty_if_unknown ? nullptr : &c_mediasource::seek));
    if (adsc_io == nullptr) {
        g_avutil.av_freep(&autl_io_buffer);
        throw std::bad_alloc();
    }
    if (bl_forward)
        adsc_io->seekable = 0; // FFmpeg's readers take the road for pipes
}

void c_mediasource::restart(bool bp_empty_if_unknown)
{
    TRACE_FUNCTION(3);
    bc_empty_if_unknown = bp_empty_if_unknown;
    if (iec_access == ie_access::ie_forward) {
        bc_keeping = false;
        utc_repeated = utc_kept;
        ilc_position = 0;
        dsc_endless_parts.jump();
    } else {
        move(0);
    }
    check();
    make_io();
}

void c_mediasource::check() const
{
    dsc_source->check();
    if (strc_complaint != nullptr)
        throw_ffmpeg_exception(2605, "media source returned ", strc_complaint, ": ", ilc_complaint_value);
    if (dsc_boxes.samples_first())
        throw_ffmpeg_exception(2624,
                               "its index is at its end, behind the samples (moov behind mdat), which is out of reach"
                               " where bytes are read forward only");
    dsc_limits.check();
}

bool c_mediasource::may_go_on() noexcept
{
    return strc_complaint == nullptr && !dsc_boxes.samples_first() &&
           dsc_limits.allow(adsc_container != nullptr ? adsc_container->context() : nullptr);
}

int64_t c_mediasource::reject(const char *strp_complaint, int64_t ilp_value) noexcept
{
    strc_complaint = strp_complaint;
    ilc_complaint_value = ilp_value;
    return AVERROR_EXIT;
}

/** Runs one request of FFmpeg's. A failure or an exception becomes an FFmpeg error. */
template <class WORK> int64_t c_mediasource::ask(void *avp_source, WORK dsp_work) noexcept
{
    auto &dsl_source = *static_cast<c_mediasource *>(avp_source);
    if (dsl_source.dsc_source->has_failed() || !dsl_source.may_go_on())
        return AVERROR_EXIT;
    try {
        return dsp_work(dsl_source);
    } catch (const std::exception &) {
        return AVERROR_EXIT; // check() throws what the source keeps
    }
}

int c_mediasource::read(void *avp_source, uint8_t *autp_to, int inp_length) noexcept
{
    return static_cast<int>(ask(avp_source, [&](c_mediasource &dsp_source) -> int64_t {
        if (!dsp_source.fill(inp_length))
            return 0; // as for FFmpeg's own files: an AVIOContext would keep an error even after seeking back
        if (dsp_source.strc_complaint != nullptr)
            return AVERROR_EXIT;
        // Who reads other containers forward only goes back within a portion.
        const bool bl_portion = dsp_source.dsc_limits.is_opening() &&
                                (dsp_source.iec_access == ie_access::ie_anywhere || dsp_source.bc_boxes);
        const auto ull_wanted = static_cast<size_t>(inp_length);
        const size_t ull_portion = ul_portion - dsp_source.ulc_portions++ % ul_portion_variation;
        const auto utl_bytes = dsp_source.take(bl_portion ? std::min(ull_wanted, ull_portion) : ull_wanted);
        const size_t ull_count = utl_bytes.size();
        std::memcpy(autp_to, utl_bytes.data(), ull_count);
        if (dsp_source.bc_keeping)
            dsp_source.utc_kept.insert(dsp_source.utc_kept.end(), utl_bytes.begin(), utl_bytes.end());
        if (dsp_source.bc_boxes)
            dsp_source.dsc_boxes.pass(utl_bytes);
        if (dsp_source.dsc_limits.is_opening())
            dsp_source.dsc_endless_parts.rename({autp_to, ull_count});
        if (dsp_source.dsc_limits.is_opening() && dsp_source.bc_comments)
            dsp_source.dsc_comments.pass({autp_to, ull_count}, dsp_source.ilc_position);
        if (dsp_source.dsc_limits.is_opening() && dsp_source.bc_items)
            dsp_source.dsc_items.pass({autp_to, ull_count}, dsp_source.ilc_position);
        dsp_source.ilc_position += static_cast<int64_t>(ull_count);
        return static_cast<int64_t>(ull_count);
    }));
}

/** Has the source read, unless there are bytes. @return false at the end; otherwise there are bytes or a complaint */
bool c_mediasource::fill(int64_t ilp_wanted)
{
    if (!utc_repeated.empty())
        return true;
    if (!bc_keeping)
        utc_kept = {};
    bc_at_end = bc_behind_known_end;
    if (bc_at_end || !utc_pending.empty())
        return !bc_at_end;
    const auto utl_block = dsc_source->memory();
    const auto iml_wanted = static_cast<int32_t>(std::min(static_cast<size_t>(ilp_wanted), utl_block.size()));
    ++ulc_reads;
    const int32_t iml_count = dsc_source->read(iml_wanted);
    bc_at_end = iml_count == natives::c_mediareader_source::END;
    if (!bc_at_end && (iml_count < 1 || iml_count > iml_wanted))
        reject("a count that cannot be", iml_count);
    else if (!bc_at_end) {
        dsc_limits.add_bytes(iml_count);
        utc_pending = utl_block.first(static_cast<size_t>(iml_count));
    }
    // What is read forward only is not asked again behind its end.
    bc_behind_known_end = bc_at_end && iec_access == ie_access::ie_forward;
    return !bc_at_end;
}

/** The next bytes, at most so many: those that are repeated, or new ones. */
std::span<const uint8_t> c_mediasource::take(size_t ulp_most) noexcept
{
    std::span<const uint8_t> &utl_from = utc_repeated.empty() ? utc_pending : utc_repeated;
    const auto utl_bytes = utl_from.first(std::min(utl_from.size(), ulp_most));
    utl_from = utl_from.subspan(utl_bytes.size());
    return utl_bytes;
}

int64_t c_mediasource::seek(void *avp_source, int64_t ilp_offset, int inp_whence) noexcept
{
    return ask(avp_source, [&](c_mediasource &dsp_source) -> int64_t {
        const int inl_whence = inp_whence & ~AVSEEK_FORCE;
        if (dsp_source.iec_access == ie_access::ie_forward)
            return inl_whence == AVSEEK_SIZE ? 0 : AVERROR(EPIPE); // as FFmpeg itself answers for a pipe
        if (inl_whence == AVSEEK_SIZE) {
            const int64_t ill_size = dsp_source.ask_size();
            return ill_size >= 0 ? ill_size : dsp_source.bc_empty_if_unknown ? 0 : AVERROR(ENOSYS);
        }
        // FFmpeg knows its position, and seeks to the end only when there is no size.
        if (inl_whence != SEEK_SET || ilp_offset < 0)
            return AVERROR(EINVAL);
        return dsp_source.move(ilp_offset);
    });
}

int64_t c_mediasource::ask_size()
{
    ilc_known_size = dsc_source->size();
    return ilc_known_size;
}

int64_t c_mediasource::move(int64_t ilp_position)
{
    utc_pending = {};
    ilc_position = ilp_position;
    dsc_endless_parts.jump();
    // A damaged size may lead to any position. As with a file, FFmpeg's readers expect to seek there and find the end,
    // but a channel refuses positions that no file can have.
    bc_behind_known_end = ilp_position > ilc_known_size && ask_size() >= 0 && ilp_position > ilc_known_size;
    if (bc_behind_known_end)
        return ilp_position;
    const int64_t ill_position = dsc_source->seek(ilp_position);
    return ill_position == ilp_position ? ill_position : reject("another position", ill_position);
}
