/** @file The media-subtype GUIDs that the library decodes. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

/**
 * The decoder that a media subtype stands for.
 *
 * @param strp_guid 36 lower-case characters; compared exactly. Null or unknown gives AV_CODEC_ID_NONE.
 */
AVCodecID subtype2codecid(const char *strp_guid);
