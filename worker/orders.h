/** @file What a worker does when it is told to. */
#pragma once

#include "kivjniffmpeg/codecs/audio_codec.h"
#include "kivjniffmpeg/codecs/pcm_resampler.h"
#include "kivjniffmpeg/codecs/video_codec.h"
#include "kivjniffmpeg/containers/media_reader.h"
#include "kivjniffmpeg/containers/media_writer.h"
#include "kivjniffmpeg/containers/packet_splitter.h"
#include "kivjniffmpeg/formats/coded_stream.h"
#include "worker/lane.h"
#include "worker/message.h"
#include "worker/shared_memory.h"

#include <cstdint>
#include <memory>
#include <span>

/** What the orders of one lane work on. */
struct dsd_workplace
{
    c_ffmpeg &dsc_ffmpeg;
    const c_shared_memory &dsc_memory;
    c_lane &dsc_lane;

    /** Deletes everything. */
    void clear() noexcept
    {
        dsc_reader.reset();
        dsc_splitter.reset();
        dsc_video.reset();
        dsc_sound.reset();
        dsc_resampler.reset();
        dsc_writer.reset();
    }

    /** Whether orders of the last message wait for another one. */
    bool bc_stopped = false;
    /** Slots of closed pictures that were taken and are in no results yet. */
    size_t ulc_closed = 0;
    /** Of the order in work. */
    c_message_writer dsc_results{};
    std::unique_ptr<c_mediareader> dsc_reader{};
    std::unique_ptr<c_packet_splitter> dsc_splitter{};
    std::unique_ptr<c_videocodec> dsc_video{};
    std::unique_ptr<c_audiocodec> dsc_sound{};
    std::unique_ptr<c_pcm_resampler> dsc_resampler{};
    std::unique_ptr<c_mediawriter> dsc_writer{};
};

/** One order: its number, and what is done. An exception becomes the order's failure. */
struct dsd_order_work
{
    int32_t imc_order;
    void (*do_it)(dsd_workplace &dsp_place, c_message_reader &dsp_order, c_message_writer &dsp_results);
};

/** The object that an order needs. @throws std::logic_error when no order before has made it */
template <class OBJECT> OBJECT &require(const std::unique_ptr<OBJECT> &dsp_object)
{
    if (dsp_object == nullptr)
        throw std::logic_error("the order comes too early");
    return *dsp_object;
}

/** The stream that an order describes by StreamFields and extradata. */
c_coded_stream take_stream(c_message_reader &dsp_order);

std::span<const dsd_order_work> process_orders() noexcept;
std::span<const dsd_order_work> reader_orders() noexcept;
std::span<const dsd_order_work> splitter_orders() noexcept;
std::span<const dsd_order_work> video_orders() noexcept;
std::span<const dsd_order_work> sound_orders() noexcept;
std::span<const dsd_order_work> writer_orders() noexcept;

/** Does what a lane is told until it ends. */
void serve(c_ffmpeg &dsp_ffmpeg, const c_shared_memory &dsp_memory, int32_t imp_lane);
