/** @file The media-subtype GUIDs that the library decodes. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

/**
 * The decoder of a media subtype.
 *
 * @param strp_guid 36 lower-case characters, compared exactly; null or an unknown GUID gives AV_CODEC_ID_NONE
 */
AVCodecID subtype2codecid(const char *strp_guid);

/** Whether some media subtype has this codec. MPEG-1 counts, because the decoder of MPEG-2 decodes it. */
bool has_subtype(AVCodecID iep_codec) noexcept;
