#include "kivjniffmpeg/ffmpeg/loader.h"

#include "jni/exceptions.h"

#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <span>

c_avcodec_table g_avcodec;
c_avformat_table g_avformat;
c_swresample_table g_swresample;
c_avutil_table g_avutil;
c_swscale_table g_swscale;

namespace
{

/** One function or table to look up, and where its address goes. */
struct dsd_symbol
{
    const char *strc_name;
    void (*store)(void *avp_address);
};

enum class ie_state
{
    untried,
    usable,
    failed
};

/** How one library is opened, and the messages when that fails. */
struct dsd_library
{
    const char *strc_file;
    const char *strc_open_message; // with the reason, and before it the file of libavcodec
    bool bc_message_names_file;
    const char *strc_symbol_message;
    void **aavc_handle;
    std::span<const dsd_symbol> dsc_symbols;
    std::span<const dsd_symbol> dsc_extensions;
    ie_state iec_state = ie_state::untried;
};

#define KIV_SYMBOL(table, name)                                                                                        \
    dsd_symbol{#name, [](void *avp_address) { table.name = reinterpret_cast<decltype(table.name)>(avp_address); }},
#define KIV_AVCODEC_SYMBOL(result, name, parameters) KIV_SYMBOL(g_avcodec, name)
#define KIV_AVFORMAT_SYMBOL(result, name, parameters) KIV_SYMBOL(g_avformat, name)
#define KIV_SWRESAMPLE_SYMBOL(result, name, parameters) KIV_SYMBOL(g_swresample, name)
#define KIV_AVUTIL_SYMBOL(result, name, parameters) KIV_SYMBOL(g_avutil, name)
#define KIV_SWSCALE_SYMBOL(result, name, parameters) KIV_SYMBOL(g_swscale, name)

constexpr dsd_symbol s_avcodec_symbols[] = {KIV_AVCODEC_SYMBOLS(KIV_AVCODEC_SYMBOL)};
constexpr dsd_symbol s_avformat_symbols[] = {KIV_AVFORMAT_SYMBOLS(KIV_AVFORMAT_SYMBOL)};
constexpr dsd_symbol s_swresample_symbols[] = {KIV_SWRESAMPLE_SYMBOLS(KIV_SWRESAMPLE_SYMBOL)};
constexpr dsd_symbol s_avutil_symbols[] = {KIV_AVUTIL_SYMBOLS(KIV_AVUTIL_SYMBOL)
                                               KIV_SYMBOL(g_avutil, av_pix_fmt_descriptors)};
constexpr dsd_symbol s_swscale_symbols[] = {KIV_SWSCALE_SYMBOLS(KIV_SWSCALE_SYMBOL)};
constexpr dsd_symbol s_avcodec_extensions[] = {KIV_AVCODEC_EXTENSIONS(KIV_AVCODEC_SYMBOL)};
constexpr dsd_symbol s_avformat_extensions[] = {KIV_AVFORMAT_EXTENSIONS(KIV_AVFORMAT_SYMBOL)};
constexpr dsd_symbol s_avutil_extensions[] = {KIV_AVUTIL_EXTENSIONS(KIV_AVUTIL_SYMBOL)};
constexpr dsd_symbol s_swscale_extensions[] = {KIV_SWSCALE_EXTENSIONS(KIV_SWSCALE_SYMBOL)};

std::array<dsd_library, 5> s_libraries{{
    {"libavcodec.so.56", "error loading libavcodec in %s: %s\n", true, "error searching for libavcodec symbols: %s\n",
     &g_avcodec.avc_handle, s_avcodec_symbols, s_avcodec_extensions},
    {"libavformat.so.56", "error loading libavformat: %s\n", false, "error loading libavformat: %s\n",
     &g_avformat.avc_handle, s_avformat_symbols, s_avformat_extensions},
    {"libswresample.so.1",
     "error loading libswresample: %s\n",
     false,
     "error loading libswresample: %s\n",
     &g_swresample.avc_handle,
     s_swresample_symbols,
     {}},
    {"libavutil.so.54", "error loading libavutil: %s\n", false, "error loading libavutil: %s\n", &g_avutil.avc_handle,
     s_avutil_symbols, s_avutil_extensions},
    {"libswscale.so.3", "error loading libswscale: %s\n", false, "error loading libswscale: %s\n",
     &g_swscale.avc_handle, s_swscale_symbols, s_swscale_extensions},
}};

bool s_all_loaded = false;

/** Reports a failure on standard error. @p strp_file is null when the message does not name the file. */
void report(const char *strp_message, const char *strp_file)
{
    const char *strl_reason = dlerror();
    if (strl_reason == nullptr)
        strl_reason = "unknown error";
        // The messages are the constants of the table above.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (strp_file != nullptr)
        std::fprintf(stderr, strp_message, strp_file, strl_reason);
    else
        std::fprintf(stderr, strp_message, strl_reason);
#pragma GCC diagnostic pop
}

/** Opens one library and fills its table. @return false after a message */
bool open_library(dsd_library &dsp_library, const char *strp_dir)
{
    char byrl_path[4096];
    const char *strl_file = dsp_library.strc_file;
    if (strp_dir != nullptr) {
        std::snprintf(byrl_path, sizeof byrl_path, "%s/%s", strp_dir, dsp_library.strc_file);
        strl_file = byrl_path;
    }
    void *avl_handle = dlopen(strl_file, RTLD_NOW | RTLD_GLOBAL);
    if (avl_handle == nullptr) {
        report(dsp_library.strc_open_message, dsp_library.bc_message_names_file ? strl_file : nullptr);
        return false;
    }
    *dsp_library.aavc_handle = avl_handle;
    for (const dsd_symbol &dsl_symbol : dsp_library.dsc_symbols) {
        void *avl_address = dlsym(avl_handle, dsl_symbol.strc_name);
        if (avl_address == nullptr) {
            report(dsp_library.strc_symbol_message, nullptr);
            return false;
        }
        dsl_symbol.store(avl_address);
    }
    for (const dsd_symbol &dsl_symbol : dsp_library.dsc_extensions)
        dsl_symbol.store(dlsym(avl_handle, dsl_symbol.strc_name));
    return true;
}

} // namespace

void ffmpeg_loader::load(const char *strp_dir)
{
    if (s_all_loaded)
        return;
    for (dsd_library &dsl_library : s_libraries) {
        if (dsl_library.iec_state == ie_state::untried)
            dsl_library.iec_state = open_library(dsl_library, strp_dir) ? ie_state::usable : ie_state::failed;
        if (dsl_library.iec_state == ie_state::failed)
            throw kiv::jni::c_jniexception("failed to initialize ffmpeg");
    }
    s_all_loaded = true;
}
