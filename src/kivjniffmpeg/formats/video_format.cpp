#include "kivjniffmpeg/formats/video_format.h"

#include "jni/java_arrays.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"
#include "kivjniffmpeg/formats/four_character_code.h"
#include "kivjniffmpeg/formats/media_subtypes.h"
#include "trace/trace.h"

#include <natives/StreamFields.h>

#include <algorithm>
#include <utility>

namespace StreamFields = natives::StreamFields;
namespace VideoFormatLayout = natives::VideoFormatLayout;

c_vformat::~c_vformat() = default;

std::unique_ptr<c_vformat> c_vformat::of_layout(const std::string &strp_guid,
                                                const std::array<int32_t, VideoFormatLayout::SIZE> &aimp_values,
                                                std::vector<uint8_t> utp_extradata)
{
    std::unique_ptr<c_vformat> dsl_format(new c_vformat);
    dsl_format->strc_guid_subtype = strp_guid;
    dsl_format->dsc_codecid = subtype2codecid(strp_guid.c_str());
    std::ranges::copy(aimp_values, dsl_format->aimc_values.begin());
    dsl_format->utc_extradata = std::move(utp_extradata);
    return dsl_format;
}

std::unique_ptr<c_vformat> c_vformat::create_from_java_array(const std::string &strp_guid,
                                                             kiv::jni::c_jintarray &dsp_format,
                                                             kiv::jni::c_jbytearray &dsp_extradata)
{
    TRACE_FUNCTION(3);
    std::array<int32_t, VideoFormatLayout::SIZE> aiml_values{};
    dsp_format.pin();
    for (int32_t iml_index = 0; iml_index < VideoFormatLayout::SIZE; ++iml_index)
        aiml_values[static_cast<size_t>(iml_index)] = dsp_format[iml_index];
    dsp_format.release();
    return of_layout(strp_guid, aiml_values,
                     kiv::jni::from_java(dsp_extradata, aiml_values[VideoFormatLayout::EXTRADATA_LENGTH]));
}

std::unique_ptr<c_vformat> c_vformat::of_stream(c_coded_stream dsp_stream)
{
    TRACE_FUNCTION(3);
    admitted_codecs::require(dsp_stream.codec_id(), AVMEDIA_TYPE_VIDEO);
    std::unique_ptr<c_vformat> dsl_format(new c_vformat);
    dsl_format->dsc_codecid = dsp_stream.codec_id();
    dsl_format->aimc_values[VideoFormatLayout::FOURCC] = static_cast<int32_t>(dsp_stream.codec_tag());
    dsl_format->aimc_values[VideoFormatLayout::WIDTH] = dsp_stream.number(StreamFields::WIDTH);
    dsl_format->aimc_values[VideoFormatLayout::HEIGHT] = dsp_stream.number(StreamFields::HEIGHT);
    dsl_format->aimc_values[VideoFormatLayout::BITS_PER_PIXEL] = dsp_stream.number(StreamFields::BITS_PER_CODED_SAMPLE);
    dsl_format->dsc_stream.emplace(std::move(dsp_stream));
    return dsl_format;
}

jintArray c_vformat::export_to_java_array(JNIEnv *adsp_env) const
{
    TRACE_FUNCTION(3);
    return kiv::jni::to_java(kiv::jni::c_jnienv(adsp_env), aimc_values);
}

void c_vformat::print() const
{
    TRACE_FUNCTION(3);
    TRACE_LINE(
        im_level_debug,
        "%s#%s(): strc_guid_subtype=%s dsc_codecid=%d fourcc=%s imc_width=%d imc_height=%d bitcount=%d colors=%d "
        "sample_size=%d",
        strc_guid_subtype.c_str(), static_cast<int>(dsc_codecid), four_character_text(fourcc()).data(), width(),
        height(), bitcount(), aimc_values[VideoFormatLayout::COLORS], aimc_values[VideoFormatLayout::SAMPLE_SIZE]);
}
