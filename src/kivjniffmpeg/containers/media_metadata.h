/** @file What a container says of itself and its streams besides their numbers: tags, chapters, programs, names. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi_containers.h"

#include <natives/LightFields.h>
#include <natives/SideDataFields.h>
#include <natives/StreamNames.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/**
 * Reads an opened container. Nothing is kept: everything is a copy, but for the bytes of pictures.
 *
 * The bytes are not trusted. The texts need not be UTF-8, and what is beyond the limits of c_metadata_ffmpeg is left out.
 */
namespace media_metadata
{

/**
 * Tags, laid out as c_metadata_ffmpeg.n_metadata_tags says.
 *
 * @param imp_kind whose tags: c_metadata_ffmpeg::CONTAINER and so on
 * @param imp_first index of the first list
 * @throws c_ffmpeg_exception for an unknown kind and a negative index
 */
std::vector<uint8_t> tags(const AVFormatContext &dsp_container, int32_t imp_kind, int32_t imp_first);

/** The chapters, each laid out as ChapterFields. */
std::vector<int64_t> chapters(const AVFormatContext &dsp_container);

/** The programs, each laid out as ProgramFields and followed by the indices of its streams. */
std::vector<int64_t> programs(const AVFormatContext &dsp_container);

/** FFmpeg's names, laid out as StreamNames; empty where there is none. */
std::array<std::string, natives::StreamNames::SIZE> names(const AVStream &dsp_stream);

/** Of streams of high dynamic range, laid out as LightFields; nothing when the stream says nothing. */
std::optional<std::array<int64_t, natives::LightFields::SIZE>> light(AVStream &dsp_stream);

/** What streams say of turning, buffers, volume and space, laid out as SideDataFields; nothing when it says nothing. */
std::optional<std::array<int64_t, natives::SideDataFields::SIZE>> side_data(AVStream &dsp_stream);

/** The picture of a stream that is one; valid until the next call that reads. Empty when there is none. */
std::span<const uint8_t> picture(const AVStream &dsp_stream) noexcept;

} // namespace media_metadata
