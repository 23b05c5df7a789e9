/** @file The bytes of a container, as FFmpeg writes them. */
#pragma once

#include "kivjniffmpeg/containers/byte_channel.h"
#include "kivjniffmpeg/ffmpeg/abi_containers.h"

#include <cstdint>
#include <memory>

/**
 * The AVIOContext of a container that is written into a sink. When the sink has failed FFmpeg gets errors, and check()
 * throws.
 */
class c_mediasink
{
public:
    /**
     * @param dsp_sink not null
     * @param bp_seekable whether it can be written at any place
     * @throws std::bad_alloc
     */
    c_mediasink(std::unique_ptr<ca_byte_sink> dsp_sink, bool bp_seekable);
    ~c_mediasink() = default;
    c_mediasink(const c_mediasink &) = delete;
    c_mediasink &operator=(const c_mediasink &) = delete;

    AVIOContext *io() const noexcept { return adsc_io.get(); }

    /** Throws what ended the sink, or a complaint about what it returned. */
    void check() const;

    /** From now on FFmpeg gets errors, and the sink is not asked. */
    void abandon() noexcept { bc_abandoned = true; }

private:
    struct dsd_free_io
    {
        void operator()(AVIOContext *adsp_io) const noexcept;
    };

    static int write(void *avp_sink, uint8_t *autp_from, int inp_length) noexcept;
    static int64_t seek(void *avp_sink, int64_t ilp_offset, int inp_whence) noexcept;
    template <class WORK> static int64_t ask(void *avp_sink, WORK dsp_work) noexcept;

    std::unique_ptr<ca_byte_sink> dsc_sink;
    bool bc_wrong_position = false; // the sink moved to another place than FFmpeg asked for
    bool bc_abandoned = false;
    std::unique_ptr<AVIOContext, dsd_free_io> adsc_io;
};
