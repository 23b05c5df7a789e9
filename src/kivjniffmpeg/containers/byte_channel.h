/** @file Where the bytes of a container come from and go to. */
#pragma once

#include <cstdint>
#include <span>

/**
 * Bytes of a container, which pass through one block of memory.
 *
 * FFmpeg cannot transport an exception. A request that fails ends all further ones: has_failed() answers for FFmpeg's
 * callbacks, and check() throws when FFmpeg has returned. Used by the thread that is inside the reader or writer.
 */
class ca_byte_channel
{
public:
    ca_byte_channel() = default;
    virtual ~ca_byte_channel() = default;
    ca_byte_channel(const ca_byte_channel &) = delete;
    ca_byte_channel &operator=(const ca_byte_channel &) = delete;

    /** The block, which does not move. It is not empty. */
    virtual std::span<uint8_t> memory() const noexcept = 0;

    /** Whether no request may follow. */
    virtual bool has_failed() const noexcept = 0;

    /** @throws std::exception what ended the requests, if they ended */
    virtual void check() const = 0;

    /** Goes to a place, counted in bytes from the beginning. @return the place; another one is a fault of the channel */
    virtual int64_t seek(int64_t ilp_position) = 0;
};

/** Bytes that are read. */
class ca_byte_source : public ca_byte_channel
{
public:
    /** Reads bytes into the block, at most so many. @return how many, or c_mediareader_source's END */
    virtual int32_t read(int32_t imp_wanted) = 0;

    /** @return the size in bytes; negative when it is unknown */
    virtual int64_t size() = 0;
};

/** Bytes that are written. */
class ca_byte_sink : public ca_byte_channel
{
public:
    /** Writes so many bytes of the block. */
    virtual void write(int32_t imp_count) = 0;
};
