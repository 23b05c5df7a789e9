#include "kivjniffmpeg/ffmpeg/packet.h"

#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/ffmpeg/padded_bytes.h"
#include "trace/trace.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <new>
#include <span>

namespace
{

/** Side data of a type that does not exist. FFmpeg looks for side data in the bytes only when a packet has none. */
AVPacketSideData s_no_side_data{nullptr, 0, INT_MAX};

/** Writes a number big-endian. */
constexpr void put(uint64_t ulp_value, std::span<uint8_t> utp_to)
{
    for (auto dsl_byte = utp_to.rbegin(); dsl_byte != utp_to.rend(); ++dsl_byte, ulp_value >>= 8)
        *dsl_byte = static_cast<uint8_t>(ulp_value);
}

/** What FFmpeg writes behind a palette that is all of the side data: its size, its type, the marker. */
constexpr size_t ul_palette_size = AVPALETTE_SIZE;
constexpr size_t ul_mark_size = sizeof FF_MERGE_MARKER;
constexpr auto ut_palette_trailer = [] {
    std::array<uint8_t, 5 + ul_mark_size> utl_trailer{};
    put(AVPALETTE_SIZE, std::span(utl_trailer).first(4));
    utl_trailer[4] = in_first_side_data | AV_PKT_DATA_PALETTE;
    put(FF_MERGE_MARKER, std::span(utl_trailer).last(ul_mark_size));
    return utl_trailer;
}();

bool ends_in(std::span<const uint8_t> utp_bytes, std::span<const uint8_t> utp_end)
{
    return utp_bytes.size() >= utp_end.size() && std::ranges::equal(utp_bytes.last(utp_end.size()), utp_end);
}

} // namespace

c_avpacket::c_avpacket()
{
    TRACE_FUNCTION(3);
    dsc_packet.data = nullptr;
    dsc_packet.size = 0;
    initialise();
}

c_avpacket::~c_avpacket()
{
    TRACE_FUNCTION(3);
    g_avutil.av_freep(&autc_owned);
    free_payload();
}

void c_avpacket::initialise() noexcept
{
    g_avcodec.av_init_packet(&dsc_packet);
}

void c_avpacket::guard_side_data() noexcept
{
    const std::span utl_bytes(data(), static_cast<size_t>(size()));
    if (!ends_in(utl_bytes, std::span(ut_palette_trailer).last(ul_mark_size)) ||
        (ends_in(utl_bytes, ut_palette_trailer) && utl_bytes.size() >= ul_palette_size + ut_palette_trailer.size()))
        return;
    dsc_packet.side_data = &s_no_side_data;
    dsc_packet.side_data_elems = 1;
}

void c_avpacket::append_palette()
{
    for (int inl_index = 0; inl_index < dsc_packet.side_data_elems; ++inl_index) {
        const AVPacketSideData &dsl_data = dsc_packet.side_data[inl_index];
        if (dsl_data.type != AV_PKT_DATA_PALETTE || dsl_data.size != ul_palette_size)
            continue;
        std::array<uint8_t, ul_palette_size + ut_palette_trailer.size()> utl_palette{};
        std::ranges::copy(ut_palette_trailer, std::copy_n(dsl_data.data, ul_palette_size, utl_palette.begin()));
        c_avpacket dsl_palette;
        dsl_palette.set_data(utl_palette.data());
        dsl_palette.set_size(static_cast<int>(utl_palette.size()));
        merge(dsl_palette);
        return;
    }
}

void c_avpacket::free_payload() noexcept
{
    if (dsc_packet.side_data == &s_no_side_data) {
        dsc_packet.side_data = nullptr;
        dsc_packet.side_data_elems = 0;
    }
    g_avcodec.av_free_packet(&dsc_packet);
}

void c_avpacket::inc_read_ptr(int inp_bytes) noexcept
{
    if (inp_bytes > size()) {
        set_size(0);
        set_data(nullptr);
        return;
    }
    dsc_packet.data += inp_bytes;
    dsc_packet.size -= inp_bytes;
}

void c_avpacket::merge(const c_avpacket &dsp_other)
{
    TRACE_FUNCTION(3);
    if (dsp_other.size() > INT_MAX - static_cast<int>(ul_input_padding) - size())
        throw std::bad_alloc();
    const auto ull_first = static_cast<size_t>(size());
    const auto ull_second = static_cast<size_t>(dsp_other.size());
    auto *autl_merged = static_cast<uint8_t *>(g_avutil.av_malloc(ull_first + ull_second + ul_input_padding));
    if (autl_merged == nullptr)
        throw std::bad_alloc();
    if (ull_first != 0)
        std::memcpy(autl_merged, data(), ull_first);
    if (ull_second != 0)
        std::memcpy(autl_merged + ull_first, dsp_other.data(), ull_second);
    std::memset(autl_merged + ull_first + ull_second, 0, ul_input_padding);
    // After the copy, because the copied bytes may lie in it.
    g_avutil.av_freep(&autc_owned);
    autc_owned = autl_merged;
    set_data(autl_merged);
    set_size(size() + dsp_other.size());
}
