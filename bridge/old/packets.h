/** @file Packets in the 56 line's layout, and their side data. */
#pragma once

#include "bridge/real/ffmpeg.h"
#include "kivjniffmpeg/ffmpeg/abi.h"

#include <memory>
#include <span>

namespace bridge::old
{

struct dsd_free_packet
{
    const real::dsd_ffmpeg *adsc_ffmpeg;
    void operator()(real::packet *adsp_packet) const noexcept { adsc_ffmpeg->av_packet_free(&adsp_packet); }
};
using real_packet = std::unique_ptr<real::packet, dsd_free_packet>;

/** An empty packet of FFmpeg's. @throws std::bad_alloc */
real_packet make_packet(const real::dsd_ffmpeg &dsp_ffmpeg);

/** Everything but data and size. */
void set_packet_defaults(AVPacket &dsp_packet) noexcept;

/** Frees the side data and releases the bytes. The packet is empty then. */
void free_packet(const real::dsd_ffmpeg &dsp_ffmpeg, AVPacket &dsp_packet) noexcept;

/** Moves the packet's bytes and side data. @throws std::bad_alloc; nothing has changed then */
void move_packet(const real::dsd_ffmpeg &dsp_ffmpeg, real::packet &dsp_from, AVPacket &dsp_to);

/** Appends side data of a type of the 56 line. @return its bytes, with padding. @throws std::bad_alloc */
uint8_t *add_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, AVPacket &dsp_packet, int inp_type, int inp_size);

/** Writes the side data behind the bytes, as av_read_frame of the 56 line does. @throws std::bad_alloc */
void merge_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, AVPacket &dsp_packet);

/**
 * Reads side data that was written behind the bytes. The sizes are checked: whatever the bytes hold, nothing outside is
 * read.
 *
 * @param dsp_to receives the side data
 * @return how many of the bytes are the packet's own
 */
int split_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, std::span<const uint8_t> utp_bytes, real::packet &dsp_to);

/** The newer FFmpeg's number of a type of side data. */
int side_data_type_to_real(int inp_old) noexcept;

/** Copies the side data of an old packet. @throws std::bad_alloc */
void copy_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, const AVPacket &dsp_from, real::packet &dsp_to);

} // namespace bridge::old
