/** @file MD5, because the Java tests compute the same sum with the JDK's own digest. */
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

/** One MD5 sum in the making. */
class c_md5
{
public:
    /** Adds bytes. */
    void update(std::span<const uint8_t> dsp_bytes);

    /** Ends the sum; nothing may be added afterwards. @return 32 lower-case hexadecimal digits */
    std::string finish();

private:
    void transform();

    std::array<uint32_t, 4> umc_state{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    std::array<uint8_t, 64> byrc_block{};
    uint64_t ulc_length = 0;
};

/** The sum of one block of bytes. */
inline std::string md5_of(std::span<const uint8_t> dsp_bytes)
{
    c_md5 dsl_md5;
    dsl_md5.update(dsp_bytes);
    return dsl_md5.finish();
}
