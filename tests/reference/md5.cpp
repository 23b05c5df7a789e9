#include "md5.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "the words of a block are read as they lie in memory");

namespace
{

constexpr std::array<std::array<int, 4>, 4> s_rotations{
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

/** The algorithm's constants are the fractional digits of sines. */
const std::array<uint32_t, 64> s_sines = [] {
    std::array<uint32_t, 64> uml_sines{};
    for (size_t ull_step = 0; ull_step < uml_sines.size(); ++ull_step)
        uml_sines[ull_step] =
            static_cast<uint32_t>(std::floor(std::fabs(std::sin(static_cast<double>(ull_step + 1))) * 4294967296.0));
    return uml_sines;
}();

} // namespace

void c_md5::transform()
{
    std::array<uint32_t, 16> uml_words;
    std::memcpy(uml_words.data(), byrc_block.data(), byrc_block.size());
    auto [uml_a, uml_b, uml_c, uml_d] = umc_state;
    for (uint32_t uml_step = 0; uml_step < 64; ++uml_step) {
        uint32_t uml_mix = 0;
        uint32_t uml_word = 0;
        switch (uml_step / 16) {
        case 0:
            uml_mix = (uml_b & uml_c) | (~uml_b & uml_d);
            uml_word = uml_step;
            break;
        case 1:
            uml_mix = (uml_d & uml_b) | (~uml_d & uml_c);
            uml_word = 5 * uml_step + 1;
            break;
        case 2:
            uml_mix = uml_b ^ uml_c ^ uml_d;
            uml_word = 3 * uml_step + 5;
            break;
        default:
            uml_mix = uml_c ^ (uml_b | ~uml_d);
            uml_word = 7 * uml_step;
            break;
        }
        const uint32_t uml_sum = uml_a + uml_mix + s_sines[uml_step] + uml_words[uml_word % 16];
        uml_a = uml_d;
        uml_d = uml_c;
        uml_c = uml_b;
        uml_b += std::rotl(uml_sum, s_rotations[uml_step / 16][uml_step % 4]);
    }
    umc_state[0] += uml_a;
    umc_state[1] += uml_b;
    umc_state[2] += uml_c;
    umc_state[3] += uml_d;
}

void c_md5::update(std::span<const uint8_t> dsp_bytes)
{
    while (!dsp_bytes.empty()) {
        const size_t ull_used = ulc_length % byrc_block.size();
        const size_t ull_part = std::min(dsp_bytes.size(), byrc_block.size() - ull_used);
        std::memcpy(byrc_block.data() + ull_used, dsp_bytes.data(), ull_part);
        ulc_length += ull_part;
        dsp_bytes = dsp_bytes.subspan(ull_part);
        if (ulc_length % byrc_block.size() == 0)
            transform();
    }
}

std::string c_md5::finish()
{
    const uint64_t ull_bits = ulc_length * 8;
    static constexpr std::array<uint8_t, 64> s_padding{0x80};
    update(std::span(s_padding).first((119 - ulc_length % 64) % 64 + 1));
    std::array<uint8_t, 8> byrl_bits;
    std::memcpy(byrl_bits.data(), &ull_bits, sizeof ull_bits);
    update(byrl_bits);
    std::string strl_digits;
    for (const uint32_t uml_word : umc_state) {
        for (int inl_shift = 0; inl_shift < 32; inl_shift += 8) {
            strl_digits += "0123456789abcdef"[uml_word >> (inl_shift + 4) & 15];
            strl_digits += "0123456789abcdef"[uml_word >> inl_shift & 15];
        }
    }
    return strl_digits;
}
