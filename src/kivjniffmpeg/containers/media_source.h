/** @file The bytes of a container, as FFmpeg reads them. */
#pragma once

#include "kivjniffmpeg/containers/byte_channel.h"
#include "kivjniffmpeg/containers/endless_parts.h"
#include "kivjniffmpeg/containers/flac_comments.h"
#include "kivjniffmpeg/containers/forward_boxes.h"
#include "kivjniffmpeg/containers/picture_items.h"
#include "kivjniffmpeg/containers/reader_limits.h"
#include "kivjniffmpeg/ffmpeg/abi_containers.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

/** How a source can be read. */
enum class ie_access : uint8_t
{
    ie_anywhere,
    ie_forward, /**< FFmpeg does not seek and knows no size */
};

/**
 * FFmpeg's AVIOContext on a source of bytes, which seeks and knows its size unless it is read forward only.
 *
 * FFmpeg cannot transport an exception. Once the source has failed every further read fails without asking it, and
 * check() throws when FFmpeg has returned.
 */
class c_mediasource
{
public:
    /**
     * @param dsp_source not null
     * @param dsp_limits outlives this object
     * @throws std::bad_alloc
     */
    c_mediasource(std::unique_ptr<ca_byte_source> dsp_source, ie_access iep_access, c_reader_limits &dsp_limits);
    ~c_mediasource() = default;
    c_mediasource(const c_mediasource &) = delete;
    c_mediasource &operator=(const c_mediasource &) = delete;

    /** Names the container that reads from here, so that the limits see its streams; null for none. */
    void set_container(const c_avformat_ctx *adsp_container) noexcept { adsc_container = adsp_container; }

    /** The AVIOContext, which this object owns. */
    AVIOContext *io() const noexcept { return adsc_io.get(); }

    /**
     * Begins anew at the first byte, with an empty AVIOContext. What was read to recognise the format would otherwise be
     * in its buffer, and FFmpeg would not ask for it in portions. A source that is read forward only keeps what was read
     * until then, which is about a megabyte at most.
     *
     * @param bp_empty_if_unknown whether FFmpeg is told 0 for a size that is unknown
     * @throws std::exception what check() throws, when the source fails or does not go to its start
     * @throws std::bad_alloc
     */
    void restart(bool bp_empty_if_unknown);

    /** From now on the boxes are looked at, and read forward only their order: the bytes are an MP4 or QuickTime file. */
    void expect_boxes() noexcept
    {
        bc_items = true;
        bc_boxes = iec_access == ie_access::ie_forward;
    }

    /** From now on tags are counted: the bytes are a FLAC file. */
    void expect_comments() noexcept { bc_comments = true; }

    /** How often the source was asked for bytes. */
    uint64_t reads() const noexcept { return ulc_reads; }

    /** Whether the last read found the end. */
    bool at_end() const noexcept { return bc_at_end; }

    /**
     * Called whenever FFmpeg has returned.
     *
     * @throws kiv::jni::c_jniexception when a Java exception is pending
     * @throws c_ffmpeg_exception when the source returned an invalid value, when a limit was exceeded, or when a container
     *         cannot be read forward only; the source is unusable from then on
     */
    void check() const;

private:
    struct dsd_free_io
    {
        void operator()(AVIOContext *adsp_io) const noexcept;
    };

    static int read(void *avp_source, uint8_t *autp_to, int inp_length) noexcept;
    static int64_t seek(void *avp_source, int64_t ilp_offset, int inp_whence) noexcept;
    template <class WORK> static int64_t ask(void *avp_source, WORK dsp_work) noexcept;
    bool may_go_on() noexcept;
    void make_io();
    bool fill(int64_t ilp_wanted);
    std::span<const uint8_t> take(size_t ulp_most) noexcept;
    int64_t ask_size();
    int64_t move(int64_t ilp_position);
    int64_t reject(const char *strp_complaint, int64_t ilp_value) noexcept;

    c_reader_limits &dsc_limits;
    const c_avformat_ctx *adsc_container = nullptr;
    c_endless_parts dsc_endless_parts;
    std::unique_ptr<ca_byte_source> dsc_source;
    std::span<const uint8_t> utc_pending;  // bytes of the source's block that FFmpeg has not taken
    std::vector<uint8_t> utc_kept;         // until it was read again
    std::span<const uint8_t> utc_repeated; // what is left of it
    int64_t ilc_position = 0;              // of the next byte that FFmpeg gets
    c_flac_comments dsc_comments;
    c_picture_items dsc_items;
    c_forward_boxes dsc_boxes;
    uint64_t ulc_reads = 0;
    size_t ulc_portions = 0;              // that FFmpeg got
    int64_t ilc_known_size = -1;          // as the source returned it last; -1 for unknown
    const char *strc_complaint = nullptr; // a literal that names the invalid value
    int64_t ilc_complaint_value = 0;
    ie_access iec_access;
    bool bc_keeping = false; // what is read can be read again, once
    bool bc_comments = false;
    bool bc_items = false;
    bool bc_boxes = false;
    bool bc_at_end = false;
    bool bc_empty_if_unknown = false;
    bool bc_behind_known_end = false; // FFmpeg is behind the end, and the source was not told
    std::unique_ptr<AVIOContext, dsd_free_io> adsc_io;
};
