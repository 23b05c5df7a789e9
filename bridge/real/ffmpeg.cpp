#include "bridge/real/ffmpeg.h"

#include "bridge/real/loading.h"

#include <dlfcn.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace bridge::real
{

namespace
{

/** The directory of the file that has this code. */
std::string own_directory()
{
    Dl_info dsl_info{};
    if (dladdr(reinterpret_cast<const void *>(&kiv_bridge_ffmpeg), &dsl_info) == 0 || dsl_info.dli_fname == nullptr)
        return ".";
    const std::string_view strl_file(dsl_info.dli_fname);
    const size_t ull_slash = strl_file.rfind('/');
    return ull_slash == std::string_view::npos ? "." : std::string(strl_file.substr(0, ull_slash));
}

const dsd_loaded &loaded()
{
    // Never destroyed: other threads and the destructors of other libraries may use it until the process ends.
    alignas(dsd_loaded) static std::byte utl_memory[sizeof(dsd_loaded)];
    static const dsd_loaded &dsl_loaded = [&]() -> const dsd_loaded & {
        const dsd_loaded *adsl_made =
            std::construct_at(reinterpret_cast<dsd_loaded *>(utl_memory), load(own_directory()));
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
        return loaded().strc_error.empty() ? &loaded().dsc_ffmpeg : nullptr;
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
