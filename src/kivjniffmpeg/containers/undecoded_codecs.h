/** @file Keeps FFmpeg's parsers and decoders away from codecs that the library does not decode. */
#pragma once

#include <string>

/**
 * While FFmpeg looks at the streams of a container, it parses and decodes all that it has a parser and a decoder for,
 * such as subtitles. That is a large part of FFmpeg, and nothing of it is of use to the library.
 */
namespace undecoded_codecs
{

/**
 * Takes the parsers of these codecs out of the loaded FFmpeg, once per process, before it opens the first container.
 * Packets of such streams stay as the container has them.
 */
void remove_parsers();

/** The names of all other codecs, separated by commas, for the option "codec_whitelist". */
const std::string &whitelist();

} // namespace undecoded_codecs
