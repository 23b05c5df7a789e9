/** @file How many tags FFmpeg gets of a FLAC file. */
#pragma once

#include <cstdint>
#include <span>

/**
 * Follows the blocks at the beginning of a FLAC file as its bytes pass in pieces of any size. FFmpeg compares each tag with
 * all before it, at once and without asking for bytes, so that hundreds of thousands of them keep a processor busy for hours.
 *
 * Behind the last tag that FFmpeg may have, a length is made to reach beyond the block, and FFmpeg reads no further one.
 */
class c_flac_comments
{
public:
    /**
     * Changes the bytes on their way to FFmpeg.
     *
     * @param ilp_position where they begin in the file
     */
    void pass(std::span<uint8_t> utp_bytes, int64_t ilp_position) noexcept;

private:
    enum class ie_field : uint8_t
    {
        ie_block, /**< type and length */
        ie_vendor,
        ie_count,
        ie_comment,
    };

    void end_field(uint8_t &utp_last, int64_t ilp_next) noexcept;
    void want(ie_field iep_field, int64_t ilp_position) noexcept;

    int64_t ilc_position = 0;
    uint32_t umc_last = 0; // the bytes before
    int64_t ilc_begin = 0;
    int64_t ilc_next = -1; // of the field; -1 outside of the blocks
    ie_field iec_field = ie_field::ie_block;
    uint32_t umc_value = 0;
    int32_t imc_left = 0;
    int64_t ilc_block_end = 0;
    bool bc_last_block = false;
    int32_t imc_comments = 0;
};
