#include "kivjniffmpeg/formats/coded_stream.h"

#include "jni/exceptions.h"

#include <utility>

namespace StreamFields = natives::StreamFields;

int32_t c_coded_stream::number(int32_t imp_index) const
{
    const int64_t ill_value = at(imp_index);
    if (!std::in_range<int32_t>(ill_value))
        throw_ffmpeg_exception(1271, "an impossible number of a stream: ", ill_value);
    return static_cast<int32_t>(ill_value);
}

void c_coded_stream::configure(AVCodecContext &dsp_context) const
{
    dsp_context.codec_tag = codec_tag();
    dsp_context.bits_per_coded_sample = number(StreamFields::BITS_PER_CODED_SAMPLE);
    dsp_context.profile = number(StreamFields::PROFILE);
    if (dsp_context.codec_type == AVMEDIA_TYPE_VIDEO) {
        dsp_context.width = number(StreamFields::WIDTH);
        dsp_context.height = number(StreamFields::HEIGHT);
        // Raw video has its pixel format nowhere else.
        dsp_context.pix_fmt = static_cast<AVPixelFormat>(number(StreamFields::SAMPLE_FORMAT));
    } else {
        dsp_context.channels = number(StreamFields::CHANNELS);
        dsp_context.sample_rate = number(StreamFields::SAMPLE_RATE);
        dsp_context.block_align = number(StreamFields::BLOCK_ALIGN);
        // Otherwise some decoders drop what they call their delay, also behind a jump, and times count from the packet's.
        dsp_context.flags2 |= CODEC_FLAG2_SKIP_MANUAL;
    }
}
