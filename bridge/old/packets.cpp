#include "bridge/old/packets.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

namespace bridge::old
{

namespace
{

/** The types from here on have another number in the 56 line than in the newer FFmpeg, where they follow the first ones. */
constexpr int in_first_moved_old = 70;
constexpr int in_first_moved_real = 11;
constexpr int in_moved = 8;
/** What the 56 line does not know keeps its newer number, behind all of the old ones. */
constexpr int in_first_young = 0x1000;

int type_to_old(int inp_real)
{
    // The types 9 and 10, a track for a fallback and properties of a bit stream, came with the end of the 56 line.
    if (inp_real < in_first_moved_real - 2)
        return inp_real;
    if (inp_real >= in_first_moved_real && inp_real < in_first_moved_real + in_moved)
        return inp_real - in_first_moved_real + in_first_moved_old;
    return inp_real + in_first_young;
}

/** A packet's flags in the 56 line: a key frame, and damage. That it is not to be heard or shown is younger. */
constexpr int in_known_flags = 3 | AV_PKT_FLAG_DISCARD;

/** An element of merged side data is followed by its size and its type. */
constexpr int in_element_trailer = 5;
constexpr int in_marker_size = 8;

/** The form has seven bits for a type, which is enough for all that the 56 line knows. */
bool can_be_merged(const AVPacketSideData &dsp_element)
{
    return dsp_element.type < in_first_side_data;
}

uint64_t read_big_endian(std::span<const uint8_t> utp_bytes)
{
    uint64_t ull_value = 0;
    for (const uint8_t utl_byte : utp_bytes)
        ull_value = ull_value << 8 | utl_byte;
    return ull_value;
}

uint8_t *write_big_endian(uint64_t ulp_value, int inp_bytes, uint8_t *autp_to)
{
    for (int inl_byte = inp_bytes - 1; inl_byte >= 0; --inl_byte)
        *autp_to++ = static_cast<uint8_t>(ulp_value >> 8 * inl_byte);
    return autp_to;
}

void add_real_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, real::packet &dsp_packet, int inp_old_type,
                        std::span<const uint8_t> utp_bytes)
{
    uint8_t *autl_copy =
        dsp_ffmpeg.av_packet_new_side_data(&dsp_packet, side_data_type_to_real(inp_old_type), utp_bytes.size());
    if (autl_copy == nullptr)
        throw std::bad_alloc();
    std::ranges::copy(utp_bytes, autl_copy);
}

} // namespace

int side_data_type_to_real(int inp_old) noexcept
{
    if (inp_old >= in_first_young)
        return inp_old - in_first_young;
    return inp_old >= in_first_moved_old ? inp_old - in_first_moved_old + in_first_moved_real : inp_old;
}

real_packet make_packet(const real::dsd_ffmpeg &dsp_ffmpeg)
{
    real_packet dsl_packet(dsp_ffmpeg.av_packet_alloc(), {&dsp_ffmpeg});
    if (dsl_packet == nullptr)
        throw std::bad_alloc();
    return dsl_packet;
}

void set_packet_defaults(AVPacket &dsp_packet) noexcept
{
    uint8_t *autl_data = dsp_packet.data;
    const int inl_size = dsp_packet.size;
    std::memset(&dsp_packet, 0, sizeof dsp_packet);
    dsp_packet.data = autl_data;
    dsp_packet.size = inl_size;
    dsp_packet.pts = AV_NOPTS_VALUE;
    dsp_packet.dts = AV_NOPTS_VALUE;
    dsp_packet.pos = -1;
}

void free_packet(const real::dsd_ffmpeg &dsp_ffmpeg, AVPacket &dsp_packet) noexcept
{
    dsp_ffmpeg.av_buffer_unref(&dsp_packet.buf);
    dsp_packet.data = nullptr;
    dsp_packet.size = 0;
    for (int inl_element = 0; inl_element < dsp_packet.side_data_elems; ++inl_element)
        dsp_ffmpeg.av_freep(&dsp_packet.side_data[inl_element].data);
    dsp_ffmpeg.av_freep(&dsp_packet.side_data);
    dsp_packet.side_data_elems = 0;
}

