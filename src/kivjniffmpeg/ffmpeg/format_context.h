/** @file One opened container. */
#pragma once

#include "kivjniffmpeg/ffmpeg/abi_containers.h"

/** Owns an AVFormatContext. */
class c_avformat_ctx
{
public:
    /** @throws std::bad_alloc */
    c_avformat_ctx();
    virtual ~c_avformat_ctx();
    c_avformat_ctx(const c_avformat_ctx &) = delete;
    c_avformat_ctx &operator=(const c_avformat_ctx &) = delete;

    AVFormatContext *context() const noexcept { return adsc_context; }

    /**
     * Has FFmpeg open the input that the context's pb reads.
     *
     * A failure frees the context; context() is null then. No file that the bytes refer to is opened.
     *
     * @param adsp_format the container's format
     * @return a negative FFmpeg error, otherwise 0
     */
    int open_input(AVInputFormat *adsp_format);

private:
    AVFormatContext *adsc_context;
    bool bc_opened = false;
};
