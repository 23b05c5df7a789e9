/** @file One compressed packet on its way into a decoder or out of an encoder. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <cstdint>
#include <span>

/**
 * Owns an AVPacket. Its bytes are the caller's (set_data) or its own (merge). Bytes that FFmpeg allocated are freed
 * with the packet.
 */
class c_avpacket
{
public:
    /** An empty packet. */
    c_avpacket();
    virtual ~c_avpacket();
    c_avpacket(const c_avpacket &) = delete;
    c_avpacket &operator=(const c_avpacket &) = delete;

    AVPacket *packet() noexcept { return &dsc_packet; }
    const AVPacket *packet() const noexcept { return &dsc_packet; }
    uint8_t *data() const noexcept { return dsc_packet.data; }
    int size() const noexcept { return dsc_packet.size; }

    /** @param autp_data stays the caller's; FF_INPUT_BUFFER_PADDING_SIZE zeroed bytes must follow its size */
    void set_data(uint8_t *autp_data) noexcept { dsc_packet.data = autp_data; }
    void set_size(int inp_size) noexcept { dsc_packet.size = inp_size; }
    void set_pts(int64_t ilp_pts) noexcept { dsc_packet.pts = ilp_pts; }
    void set_dts(int64_t ilp_dts) noexcept { dsc_packet.dts = ilp_dts; }

    /** av_init_packet: sets the defaults of everything but data and size. */
    void initialise() noexcept;
    /**
     * Prevents FFmpeg from reading side data out of the bytes, which it does, without a check, whenever they end in its
     * marker. A palette of the right size remains side data. Called before each decoding.
     */
    void guard_side_data() noexcept;
    /** av_free_packet: frees what FFmpeg allocated for the packet. */
    void free_payload() noexcept;

    /** Consumes bytes from the front. Consuming more than there are leaves an empty packet without data. */
    void inc_read_ptr(int inp_bytes) noexcept;

    /**
     * Appends the other packet's bytes, in memory of this packet's own with zeroed padding behind it.
     *
     * @throws std::bad_alloc also when the sum is larger than a packet's size can be; nothing has changed then
     */
    void merge(const c_avpacket &dsp_other);

    /** Merges a palette in the side data into the bytes, where FFmpeg's decoders look for it. @throws std::bad_alloc */
    void append_palette();

private:
    uint8_t *autc_owned = nullptr;
    AVPacket dsc_packet; // without memory of its own, because packets of sound are small: this is noticed
};
