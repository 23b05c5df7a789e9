#include "kivjniffmpeg/containers/media_metadata.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"

#include <natives/ChapterFields.h>
#include <natives/ProgramFields.h>
#include <natives/c_metadata_ffmpeg.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string_view>

namespace ChapterFields = natives::ChapterFields;
namespace LightFields = natives::LightFields;
namespace SideDataFields = natives::SideDataFields;
namespace ProgramFields = natives::ProgramFields;
namespace StreamNames = natives::StreamNames;
using namespace natives::c_metadata_ffmpeg;

namespace
{

constexpr int in_unspecified_colour = 2; // of primaries, transfer and matrix

/** Collects lists of tags within the limits. */
class c_tag_lists
{
public:
    void add(const AVDictionary *adsp_tags)
    {
        const AVDictionaryEntry *adsl_tag = nullptr;
        while (g_avutil.av_dict_get != nullptr && imc_tags < MOST_TAGS &&
               (adsl_tag = g_avutil.av_dict_get(adsp_tags, "", adsl_tag, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
            const std::string_view strl_name(adsl_tag->key);
            const std::string_view strl_value(adsl_tag->value);
            // An empty name is the end of the list.
            if (strl_name.empty() || strl_name.size() + strl_value.size() > ulc_left)
                continue;
            ++imc_tags;
            ulc_left -= strl_name.size() + strl_value.size();
            append(strl_name);
            append(strl_value);
        }
        append({});
    }
    std::vector<uint8_t> detach() noexcept { return std::move(utc_texts); }

private:
    void append(std::string_view strp_text)
    {
        utc_texts.insert(utc_texts.end(), strp_text.begin(), strp_text.end());
        utc_texts.push_back(0);
    }

    std::vector<uint8_t> utc_texts;
    size_t ulc_left = MOST_TEXT;
    int32_t imc_tags = 0;
};

/** An array of FFmpeg's, of which at most so many elements are looked at. */
template <class T>
std::span<T *const> list(T *const *aadsp_elements, unsigned int unp_count, size_t ulp_most = SIZE_MAX)
{
    return {aadsp_elements, aadsp_elements == nullptr ? 0 : std::min<size_t>(unp_count, ulp_most)};
}

/** A name, if FFmpeg has a function for it and the number is not that for unknown values. */
std::string known_name(const char *(*adsp_name)(int), int inp_number, int inp_unknown)
{
    const char *strl_name = adsp_name == nullptr || inp_number == inp_unknown ? nullptr : adsp_name(inp_number);
    return strl_name == nullptr ? "" : strl_name;
}

std::string channel_layout_of(const AVCodecContext &dsp_codec)
{
    if (dsp_codec.channel_layout == 0 || g_avutil.av_get_channel_layout_string == nullptr)
        return "";
    std::array<char, 256> strl_layout{};
    g_avutil.av_get_channel_layout_string(strl_layout.data(), static_cast<int>(strl_layout.size()), dsp_codec.channels,
                                          dsp_codec.channel_layout);
    return strl_layout.data();
}

/** Side data of a type that is one record. */
template <class RECORD> std::optional<RECORD> side_data_of(AVStream &dsp_stream, int inp_type)
{
    int inl_size = 0;
    const uint8_t *autl_data = g_avformat.av_stream_get_side_data == nullptr
                                   ? nullptr
                                   : g_avformat.av_stream_get_side_data(&dsp_stream, inp_type, &inl_size);
    if (autl_data == nullptr || inl_size < static_cast<int>(sizeof(RECORD)))
        return {};
    RECORD dsl_record{};
    std::memcpy(&dsl_record, autl_data, sizeof dsl_record);
    return dsl_record;
}

int64_t *append(int64_t *ailp_to, const AVRational &dsp_fraction)
{
    *ailp_to++ = dsp_fraction.num;
    *ailp_to++ = dsp_fraction.den;
    return ailp_to;
}

} // namespace

namespace media_metadata
{

std::vector<uint8_t> tags(const AVFormatContext &dsp_container, int32_t imp_kind, int32_t imp_first)
{
    if (imp_first < 0)
        throw_ffmpeg_exception(2631, "no such list of tags: ", imp_first);
    c_tag_lists dsl_lists;
    const auto add_all = [&](const auto &adsp_parts) {
        for (const auto *adsl_part :
             adsp_parts.subspan(std::min<size_t>(adsp_parts.size(), static_cast<size_t>(imp_first))))
            dsl_lists.add(adsl_part->metadata);
    };
    switch (imp_kind) {
    case CONTAINER:
        dsl_lists.add(dsp_container.metadata);
        break;
    case STREAMS:
        add_all(list(dsp_container.streams, dsp_container.nb_streams));
        break;
    case CHAPTERS:
        add_all(list(dsp_container.chapters, dsp_container.nb_chapters, MOST_PARTS));
        break;
    case PROGRAMS:
        add_all(list(dsp_container.programs, dsp_container.nb_programs, MOST_PARTS));
        break;
    default:
        throw_ffmpeg_exception(2632, "no such kind of tags: ", imp_kind);
    }
    return dsl_lists.detach();
}

std::vector<int64_t> chapters(const AVFormatContext &dsp_container)
{
    std::vector<int64_t> ill_fields;
    for (const AVChapter *adsl_chapter : list(dsp_container.chapters, dsp_container.nb_chapters, MOST_PARTS)) {
        std::array<int64_t, ChapterFields::SIZE> aill_chapter{};
        aill_chapter[ChapterFields::ID] = g_avformat.kiv_bridge_chapter_id != nullptr
                                              ? g_avformat.kiv_bridge_chapter_id(adsl_chapter)
                                              : adsl_chapter->id;
        aill_chapter[ChapterFields::TIME_BASE_NUMERATOR] = adsl_chapter->time_base.num;
        aill_chapter[ChapterFields::TIME_BASE_DENOMINATOR] = adsl_chapter->time_base.den;
        aill_chapter[ChapterFields::START] = adsl_chapter->start;
        aill_chapter[ChapterFields::END] = adsl_chapter->end;
        ill_fields.insert(ill_fields.end(), aill_chapter.begin(), aill_chapter.end());
    }
    return ill_fields;
}

std::vector<int64_t> programs(const AVFormatContext &dsp_container)
{
    std::vector<int64_t> ill_fields;
    size_t ull_left = MOST_MEMBERS;
    for (const AVProgram *adsl_program : list(dsp_container.programs, dsp_container.nb_programs, MOST_PARTS)) {
        const std::span unl_streams(
            adsl_program->stream_index,
            adsl_program->stream_index == nullptr ? 0 : std::min<size_t>(adsl_program->nb_stream_indexes, ull_left));
        ull_left -= unl_streams.size();
        std::array<int64_t, ProgramFields::SIZE> aill_program{};
        aill_program[ProgramFields::ID] = adsl_program->id;
        aill_program[ProgramFields::NUMBER] = adsl_program->program_num;
        aill_program[ProgramFields::TABLE] = adsl_program->pmt_pid;
        aill_program[ProgramFields::CLOCK] = adsl_program->pcr_pid;
        aill_program[ProgramFields::STREAMS] = static_cast<int64_t>(unl_streams.size());
        ill_fields.insert(ill_fields.end(), aill_program.begin(), aill_program.end());
        ill_fields.insert(ill_fields.end(), unl_streams.begin(), unl_streams.end());
    }
    return ill_fields;
}

std::array<std::string, StreamNames::SIZE> names(const AVStream &dsp_stream)
{
    const AVCodecContext &dsl_codec = *dsp_stream.codec;
    std::array<std::string, StreamNames::SIZE> strl_names;
    const auto set = [&](int32_t imp_name, const char *strp_name) {
        if (strp_name != nullptr)
            strl_names[static_cast<size_t>(imp_name)] = strp_name;
    };
    if (const AVCodecDescriptor *adsl_descriptor = nullptr;
        g_avcodec.avcodec_descriptor_get != nullptr &&
        (adsl_descriptor = g_avcodec.avcodec_descriptor_get(dsl_codec.codec_id)) != nullptr)
        set(StreamNames::CODEC, adsl_descriptor->long_name);
    if (const AVCodec *adsl_decoder = g_avcodec.avcodec_find_decoder(dsl_codec.codec_id);
        adsl_decoder != nullptr && g_avcodec.av_get_profile_name != nullptr)
        set(StreamNames::PROFILE, g_avcodec.av_get_profile_name(adsl_decoder, dsl_codec.profile));
    if (dsl_codec.codec_type == AVMEDIA_TYPE_AUDIO) {
        if (g_avutil.av_get_sample_fmt_name != nullptr)
            set(StreamNames::SAMPLE_FORMAT, g_avutil.av_get_sample_fmt_name(dsl_codec.sample_fmt));
        strl_names[StreamNames::CHANNEL_LAYOUT] = channel_layout_of(dsl_codec);
    }
    if (dsl_codec.codec_type == AVMEDIA_TYPE_VIDEO) {
        set(StreamNames::SAMPLE_FORMAT, g_avutil.av_get_pix_fmt_name(dsl_codec.pix_fmt));
        strl_names[StreamNames::COLOR_RANGE] = known_name(g_avutil.av_color_range_name, dsl_codec.color_range, 0);
        strl_names[StreamNames::COLOR_SPACE] =
            known_name(g_avutil.av_color_space_name, dsl_codec.colorspace, in_unspecified_colour);
        strl_names[StreamNames::COLOR_TRANSFER] =
            known_name(g_avutil.av_color_transfer_name, dsl_codec.color_trc, in_unspecified_colour);
        strl_names[StreamNames::COLOR_PRIMARIES] =
            known_name(g_avutil.av_color_primaries_name, dsl_codec.color_primaries, in_unspecified_colour);
        strl_names[StreamNames::CHROMA_LOCATION] =
            known_name(g_avutil.av_chroma_location_name, dsl_codec.chroma_sample_location, 0);
    }
    return strl_names;
}

std::optional<std::array<int64_t, LightFields::SIZE>> light(AVStream &dsp_stream)
{
    const auto dsl_screen =
        side_data_of<AVMasteringDisplayMetadata>(dsp_stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA);
    const auto dsl_content = side_data_of<AVContentLightMetadata>(dsp_stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL);
    if (!dsl_screen && !dsl_content)
        return {};
    std::array<int64_t, LightFields::SIZE> aill_light{};
    if (dsl_screen) {
        int64_t *aill_to = aill_light.data() + LightFields::COLORS;
        for (const auto &adsl_color : dsl_screen->display_primaries)
            aill_to = append(append(aill_to, adsl_color[0]), adsl_color[1]);
        append(append(aill_to, dsl_screen->white_point[0]), dsl_screen->white_point[1]);
        append(append(aill_light.data() + LightFields::LUMINANCE, dsl_screen->min_luminance),
               dsl_screen->max_luminance);
        aill_light[LightFields::HAS_COLORS] = dsl_screen->has_primaries != 0 ? 1 : 0;
        aill_light[LightFields::HAS_LUMINANCE] = dsl_screen->has_luminance != 0 ? 1 : 0;
    }
    if (dsl_content) {
        aill_light[LightFields::HAS_CONTENT] = 1;
        aill_light[LightFields::CONTENT_MAXIMUM] = dsl_content->MaxCLL;
        aill_light[LightFields::CONTENT_AVERAGE] = dsl_content->MaxFALL;
    }
    return aill_light;
}

std::optional<std::array<int64_t, SideDataFields::SIZE>> side_data(AVStream &dsp_stream)
{
    const auto dsl_matrix = side_data_of<std::array<int32_t, 9>>(dsp_stream, AV_PKT_DATA_DISPLAYMATRIX);
    const auto dsl_buffer = side_data_of<AVCPBProperties>(dsp_stream, AV_PKT_DATA_CPB_PROPERTIES);
    const auto dsl_gain = side_data_of<AVReplayGain>(dsp_stream, AV_PKT_DATA_REPLAYGAIN);
    const auto dsl_stereo = side_data_of<AVStereo3D>(dsp_stream, AV_PKT_DATA_STEREO3D);
    const auto dsl_more_stereo = side_data_of<AVStereo3DOf71>(dsp_stream, AV_PKT_DATA_STEREO3D);
    const auto dsl_sphere = side_data_of<AVSphericalMapping>(dsp_stream, AV_PKT_DATA_SPHERICAL);
    const auto dsl_service = side_data_of<int>(dsp_stream, AV_PKT_DATA_AUDIO_SERVICE_TYPE);
    if (!dsl_matrix && !dsl_buffer && !dsl_gain && !dsl_stereo && !dsl_sphere && !dsl_service)
        return {};
    std::array<int64_t, SideDataFields::SIZE> aill_data{};
    const auto set = [&](int32_t imp_from, std::initializer_list<int64_t> ailp_numbers) {
        std::ranges::copy(ailp_numbers, aill_data.begin() + imp_from);
    };
    if (dsl_matrix) {
        aill_data[SideDataFields::HAS_MATRIX] = 1;
        std::ranges::copy(*dsl_matrix, aill_data.begin() + SideDataFields::MATRIX);
    }
    if (dsl_buffer)
        set(SideDataFields::HAS_BUFFER, {1, dsl_buffer->max_bitrate, dsl_buffer->min_bitrate, dsl_buffer->avg_bitrate,
                                         dsl_buffer->buffer_size, static_cast<int64_t>(dsl_buffer->vbv_delay)});
    if (dsl_gain)
        set(SideDataFields::HAS_GAIN,
            {1, dsl_gain->track_gain, dsl_gain->track_peak, dsl_gain->album_gain, dsl_gain->album_peak});
    if (dsl_stereo)
        set(SideDataFields::STEREO_NUMBERS, {2, dsl_stereo->type, dsl_stereo->flags});
    if (dsl_more_stereo) {
        const auto &[dsl_common, inl_view, inl_eye, uml_baseline, dsl_disparity, dsl_field] = *dsl_more_stereo;
        set(SideDataFields::STEREO_NUMBERS, {9, dsl_common.type, dsl_common.flags, inl_view, inl_eye, uml_baseline,
                                             dsl_disparity.num, dsl_disparity.den, dsl_field.num, dsl_field.den});
    }
    if (dsl_sphere)
        set(SideDataFields::HAS_SPHERE,
            {1, dsl_sphere->projection, dsl_sphere->yaw, dsl_sphere->pitch, dsl_sphere->roll, dsl_sphere->bound_left,
             dsl_sphere->bound_top, dsl_sphere->bound_right, dsl_sphere->bound_bottom, dsl_sphere->padding});
    aill_data[SideDataFields::SERVICE] = dsl_service.value_or(-1);
    return aill_data;
}

std::span<const uint8_t> picture(const AVStream &dsp_stream) noexcept
{
    const AVPacket &dsl_packet = dsp_stream.attached_pic;
    if (dsl_packet.data == nullptr || dsl_packet.size <= 0)
        return {};
    return {dsl_packet.data, static_cast<size_t>(dsl_packet.size)};
}

} // namespace media_metadata
