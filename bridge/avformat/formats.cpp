#include "bridge/avformat/formats.h"

#include "bridge/old/packets.h"

#include <map>
#include <mutex>

namespace bridge::avformat
{

namespace
{

struct dsd_format
{
    AVInputFormat dsc_old;
    const real::input_format *adsc_real;
};

int announce_packet(AVFormatContext *, AVPacket *adsp_packet)
{
    old::set_packet_defaults(*adsp_packet);
    return 0;
}

} // namespace

AVInputFormat *old_format(const real::input_format *adsp_real)
{
    static std::mutex dsl_mutex;
    static std::map<const real::input_format *, dsd_format> dsl_formats;
    if (adsp_real == nullptr)
        return nullptr;
    const std::scoped_lock dsl_lock(dsl_mutex);
    const auto [dsl_place, bl_new] = dsl_formats.try_emplace(adsp_real);
    dsd_format &dsl_format = dsl_place->second;
    if (bl_new) {
        dsl_format.dsc_old.name = adsp_real->name;
        dsl_format.dsc_old.long_name = adsp_real->long_name;
        dsl_format.dsc_old.flags = adsp_real->flags;
        dsl_format.dsc_old.read_packet = &announce_packet;
        dsl_format.adsc_real = adsp_real;
    }
    return &dsl_format.dsc_old;
}

const real::input_format *real_format(const AVInputFormat *adsp_format) noexcept
{
    return adsp_format == nullptr ? nullptr : reinterpret_cast<const dsd_format *>(adsp_format)->adsc_real;
}

} // namespace bridge::avformat
