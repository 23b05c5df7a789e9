#include "kivjniffmpeg/packet.h"

#include "kivjniffmpeg/ffmpeg_loader.h"
#include "trace/trace.h"

#include <climits>
#include <cstring>
#include <new>

c_avpacket::c_avpacket() : adsc_packet(static_cast<AVPacket *>(g_avutil.av_malloc(sizeof(AVPacket))))
{
    TRACE_FUNCTION("c_avpacket", 3);
    if (adsc_packet == nullptr)
        throw std::bad_alloc();
    adsc_packet->data = nullptr;
    adsc_packet->size = 0;
    initialise();
}

c_avpacket::~c_avpacket()
{
    TRACE_FUNCTION("~c_avpacket", 3);
    g_avutil.av_freep(&autc_owned);
    free_payload();
    g_avutil.av_freep(&adsc_packet);
}

void c_avpacket::initialise() noexcept
{
    g_avcodec.av_init_packet(adsc_packet);
}

void c_avpacket::free_payload() noexcept
{
    g_avcodec.av_free_packet(adsc_packet);
}

void c_avpacket::inc_read_ptr(int imp_bytes) noexcept
{
    if (imp_bytes > size()) {
        set_size(0);
        set_data(nullptr);
        return;
    }
    adsc_packet->data += imp_bytes;
    adsc_packet->size -= imp_bytes;
}

void c_avpacket::merge(const c_avpacket &dsp_other)
{
    TRACE_FUNCTION("merge", 3);
    if (dsp_other.size() > INT_MAX - FF_INPUT_BUFFER_PADDING_SIZE - size())
        throw std::bad_alloc();
    const auto uml_first = static_cast<size_t>(size());
    const auto uml_second = static_cast<size_t>(dsp_other.size());
    auto *autl_merged =
        static_cast<uint8_t *>(g_avutil.av_malloc(uml_first + uml_second + FF_INPUT_BUFFER_PADDING_SIZE));
    if (autl_merged == nullptr)
        throw std::bad_alloc();
    if (uml_first != 0)
        std::memcpy(autl_merged, data(), uml_first);
    if (uml_second != 0)
        std::memcpy(autl_merged + uml_first, dsp_other.data(), uml_second);
    std::memset(autl_merged + uml_first + uml_second, 0, FF_INPUT_BUFFER_PADDING_SIZE);
    // Only now: the bytes just copied may have lain in it.
    g_avutil.av_freep(&autc_owned);
    autc_owned = autl_merged;
    set_data(autl_merged);
    set_size(size() + dsp_other.size());
}
