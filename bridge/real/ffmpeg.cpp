#include "bridge/real/ffmpeg.h"

#include "bridge/real/loading.h"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>

namespace bridge::real
{

namespace
{

const dsd_loaded &loaded()
{
    // Never destroyed: other threads and the destructors of other libraries may use it until the process ends.
    alignas(dsd_loaded) static std::byte utl_memory[sizeof(dsd_loaded)];
    static const dsd_loaded &dsl_loaded = [&]() -> const dsd_loaded & {
        const dsd_loaded *adsl_made =
            std::construct_at(reinterpret_cast<dsd_loaded *>(utl_memory), load(bridge_directories()));
        if (!adsl_made->strc_error.empty())
            std::fprintf(stderr, "ffmpeg bridge: %s\n", adsl_made->strc_error.c_str());
        return *adsl_made;
    }();
    return dsl_loaded;
}

} // namespace

} // namespace bridge::real

using bridge::real::loaded;

const bridge::real::dsd_ffmpeg *kiv_bridge_ffmpeg(void) noexcept
{
    try {
        const auto &dsl_loaded = loaded();
        return dsl_loaded.strc_error.empty() ? &dsl_loaded.dsc_ffmpeg : nullptr;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

const char *kiv_bridge_error(void) noexcept
{
    if (kiv_bridge_ffmpeg() != nullptr)
        return nullptr;
    try {
        return loaded().strc_error.c_str();
    } catch (const std::bad_alloc &) {
        return "no memory";
    }
}

const char *kiv_bridge_description(void) noexcept
{
    return kiv_bridge_ffmpeg() == nullptr ? nullptr : loaded().strc_description.c_str();
}