void move_packet(const real::dsd_ffmpeg &dsp_ffmpeg, real::packet &dsp_from, AVPacket &dsp_to)
{
    AVPacketSideData *adsl_side_data = nullptr;
    if (dsp_from.side_data_elems > 0) {
        adsl_side_data = static_cast<AVPacketSideData *>(
            dsp_ffmpeg.av_mallocz(sizeof(AVPacketSideData) * static_cast<size_t>(dsp_from.side_data_elems)));
        if (adsl_side_data == nullptr)
            throw std::bad_alloc();
    }
    for (int inl_element = 0; inl_element < dsp_from.side_data_elems; ++inl_element) {
        real::packet_side_data &dsl_from = dsp_from.side_data[inl_element];
        adsl_side_data[inl_element] = {std::exchange(dsl_from.data, nullptr), static_cast<int>(dsl_from.size),
                                       type_to_old(dsl_from.type)};
    }
    set_packet_defaults(dsp_to);
    dsp_to.side_data = adsl_side_data;
    dsp_to.side_data_elems = dsp_from.side_data_elems;
    dsp_to.buf = std::exchange(dsp_from.buf, nullptr);
    dsp_to.data = std::exchange(dsp_from.data, nullptr);
    dsp_to.size = std::exchange(dsp_from.size, 0);
    dsp_to.pts = dsp_from.pts;
    dsp_to.dts = dsp_from.dts;
    dsp_to.stream_index = dsp_from.stream_index;
    dsp_to.flags = dsp_from.flags & in_known_flags;
    dsp_to.duration = static_cast<int>(std::clamp<int64_t>(dsp_from.duration, INT_MIN, INT_MAX));
    dsp_to.pos = dsp_from.pos;
    dsp_ffmpeg.av_packet_unref(&dsp_from);
}

uint8_t *add_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, AVPacket &dsp_packet, int inp_type, int inp_size)
{
    const auto ull_elements = static_cast<size_t>(dsp_packet.side_data_elems);
    auto *adsl_more =
        static_cast<AVPacketSideData *>(dsp_ffmpeg.av_mallocz(sizeof(AVPacketSideData) * (ull_elements + 1)));
    auto *autl_bytes =
        static_cast<uint8_t *>(dsp_ffmpeg.av_mallocz(static_cast<size_t>(inp_size) + FF_INPUT_BUFFER_PADDING_SIZE));
    if (adsl_more == nullptr || autl_bytes == nullptr) {
        dsp_ffmpeg.av_freep(&adsl_more);
        dsp_ffmpeg.av_freep(&autl_bytes);
        throw std::bad_alloc();
    }
    std::copy_n(dsp_packet.side_data, ull_elements, adsl_more);
    adsl_more[ull_elements] = {autl_bytes, inp_size, inp_type};
    dsp_ffmpeg.av_freep(&dsp_packet.side_data);
    dsp_packet.side_data = adsl_more;
    ++dsp_packet.side_data_elems;
    return autl_bytes;
}

