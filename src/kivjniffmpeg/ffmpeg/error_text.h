/** @file FFmpeg's errors in words. */
#pragma once

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <string>

/** FFmpeg's text for one of its errors. */
inline std::string error_text(int inp_error)
{
    if (inp_error == AVERROR(EPERM))
        return "no reason given"; // the number of EPERM, but FFmpeg's readers and writers return a plain -1
    char byrl_text[128];
    if (g_avutil.av_strerror == nullptr || g_avutil.av_strerror(inp_error, byrl_text, sizeof byrl_text) < 0)
        return "error " + std::to_string(inp_error);
    return byrl_text;
}
