#include "bridge/real/loading.h"

#include "bridge/real/number_tables.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

namespace bridge::real
{

namespace
{

/** The majors of the five libraries of one line of FFmpeg, in the order in which they are opened. */
struct dsd_line
{
    int inc_avutil;
    int inc_swresample;
    int inc_swscale;
    int inc_avcodec;
    int inc_avformat;
    int inc_least_avutil_minor; /**< older ones lack functions or fields */
    const char *strc_releases;
};

constexpr dsd_line s_lines[] = {
    {60, 6, 9, 62, 62, 8, "8.0"},
    {59, 5, 8, 61, 61, 8, "7.0 and 7.1"},
    {58, 4, 7, 60, 60, 2, "6.0 and 6.1"},
    {57, 4, 6, 59, 59, 28, "5.1"},
};
constexpr const char *s_supported = "libavcodec 59, 60, 61 and 62 (FFmpeg 5.1 to 8.0) are supported";

/** What FFmpeg's libraries may need of a directory whose files have no run path, in the order of their needs. */
constexpr const char *s_helpers[] = {
    "libdrm.so.2", "libva.so.1", "libva.so.2", "libva.so", "libva-drm.so.1", "libva-drm.so.2", "libva-drm.so",
};

constexpr size_t ul_libraries = 5;
using library_names = std::array<std::string, ul_libraries>;

library_names names_of(const dsd_line &dsp_line)
{
    const auto name = [](const char *strp_library, int inp_major) {
        return std::string(strp_library) + ".so." + std::to_string(inp_major);
    };
    return {name("libavutil", dsp_line.inc_avutil), name("libswresample", dsp_line.inc_swresample),
            name("libswscale", dsp_line.inc_swscale), name("libavcodec", dsp_line.inc_avcodec),
            name("libavformat", dsp_line.inc_avformat)};
}

/** The handles of opened libraries, in the order of dsd_line. They are never closed. */
using handles = std::array<void *, ul_libraries>;

std::string last_error()
{
    const char *strl_error = dlerror();
    return strl_error != nullptr ? strl_error : "unknown error";
}

/** Opens all five; @p strp_error receives the reason if one cannot be opened. */
std::optional<handles> open_all(const dsd_line &dsp_line, const std::string &strp_prefix, std::string &strp_error)
{
    handles avl_handles{};
    const library_names strl_names = names_of(dsp_line);
    for (size_t ull_index = 0; ull_index < ul_libraries; ++ull_index) {
        avl_handles[ull_index] = dlopen((strp_prefix + strl_names[ull_index]).c_str(), RTLD_NOW | RTLD_LOCAL);
        if (avl_handles[ull_index] == nullptr) {
            strp_error = last_error();
            return std::nullopt;
        }
    }
    return avl_handles;
}

/** Looks all functions up. @return the name of the first one that is missing, or null */
const char *look_up(const handles &avp_handles, dsd_ffmpeg &dsp_ffmpeg)
{
    const char *strl_missing = nullptr;
    const auto find = [&](size_t ulp_library, const char *strp_name, auto &dsp_function) {
        void *avl_address = dlsym(avp_handles[ulp_library], strp_name);
        if (avl_address == nullptr && strl_missing == nullptr)
            strl_missing = strp_name;
        dsp_function = reinterpret_cast<std::remove_reference_t<decltype(dsp_function)>>(avl_address);
    };
#define BRIDGE_AVUTIL_LOOK_UP(result, name, parameters) find(0, #name, dsp_ffmpeg.name);
#define BRIDGE_SWRESAMPLE_LOOK_UP(result, name, parameters) find(1, #name, dsp_ffmpeg.name);
#define BRIDGE_SWSCALE_LOOK_UP(result, name, parameters) find(2, #name, dsp_ffmpeg.name);
#define BRIDGE_AVCODEC_LOOK_UP(result, name, parameters) find(3, #name, dsp_ffmpeg.name);
#define BRIDGE_AVFORMAT_LOOK_UP(result, name, parameters) find(4, #name, dsp_ffmpeg.name);
    BRIDGE_AVUTIL_FUNCTIONS(BRIDGE_AVUTIL_LOOK_UP)
    BRIDGE_SWRESAMPLE_FUNCTIONS(BRIDGE_SWRESAMPLE_LOOK_UP)
    BRIDGE_SWSCALE_FUNCTIONS(BRIDGE_SWSCALE_LOOK_UP)
    BRIDGE_AVCODEC_FUNCTIONS(BRIDGE_AVCODEC_LOOK_UP)
    BRIDGE_AVFORMAT_FUNCTIONS(BRIDGE_AVFORMAT_LOOK_UP)
    return strl_missing;
}

constexpr unsigned int major_of(unsigned int unp_version)
{
    return unp_version >> 16;
}

std::string version_text(unsigned int unp_version)
{
    return std::to_string(major_of(unp_version)) + '.' + std::to_string(unp_version >> 8 & 0xFF) + '.' +
           std::to_string(unp_version & 0xFF);
}

/** Compares what the libraries say of themselves with their names. @return what is wrong, empty if nothing is */
std::string check_versions(const dsd_line &dsp_line, const dsd_ffmpeg &dsp_ffmpeg)
{
    const struct
    {
        const char *strc_name;
        unsigned int unc_version;
        int inc_major;
    } dsl_libraries[] = {{"libavutil", dsp_ffmpeg.avutil_version(), dsp_line.inc_avutil},
                         {"libswresample", dsp_ffmpeg.swresample_version(), dsp_line.inc_swresample},
                         {"libswscale", dsp_ffmpeg.swscale_version(), dsp_line.inc_swscale},
                         {"libavcodec", dsp_ffmpeg.avcodec_version(), dsp_line.inc_avcodec},
                         {"libavformat", dsp_ffmpeg.avformat_version(), dsp_line.inc_avformat}};
    for (const auto &dsl_library : dsl_libraries)
        if (static_cast<int>(major_of(dsl_library.unc_version)) != dsl_library.inc_major)
            return std::string(dsl_library.strc_name) + " says that it is " + version_text(dsl_library.unc_version) +
                   " and not " + std::to_string(dsl_library.inc_major);
    if (static_cast<int>(dsp_ffmpeg.avutil_version() >> 8 & 0xFF) < dsp_line.inc_least_avutil_minor)
        return "libavutil " + version_text(dsp_ffmpeg.avutil_version()) + " is not supported, " + s_supported;
    return {};
}

/** The number behind "libavcodec.so.", or nothing. */
std::optional<int> avcodec_major(std::string_view strp_file)
{
    constexpr std::string_view str_prefix = "libavcodec.so.";
    if (!strp_file.starts_with(str_prefix) || strp_file.size() == str_prefix.size() ||
        strp_file.size() > str_prefix.size() + 3)
        return std::nullopt;
    int inl_major = 0;
    for (const char byrl_digit : strp_file.substr(str_prefix.size())) {
        if (byrl_digit < '0' || byrl_digit > '9')
            return std::nullopt;
        inl_major = inl_major * 10 + (byrl_digit - '0');
    }
    return inl_major;
}

/** The files of the bridge. */
constexpr std::string_view s_bridge[] = {"libavutil.so.54", "libswresample.so.1", "libswscale.so.3", "libavcodec.so.56",
                                         "libavformat.so.56"};

/** libavcodec 56 is the bridge itself, or what it stands for. */
constexpr int in_old_avcodec = 56;

std::set<int> majors_in(const std::string &strp_directory)
{
    std::set<int> inl_majors;
    std::error_code dsl_error;
    for (std::filesystem::directory_iterator dsl_entry(strp_directory, dsl_error), dsl_end;
         !dsl_error && dsl_entry != dsl_end; dsl_entry.increment(dsl_error))
        if (const auto inl_major = avcodec_major(dsl_entry->path().filename().native());
            inl_major && *inl_major != in_old_avcodec)
            inl_majors.insert(*inl_major);
    return inl_majors;
}

std::set<int> majors_in_process()
{
    std::set<int> inl_majors;
    dl_iterate_phdr(
        [](dl_phdr_info *adsp_info, size_t, void *avp_majors) {
            const std::string_view strl_path(adsp_info->dlpi_name);
            if (const auto inl_major = avcodec_major(strl_path.substr(strl_path.rfind('/') + 1));
                inl_major && *inl_major != in_old_avcodec)
                static_cast<std::set<int> *>(avp_majors)->insert(*inl_major);
            return 0;
        },
        &inl_majors);
    return inl_majors;
}

/** Opens what the libraries of a directory need of it. What cannot be opened may not be needed. */
void open_helpers(const std::string &strp_directory)
{
    for (const char *strl_helper : s_helpers)
        if (const std::string strl_file = strp_directory + strl_helper; access(strl_file.c_str(), R_OK) == 0)
            dlopen(strl_file.c_str(), RTLD_NOW | RTLD_LOCAL);
}

std::string directory_of(void *avp_function)
{
    Dl_info dsl_info{};
    if (dladdr(avp_function, &dsl_info) == 0 || dsl_info.dli_fname == nullptr)
        return "unknown place";
    const std::string_view strl_file(dsl_info.dli_fname);
    return std::string(strl_file.substr(0, std::min(strl_file.rfind('/'), strl_file.size())));
}

/** Opens one line of FFmpeg. @return false when its libraries cannot be opened; what is wrong with them is an error */
bool open_line(const dsd_line &dsp_line, const std::string &strp_prefix, dsd_loaded &dsp_loaded)
{
    const auto avl_handles = open_all(dsp_line, strp_prefix, dsp_loaded.strc_error);
    if (!avl_handles)
        return false;
    dsd_ffmpeg &dsl_ffmpeg = dsp_loaded.dsc_ffmpeg;
    const char *strl_missing = look_up(*avl_handles, dsl_ffmpeg);
    dsp_loaded.strc_error = strl_missing != nullptr ? std::string("the FFmpeg lacks ") + strl_missing
                                                    : check_versions(dsp_line, dsl_ffmpeg);
    if (!dsp_loaded.strc_error.empty())
        return true;
    dsl_ffmpeg.adsc_layout = find_layout(dsp_line.inc_avcodec);
    dsl_ffmpeg.dsc_numbers = match_numbers(dsl_ffmpeg);
    dsp_loaded.strc_description = std::string("FFmpeg ") + dsl_ffmpeg.av_version_info() + ", libavcodec " +
                                  version_text(dsl_ffmpeg.avcodec_version()) + ", " +
                                  directory_of(reinterpret_cast<void *>(dsl_ffmpeg.avcodec_version));
    return true;
}

/** Opens the newest supported line of the majors. @return whether there is one; then the search is over */
bool open_one_of(const std::set<int> &inp_majors, const std::string &strp_prefix, dsd_loaded &dsp_loaded)
{
    for (const dsd_line &dsl_line : s_lines) {
        if (!inp_majors.contains(dsl_line.inc_avcodec))
            continue;
        open_line(dsl_line, strp_prefix, dsp_loaded);
        return true;
    }
    if (!inp_majors.empty())
        dsp_loaded.strc_error =
            "libavcodec " + std::to_string(*inp_majors.rbegin()) + " is not supported, " + s_supported;
    return !inp_majors.empty();
}

} // namespace

std::vector<std::string> bridge_directories()
{
    std::vector<std::string> strl_directories;
    dl_iterate_phdr(
        [](dl_phdr_info *adsp_info, size_t, void *avp_directories) {
            const std::string_view strl_path(adsp_info->dlpi_name);
            const size_t ull_slash = strl_path.rfind('/');
            if (ull_slash == std::string_view::npos ||
                std::ranges::find(s_bridge, strl_path.substr(ull_slash + 1)) == std::end(s_bridge))
                return 0;
            auto &strl_found = *static_cast<std::vector<std::string> *>(avp_directories);
            if (const std::string strl_directory(strl_path.substr(0, ull_slash));
                std::ranges::find(strl_found, strl_directory) == strl_found.end())
                strl_found.push_back(strl_directory);
            return 0;
        },
        &strl_directories);
    return strl_directories;
}

dsd_loaded load(const std::vector<std::string> &strp_directories)
{
    dsd_loaded dsl_loaded;
    for (const std::string &strl_directory : strp_directories) {
        const std::set<int> inl_beside = majors_in(strl_directory);
        if (inl_beside.empty())
            continue;
        open_helpers(strl_directory + '/');
        open_one_of(inl_beside, strl_directory + '/', dsl_loaded);
        return dsl_loaded;
    }
    if (open_one_of(majors_in_process(), {}, dsl_loaded))
        return dsl_loaded;
    for (const dsd_line &dsl_line : s_lines)
        if (open_line(dsl_line, {}, dsl_loaded))
            return dsl_loaded;
    dsl_loaded.strc_error =
        std::string("no FFmpeg found beside the bridge, in the process or in the system; ") + s_supported;
    return dsl_loaded;
}

} // namespace bridge::real
