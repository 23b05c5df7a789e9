#include "kivjniffmpeg/containers/flac_comments.h"

#include <natives/c_metadata_ffmpeg.h>

namespace
{

constexpr uint32_t um_flac = 0x664C6143; // "fLaC"
constexpr uint32_t um_comments = 4;      // the type of a block

/** The same four bytes, the first one lowest. */
uint32_t little_endian(uint32_t ump_value) noexcept
{
    return ump_value >> 24U | (ump_value >> 8U & 0xFF00U) | (ump_value & 0xFF00U) << 8U | ump_value << 24U;
}

} // namespace

void c_flac_comments::pass(std::span<uint8_t> utp_bytes, int64_t ilp_position) noexcept
{
    if (ilp_position != ilc_position) {
        umc_last = 0;
        if (ilp_position <= ilc_begin || ilp_position > ilc_next)
            ilc_next = -1; // the blocks are read again, or FFmpeg went past them
    }
    ilc_position = ilp_position;
    for (uint8_t &utl_byte : utp_bytes) {
        const int64_t ill_next = ++ilc_position;
        umc_last = umc_last << 8U | utl_byte;
        if (ilc_next == ill_next - 1) {
            umc_value = umc_value << 8U | utl_byte;
            ++ilc_next;
            if (--imc_left == 0)
                end_field(utl_byte, ill_next);
        } else if (ilc_next < 0 && umc_last == um_flac) {
            ilc_begin = ill_next;
            imc_comments = 0; // of all blocks
            want(ie_field::ie_block, ill_next);
        }
    }
}

void c_flac_comments::want(ie_field iep_field, int64_t ilp_position) noexcept
{
    iec_field = iep_field;
    ilc_next = ilp_position;
    imc_left = 4;
    umc_value = 0;
}

void c_flac_comments::end_field(uint8_t &utp_last, int64_t ilp_next) noexcept
{
    const int64_t ill_length = little_endian(umc_value);
    switch (iec_field) {
    case ie_field::ie_block:
        ilc_block_end = ilp_next + (umc_value & 0xFFFFFFU);
        bc_last_block = umc_value >> 31U != 0;
        if ((umc_value >> 24U & 0x7FU) == um_comments)
            return want(ie_field::ie_vendor, ilp_next);
        break;
    case ie_field::ie_vendor:
        return want(ie_field::ie_count, ilp_next + ill_length);
    case ie_field::ie_count:
        return want(ie_field::ie_comment, ilp_next);
    case ie_field::ie_comment:
        if (ilp_next + ill_length > ilc_block_end)
            break;
        if (++imc_comments <= natives::c_metadata_ffmpeg::MOST_TAGS) {
            want(ie_field::ie_comment, ilp_next + ill_length);
            if (ilc_next + 4 <= ilc_block_end)
                return;
            break;
        }
        utp_last = 0x7F;
        break;
    }
    if (bc_last_block)
        ilc_next = -1;
    else
        want(ie_field::ie_block, ilc_block_end);
}
