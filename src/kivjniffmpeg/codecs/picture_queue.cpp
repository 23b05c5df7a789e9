#include "kivjniffmpeg/codecs/picture_queue.h"

#include "kivjniffmpeg/ffmpeg/loader.h"

#include <algorithm>
#include <utility>

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
    std::erase_if(dsc_shared, [](const auto &dsp_frame) {
        const AVBufferRef *adsl_memory = (*dsp_frame)->buf[0];
        return adsl_memory == nullptr || g_avutil.av_buffer_get_ref_count(adsl_memory) == 1;
    });
}
