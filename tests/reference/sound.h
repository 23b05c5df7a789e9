/**
 * @file
 * Decodes sound with FFmpeg called directly, and keeps the same books of a block's bytes as the library must.
 *
 * Nothing of the library takes part, and nothing of libswresample: samples become 16 bits by arithmetic of this program.
 *
 * Output, tab-separated:
 * - "format", the decoder's sample format, its channels and sample rate after the last block
 * - "block", index, length, 1 when the decoder failed or 0, the bytes of it that count as consumed, the bytes that wait
 *   afterwards, the bytes of PCM that came of it, their MD5, and 1 when a frame had other channels or another rate than
 *   the stream, which pieces taken for frames have and no conversion is prescribed for here; the last one, of length 0,
 *   is the end of the stream, where what waits is decoded and the decoder drained
 */
#pragma once

#include "ffmpeg_objects.h"

#include <string>

/** How packets become blocks. */
struct dsd_sound_options
{
    std::string strc_pcm; /**< the file for the 16-bit interleaved samples */
    int inc_join = 1;     /**< so many packets make a block */
    int inc_pieces = 1;   /**< which is divided into so many equal pieces */
    int inc_cut = 0;      /**< and those into blocks of so many bytes, unless 0 */
};

/** Decodes a whole stream. @throws std::runtime_error */
void decode_sound(c_file &dsp_file, const AVStream &dsp_stream, AVCodecID dsp_codec_id,
                  const dsd_sound_options &dsp_options);
