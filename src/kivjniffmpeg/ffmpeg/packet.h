/** @file One compressed packet on its way into a decoder or out of an encoder. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <cstdint>
#include <span>

/**
 * Owns an AVPacket. The bytes are the caller's (set_data) or this object's own (merge); FFmpeg's payload, if it made one,
 * is freed with the packet.
 */
class c_avpacket
{
public:
    /** An empty packet. @throws std::bad_alloc */
    c_avpacket();
    virtual ~c_avpacket();
    c_avpacket(const c_avpacket &) = delete;
    c_avpacket &operator=(const c_avpacket &) = delete;

    AVPacket *packet() const noexcept { return adsc_packet; }
    uint8_t *data() const noexcept { return adsc_packet->data; }
    int size() const noexcept { return adsc_packet->size; }

    /** @param autp_data stays the caller's; must have FF_INPUT_BUFFER_PADDING_SIZE zeroed bytes behind the size set */
    void set_data(uint8_t *autp_data) noexcept { adsc_packet->data = autp_data; }
    void set_size(int inp_size) noexcept { adsc_packet->size = inp_size; }
    void set_pts(int64_t ilp_pts) noexcept { adsc_packet->pts = ilp_pts; }
    void set_dts(int64_t ilp_dts) noexcept { adsc_packet->dts = ilp_dts; }

    /** av_init_packet: everything but data and size back to its default. */
    void initialise() noexcept;
    /**
     * Keeps FFmpeg from taking the end of the bytes for side data, which it does whenever they end in its mark, whoever
     * put it there, and believes unchecked. A palette of the right size stays one. To be called before each decoding.
     */
    void guard_side_data() noexcept;
    /** av_free_packet: frees what FFmpeg allocated for the packet. */
    void free_payload() noexcept;

    /** Consumes bytes from the front; more than there are leave an empty packet without data. */
    void inc_read_ptr(int inp_bytes) noexcept;

    /**
     * Appends the other packet's bytes behind this one's, into memory of this object with zeroed padding behind it.
     *
     * @throws std::bad_alloc also when the sum exceeds what a packet can say; nothing has changed then
     */
    void merge(const c_avpacket &dsp_other);

    /** Appends the palette among the side data, if there is one, as FFmpeg's decoders look for it. @throws std::bad_alloc */
    void append_palette();

private:
    uint8_t *autc_owned = nullptr;
    AVPacket *adsc_packet;
};
