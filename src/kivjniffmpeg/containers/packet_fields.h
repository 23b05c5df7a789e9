/** @file What Java knows of a packet. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi.h"

#include <natives/PacketFields.h>

#include <array>
#include <cstdint>

/** Lays a packet out as PacketFields. */
std::array<int64_t, natives::PacketFields::SIZE_WITH_LENGTH> packet_fields(const AVPacket &dsp_packet);
