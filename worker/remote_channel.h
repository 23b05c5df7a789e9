/** @file Bytes of containers that the caller reads and writes. */
#pragma once

#include "kivjniffmpeg/containers/byte_channel.h"
#include "worker/lane.h"

#include <cstdint>
#include <span>

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

    std::span<uint8_t> memory() const noexcept override { return utc_block; }
    bool has_failed() const noexcept override { return ulc_failed_order == dsc_lane.order_number(); }
    void check() const override
    {
        if (has_failed())
            throw c_channel_failed();
    }
    int64_t seek(int64_t ilp_position) override;

protected:
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

/** Bytes that the caller reads. */
class c_remote_source final : public c_remote_channel<ca_byte_source>
{
public:
    using c_remote_channel::c_remote_channel;

    int32_t read(int32_t imp_wanted) override;
    int64_t size() override;
};

/** Bytes that the caller writes. */
class c_remote_sink final : public c_remote_channel<ca_byte_sink>
{
public:
    using c_remote_channel::c_remote_channel;

    void write(int32_t imp_count) override;
};
