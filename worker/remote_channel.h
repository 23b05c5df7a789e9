/** @file Bytes of containers that the caller reads and writes. */
#pragma once

#include "kivjniffmpeg/containers/byte_channel.h"
#include "worker/lane.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/**
 * What a source and a sink at the other end of a lane have in common. The lane's block is theirs. A failure ends the requests
 * of one order; the next order may try again.
 */
template <class CHANNEL> class c_remote_channel : public CHANNEL
{
public:
    explicit c_remote_channel(c_lane &dsp_lane) : dsc_lane(dsp_lane), utc_block(dsp_lane.block())
    {
        if (utc_block.empty())
            throw std::out_of_range("no block for the bytes of a container");
    }

    /** The beginning of the block: what is asked for at a time without this channel. */
    std::span<uint8_t> memory() const noexcept override;
    bool has_failed() const noexcept override { return ulc_failed_order == dsc_lane.order_number(); }
    void check() const override
    {
        if (has_failed())
            throw c_channel_failed();
    }
    int64_t seek(int64_t ilp_position) override;

protected:
    std::span<uint8_t> block() const noexcept { return utc_block; }
    int64_t ask(int32_t imp_kind, const c_message_writer &dsp_values)
    {
        try {
            return dsc_lane.ask(imp_kind, dsp_values);
        } catch (...) {
            ulc_failed_order = dsc_lane.order_number();
            throw;
        }
    }

private:
    c_lane &dsc_lane;
    std::span<uint8_t> utc_block;
    uint64_t ulc_failed_order = 0; // no order has this number
};

/**
 * Bytes that the caller reads. FFmpeg asks for the size, seeks and reads the same bytes hundreds of times as it opens a
 * container. So what was read in one order is kept until the next one; of a file until other bytes are kept. A file is also
 * read ahead as long as it is read one byte after the other.
 */
class c_remote_source final : public c_remote_channel<ca_byte_source>
{
public:
    /** @param bp_file whether any of the bytes may be read at any time */
    c_remote_source(c_lane &dsp_lane, bool bp_file) : c_remote_channel(dsp_lane), dsc_lane(dsp_lane), bc_file(bp_file)
    {
    }

    int32_t read(int32_t imp_wanted) override;
    int64_t seek(int64_t ilp_position) override;
    int64_t size() override;

private:
    void forget_old();
    bool keeps(int64_t ilp_position) const noexcept;
    void keep(std::span<const uint8_t> utp_bytes);
    int32_t read_block(int64_t ilp_place, int32_t imp_wanted);
    int32_t ask_for_bytes(int32_t imp_wanted);
    int32_t ask_file(int32_t imp_wanted);

    c_lane &dsc_lane;
    const bool bc_file;
    int32_t imc_ahead = 0; // the bytes that the last question wanted of a file
    uint64_t ulc_order = 0;
    std::vector<uint8_t> utc_kept;
    int64_t ilc_first_kept = 0;
    std::optional<int64_t> ilc_size;
    std::optional<int64_t> ilc_end; // where a read found no more bytes
    int64_t ilc_position = 0;       // of the next byte that is read here
    int64_t ilc_position_of_caller = 0;
};

/** Bytes that the caller writes. */
class c_remote_sink final : public c_remote_channel<ca_byte_sink>
{
public:
    using c_remote_channel::c_remote_channel;

    void write(int32_t imp_count) override;
};
