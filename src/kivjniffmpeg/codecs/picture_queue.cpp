#include "kivjniffmpeg/codecs/picture_queue.h"

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <algorithm>
#include <utility>

std::unique_ptr<c_avframe> c_picture_queue::take_frame()
{
    if (dsc_spare.empty())
        return std::make_unique<c_avframe>();
    auto dsl_frame = std::move(dsc_spare.back());
    dsc_spare.pop_back();
    return dsl_frame;
}

void c_picture_queue::put_back(std::unique_ptr<c_avframe> dsp_frame)
{
    if (dsc_spare.size() == ul_most_spare)
        return;
    dsp_frame->reset();
    dsc_spare.push_back(std::move(dsp_frame));
}

bool c_picture_queue::holds(const ca_ffmpeg_buffer *adsp_buffer) const noexcept
{
    return std::ranges::any_of(dsc_waiting, [adsp_buffer](const dsd_decoded_picture &dsp_picture) {
        return dsp_picture.dsc_buffer.get() == adsp_buffer;
    });
}

void c_picture_queue::push(dsd_decoded_picture dsp_picture)
{
    dsc_waiting.push_back(std::move(dsp_picture));
}

dsd_decoded_picture c_picture_queue::pop()
{
    dsd_decoded_picture dsl_picture = std::move(dsc_waiting.front());
    dsc_waiting.pop_front();
    return dsl_picture;
}

void c_picture_queue::release_unused_pictures()
{
    release_shared_if([](const AVFrame &dsp_frame) {
        const AVBufferRef *adsl_memory = dsp_frame.buf[0];
        return adsl_memory == nullptr || g_avutil.av_buffer_get_ref_count(adsl_memory) == 1;
    });
}
