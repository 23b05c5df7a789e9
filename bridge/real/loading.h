/** @file Finds and opens a newer FFmpeg. */
#pragma once

#include "bridge/real/ffmpeg.h"

#include <string>
#include <vector>

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
 * The directories that the five libraries of the bridge were opened from. There may be several: a directory of links is
 * another one for who resolves the links, as Java does, than for who does not.
 */
std::vector<std::string> bridge_directories();

/**
 * Opens a supported FFmpeg: that of the first directory that has one, else the one that the process has opened already,
 * else the dynamic loader's; of several the newest. Its libraries stay open. They are not made visible to others, so that
 * their names mix with nobody's.
 *
 * @throws std::bad_alloc
 */
dsd_loaded load(const std::vector<std::string> &strp_directories);

} // namespace bridge::real
