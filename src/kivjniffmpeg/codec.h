/** @file What video and audio codecs have in common. */
#pragma once

#include "kivjniffmpeg/library_context.h"

#include <cstdint>
#include <string>

class ca_ffmpeg_buffer;

/**
 * A codec under a Java handle: keeps its library context alive, has a name and opens and closes.
 *
 * Used by one thread at a time.
 */
class c_codec
{
public:
    /** What one processing call reports; all zero before the call. */
    struct dsd_out_params
    {
        int32_t aimc_plane_offsets[4]; /**< bytes from the first plane to each plane */
        int32_t imc_processed_len;     /**< audio: input bytes consumed */
        int32_t imc_data_offset;       /**< bytes from the start of the buffer's memory to its data */
        int32_t imc_data_size;         /**< bytes of data */
        int32_t imc_flags;             /**< the flags of the call */
        int64_t ilc_timestamp;         /**< of the picture or block returned */
        int32_t imc_buffer_word;       /**< opaque and not 0 when there is a buffer */
        ca_ffmpeg_buffer
            *adsc_buffer; /**< the picture's memory with one reference, which is the caller's now; or null */
    };

    virtual ~c_codec();
    c_codec(const c_codec &) = delete;
    c_codec &operator=(const c_codec &) = delete;

    /** Opens; an open codec stays as it is. @return false when FFmpeg refuses */
    virtual bool open() = 0;
    virtual bool close() = 0;
    /** Forgets everything that waits and starts afresh, keeping what was chosen. */
    virtual bool reset() = 0;
    virtual const std::string &get_name();

    c_ffmpeg *get_ffmpeg() const noexcept { return dsc_ffmpeg.get(); }
    bool is_open() const noexcept { return bc_open; }

protected:
    c_codec(c_ffmpeg *adsp_ffmpeg, std::string strp_name);

    void set_open(bool bp_open) noexcept { bc_open = bp_open; }

private:
    c_ffmpeg_reference dsc_ffmpeg;
    std::string strc_name;
    bool bc_open = false;
};