void merge_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, AVPacket &dsp_packet)
{
    if (dsp_packet.side_data_elems == 0)
        return;
    const std::span dsl_elements(dsp_packet.side_data, static_cast<size_t>(dsp_packet.side_data_elems));
    int64_t ill_size = int64_t{dsp_packet.size} + in_marker_size;
    for (const AVPacketSideData &dsl_element : dsl_elements)
        ill_size += can_be_merged(dsl_element) ? int64_t{dsl_element.size} + in_element_trailer : 0;
    if (ill_size > INT_MAX - FF_INPUT_BUFFER_PADDING_SIZE)
        throw std::bad_alloc();
    AVBufferRef *adsl_buffer = dsp_ffmpeg.av_buffer_alloc(static_cast<size_t>(ill_size) + FF_INPUT_BUFFER_PADDING_SIZE);
    if (adsl_buffer == nullptr)
        throw std::bad_alloc();
    uint8_t *autl_bytes = real::fields_of(adsl_buffer).data;
    uint8_t *autl_to = std::copy_n(dsp_packet.data, dsp_packet.size, autl_bytes);
    int inl_mark = in_first_side_data;
    for (size_t ull_element = dsl_elements.size(); ull_element-- > 0;) {
        const AVPacketSideData &dsl_element = dsl_elements[ull_element];
        if (!can_be_merged(dsl_element))
            continue;
        autl_to = std::copy_n(dsl_element.data, dsl_element.size, autl_to);
        autl_to = write_big_endian(static_cast<uint64_t>(dsl_element.size), 4, autl_to);
        autl_to = write_big_endian(static_cast<uint64_t>(dsl_element.type | std::exchange(inl_mark, 0)), 1, autl_to);
    }
    autl_to = write_big_endian(FF_MERGE_MARKER, in_marker_size, autl_to);
    std::fill_n(autl_to, FF_INPUT_BUFFER_PADDING_SIZE, uint8_t{0});
    free_packet(dsp_ffmpeg, dsp_packet);
    dsp_packet.buf = adsl_buffer;
    dsp_packet.data = autl_bytes;
    dsp_packet.size = static_cast<int>(ill_size);
}

int split_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, std::span<const uint8_t> utp_bytes, real::packet &dsp_to)
{
    const auto inl_whole = static_cast<int>(utp_bytes.size());
    if (utp_bytes.size() <= in_marker_size || utp_bytes.back() != (FF_MERGE_MARKER & 0xFF) ||
        read_big_endian(utp_bytes.last(in_marker_size)) != FF_MERGE_MARKER)
        return inl_whole;
    std::span<const uint8_t> utl_rest = utp_bytes.first(utp_bytes.size() - in_marker_size);
    struct dsd_element
    {
        int inc_type;
        std::span<const uint8_t> utc_bytes;
    };
    std::array<dsd_element, in_first_side_data> dsl_elements;
    size_t ull_count = 0;
    for (bool bl_first = false; !bl_first;) {
        if (utl_rest.size() < in_element_trailer || ull_count == dsl_elements.size())
            return inl_whole;
        const int inl_type = utl_rest.back();
        const uint64_t ull_size = read_big_endian(utl_rest.last(in_element_trailer).first(4));
        utl_rest = utl_rest.first(utl_rest.size() - in_element_trailer);
        if (ull_size > utl_rest.size())
            return inl_whole;
        dsl_elements[ull_count++] = {inl_type & (in_first_side_data - 1), utl_rest.last(ull_size)};
        utl_rest = utl_rest.first(utl_rest.size() - ull_size);
        bl_first = (inl_type & in_first_side_data) != 0;
    }
    for (const dsd_element &dsl_element : std::span(dsl_elements).first(ull_count))
        add_real_side_data(dsp_ffmpeg, dsp_to, dsl_element.inc_type, dsl_element.utc_bytes);
    return static_cast<int>(utl_rest.size());
}

void copy_side_data(const real::dsd_ffmpeg &dsp_ffmpeg, const AVPacket &dsp_from, real::packet &dsp_to)
{
    for (const AVPacketSideData &dsl_element :
         std::span(dsp_from.side_data, static_cast<size_t>(dsp_from.side_data_elems)))
        if (dsl_element.data != nullptr && dsl_element.size > 0 && dsl_element.type != INT_MAX)
            add_real_side_data(dsp_ffmpeg, dsp_to, dsl_element.type,
                               {dsl_element.data, static_cast<size_t>(dsl_element.size)});
}

} // namespace bridge::old
