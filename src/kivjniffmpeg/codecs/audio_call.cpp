#include "kivjniffmpeg/codecs/audio_call.h"

#include "jni/exceptions.h"
#include "trace/trace.h"

#include <natives/AudioStatus.h>

#include <utility>

namespace AudioParams = natives::AudioParams;
namespace AudioStatus = natives::AudioStatus;

namespace
{

int64_t time_of(const audio_call::values &aimp_call) noexcept
{
    return timestamp_of(aimp_call[AudioParams::TIME_LOW], aimp_call[AudioParams::TIME_HIGH]);
}

int32_t take_input(c_audiocodec &dsp_codec, const audio_call::values &aimp_call, audio_call::ca_caller &dsp_caller,
                   c_codec::dsd_out_params &dsp_out)
{
    const int32_t iml_length = aimp_call[AudioParams::LENGTH];
    uint8_t *autl_in = dsp_caller.input(dsp_codec.input(), aimp_call[AudioParams::OFFSET], iml_length);
    if (autl_in == nullptr && iml_length > 0)
        throw_ffmpeg_exception(2861, "input array == NULL");
    return dsp_codec.process2(autl_in, iml_length, aimp_call[AudioParams::FLAGS],
                              static_cast<uint64_t>(time_of(aimp_call)), dsp_out,
                              static_cast<uint32_t>(aimp_call[AudioParams::OUT_LENGTH]));
}

std::unique_ptr<c_audiocodec> opened(std::unique_ptr<c_audiocodec> dsp_codec)
{
    if (dsp_codec->open())
        return dsp_codec;
    dsp_codec->close();
    return nullptr;
}

} // namespace

std::unique_ptr<c_audiocodec> audio_call::open_to_pcm(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_format)
{
    auto dsl_pcm = c_aformat::pcm16(dsp_format->channels(), dsp_format->sample_rate());
    return opened(std::make_unique<c_audiocodec>(adsp_ffmpeg, std::move(dsp_format), std::move(dsl_pcm)));
}

std::unique_ptr<c_audiocodec> audio_call::open_from_pcm(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<c_aformat> dsp_format)
{
    auto dsl_pcm = c_aformat::pcm16(dsp_format->channels(), dsp_format->sample_rate());
    return opened(std::make_unique<c_audiocodec>(adsp_ffmpeg, std::move(dsl_pcm), std::move(dsp_format)));
}

int32_t audio_call::process(c_audiocodec &dsp_codec, values &aimp_call, ca_caller &dsp_caller, const c_trace &dsp_trace)
{
    c_output_queue &dsl_queue = dsp_codec.output();
    const int32_t iml_length = aimp_call[AudioParams::LENGTH];
    const int32_t iml_room = aimp_call[AudioParams::OUT_LENGTH];
    const int64_t ill_timestamp = time_of(aimp_call);
    c_codec::dsd_out_params dsl_out{};
    dsl_out.ilc_timestamp = ill_timestamp;
    // Input is taken only when the caller has fetched what came before.
    const int32_t iml_result = dsl_queue.empty() ? take_input(dsp_codec, aimp_call, dsp_caller, dsl_out) : 0;
    if (dsl_out.ilc_timestamp != ill_timestamp)
        throw_ffmpeg_exception(2866, "timestamp out corrupt");
    if (static_cast<uint32_t>(dsl_out.imc_processed_len) > static_cast<uint32_t>(iml_length))
        throw_ffmpeg_exception(2868, "corrupt processed_len=", dsl_out.imc_processed_len);
    aimp_call[AudioParams::OFFSET] += dsl_out.imc_processed_len;
    aimp_call[AudioParams::LENGTH] -= dsl_out.imc_processed_len;
    aimp_call[AudioParams::SKIPPED_LOW] = static_cast<int32_t>(dsp_codec.skipped());
    aimp_call[AudioParams::SKIPPED_HIGH] = static_cast<int32_t>(dsp_codec.skipped() >> 32);
    dsp_caller.is_taken();
    if (iml_room < dsl_queue.deliverable()) {
        aimp_call[AudioParams::OUT_OFFSET] = 0;
        aimp_call[AudioParams::OUT_LENGTH] = dsl_queue.deliverable();
        return AudioStatus::OUTPUT_TOO_SMALL;
    }
    int32_t iml_written = 0;
    while (!dsl_queue.empty() && dsl_queue.front_size() <= iml_room - iml_written) {
        const c_framebuffer_reference dsl_buffer = dsl_queue.popfront();
        if (!dsp_caller.put(*dsl_buffer.get(), int64_t{aimp_call[AudioParams::OUT_OFFSET]} + iml_written))
            return AudioStatus::OUTPUT_LOST;
        iml_written += dsl_buffer->data_size();
    }
    TRACE_LINE_IN(dsp_trace, im_level_debug, "%s#%s(): uml_cur_length_out=%d queue.length=%lu", iml_written,
                  static_cast<unsigned long>(dsl_queue.size()));
    aimp_call[AudioParams::OUT_LENGTH] = iml_written;
    aimp_call[AudioParams::CALL_FLAGS] = dsl_out.imc_flags;
    aimp_call[AudioParams::CALL_TIME_LOW] = static_cast<int32_t>(dsl_out.ilc_timestamp);
    aimp_call[AudioParams::CALL_TIME_HIGH] = static_cast<int32_t>(dsl_out.ilc_timestamp >> 32);
    return iml_result | (dsl_out.imc_processed_len < iml_length ? AudioStatus::INPUT_LEFT : 0);
}
