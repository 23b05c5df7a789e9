#include "kivjniffmpeg/containers/known_formats.h"

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace
{

// None of them is a playlist or a list of pictures, and none opens anything but its own bytes: pictures, whose readers
// have "pipe" in their names, are one file here. MP4 and MOV are the exception, see c_avformat_ctx::open_input.
constexpr std::string_view s_names[] = {"avi", "mov", "matroska", "mpeg", "mpegts", "asf", "flv", "ogg", "wav", "mp3",
                                        "aac", "ac3", "dts", "amr", "flac", "h264", "mpegvideo", "h263", "m4v", "dv",
                                        // By newer FFmpegs only.
                                        "hevc", "vvc", "obu", "ivf", "yuv4mpegpipe", "mxf", "gif", "apng", "jpeg_pipe",
                                        "png_pipe", "webp_pipe", "aiff", "au", "caf", "w64", "voc", "eac3", "wv", "ape",
                                        "tta", "dsf"};
constexpr size_t ul_of_any_ffmpeg = 20;

/** The formats that the loaded FFmpeg may read. */
std::span<const std::string_view> admitted()
{
    const bool bl_newer = g_avutil.kiv_bridge_description != nullptr;
    return std::span(s_names).first(bl_newer ? std::size(s_names) : ul_of_any_ffmpeg);
}

} // namespace

std::span<const std::string_view> known_formats::names()
{
    return s_names;
}

bool known_formats::has(const char *strp_names)
{
    const std::string_view strl_names(strp_names);
    return std::ranges::find(admitted(), strl_names.substr(0, strl_names.find(','))) != admitted().end();
}

const char *known_formats::title(std::string_view strp_name)
{
    if (g_avformat.av_find_input_format == nullptr || std::ranges::find(admitted(), strp_name) == admitted().end())
        return nullptr;
    const AVInputFormat *adsl_format = g_avformat.av_find_input_format(std::string(strp_name).c_str());
    return adsl_format == nullptr ? nullptr : adsl_format->long_name;
}
