/** @file Four-character codes in 32-bit integers, the first character in the low byte. */
#pragma once

#include <array>
#include <cstdint>

constexpr int32_t make_four_character_code(const char (&strp_code)[5]) noexcept
{
    uint32_t uml_code = 0;
    for (unsigned int unl_at = 0; unl_at < 4; ++unl_at)
        uml_code |= static_cast<uint32_t>(static_cast<unsigned char>(strp_code[unl_at])) << (8 * unl_at);
    return static_cast<int32_t>(uml_code);
}

/** The four bytes as text; code 0 gives the empty string. */
constexpr std::array<char, 5> four_character_text(int32_t imp_code) noexcept
{
    std::array<char, 5> strl_text{};
    for (unsigned int unl_at = 0; unl_at < 4; ++unl_at)
        strl_text[unl_at] = static_cast<char>(static_cast<uint32_t>(imp_code) >> (8 * unl_at));
    return strl_text;
}

static_assert(make_four_character_code("YV12") == 0x32315659);
