/** @file The two decoders of the reference program. */
#pragma once

#include "ffmpeg.h"

#include <map>
#include <string>

/** Every option with its value; that of a flag is "" or "1", and "none" stands for no name. */
using options = std::map<std::string, std::string>;

/** Decodes one stream of a file and prints what comes of it. @throws std::runtime_error */
void decode_video(AVFormatContext &dsp_file, const AVStream &dsp_stream, AVCodecID iep_codec,
                  const options &dsp_options);
void decode_sound(AVFormatContext &dsp_file, const AVStream &dsp_stream, AVCodecID iep_codec,
                  const options &dsp_options);
