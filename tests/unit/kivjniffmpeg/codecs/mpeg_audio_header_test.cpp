#include "kivjniffmpeg/codecs/mpeg_audio_header.h"

#include <gtest/gtest.h>

#include <vector>

TEST(mpeg_audio_header, has_eleven_bits_and_fields_that_exist)
{
    const std::pair<std::vector<uint8_t>, bool> dsl_cases[] = {
        {{0xFF, 0xFB, 0x90, 0x64}, true},
        {{0xFF, 0xE2, 0x00}, true}, // MPEG 2.5 in a free format
        {{0xFF, 0xFB}, true},       // behind the end are zeroes
        {{0xFF, 0xDB, 0x90}, false},
        {{0xFE, 0xFB, 0x90}, false},
        {{0xFF, 0xF9, 0x90}, false}, // no layer
        {{0xFF, 0xFB, 0x9C}, false}, // no sample rate
        {{0xFF, 0xFB, 0xF0}, false}, // no bit rate
        {{0xFF}, false},
        {{}, false},
    };
    for (const auto &[utl_bytes, bl_header] : dsl_cases)
        EXPECT_EQ(starts_with_mpeg_audio_header(utl_bytes), bl_header) << testing::PrintToString(utl_bytes);
}
