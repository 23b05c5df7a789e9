/** @file Finds and opens a newer FFmpeg. */
#pragma once

#include "bridge/real/ffmpeg.h"

#include <string>

namespace bridge::real
{

/** What a search found. */
struct dsd_loaded
{
    dsd_ffmpeg dsc_ffmpeg{};
    std::string strc_error;       /**< one line; empty when FFmpeg was opened */
    std::string strc_description; /**< one line, when it was opened */
};

/**
 * Opens a supported FFmpeg: that of the directory, else the one that the process has opened already, else the dynamic
 * loader's; of several the newest. Its libraries stay open. They are not made visible to others, so that their names
 * mix with nobody's.
 *
 * @param strp_directory that of the bridge
 * @throws std::bad_alloc
 */
dsd_loaded load(const std::string &strp_directory);

} // namespace bridge::real
