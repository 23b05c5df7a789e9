#include "kivjniffmpeg/containers/media_reader.h"

#include "kivjniffmpeg/containers/known_formats.h"
#include "kivjniffmpeg/containers/undecoded_codecs.h"
#include "kivjniffmpeg/ffmpeg/error_text.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"
#include "trace/trace.h"

#include <natives/c_mediareader_ffmpeg.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace StreamFields = natives::StreamFields;

namespace
{

/** How often in a row FFmpeg may ask for another call without reading: a buffer has fewer units. */
constexpr int in_idle_limit = 65536;

/** How players turn pictures. */
struct dsd_orientation
{
    int32_t imc_rotation; /**< clockwise in degrees, a multiple of 90 */
    bool bc_mirrored;     /**< whether left and right are swapped before */
};

/** The orientation that a stream's matrix asks for; none when there is no matrix or it is no quarter turn. */
dsd_orientation orientation_of(AVStream &dsp_stream)
{
    std::array<int32_t, 9> aiml_matrix{};
    int inl_size = 0;
    const uint8_t *autl_data =
        g_avformat.av_stream_get_side_data == nullptr
            ? nullptr
            : g_avformat.av_stream_get_side_data(&dsp_stream, AV_PKT_DATA_DISPLAYMATRIX, &inl_size);
    if (autl_data == nullptr || inl_size != static_cast<int>(sizeof aiml_matrix))
        return {};
    std::memcpy(aiml_matrix.data(), autl_data, sizeof aiml_matrix);
    // A step to the right in the picture becomes the step (x, y) on the screen.
    double fll_x = aiml_matrix[0];
    double fll_y = aiml_matrix[1];
    const double fll_area = fll_x * aiml_matrix[4] - fll_y * aiml_matrix[3];
    constexpr double fl_tolerance = 0.0175; // about a degree, as in the ffmpeg program
    const bool bl_upright = std::abs(fll_y) <= fl_tolerance * std::abs(fll_x);
    if (fll_area == 0 || (!bl_upright && std::abs(fll_x) > fl_tolerance * std::abs(fll_y)))
        return {};
    if (fll_area < 0) {
        fll_x = -fll_x;
        fll_y = -fll_y;
    }
    if (bl_upright)
        return {fll_x > 0 ? 0 : 180, fll_area < 0};
    return {fll_y > 0 ? 90 : 270, fll_area < 0};
}

/** Throws if a function is missing that only containers need. */
c_ffmpeg *require_functions(c_ffmpeg *adsp_ffmpeg)
{
    const struct
    {
        const char *strc_name;
        bool bc_present;
    } adsl_functions[] = {
        {"avio_alloc_context", g_avformat.avio_alloc_context != nullptr},
        {"av_probe_input_buffer2", g_avformat.av_probe_input_buffer2 != nullptr},
        {"avformat_open_input", g_avformat.avformat_open_input != nullptr},
        {"avformat_find_stream_info", g_avformat.avformat_find_stream_info != nullptr},
        {"av_read_frame", g_avformat.av_read_frame != nullptr},
        {"av_seek_frame", g_avformat.av_seek_frame != nullptr},
        {"avformat_close_input", g_avformat.avformat_close_input != nullptr},
        {"av_opt_set", g_avutil.av_opt_set != nullptr},
        {"av_codec_next", g_avcodec.av_codec_next != nullptr},
        {"av_parser_next", g_avcodec.av_parser_next != nullptr},
    };
    for (const auto &dsl_function : adsl_functions)
        if (!dsl_function.bc_present)
            throw_ffmpeg_exception(2602, "this FFmpeg cannot read containers, it lacks ", dsl_function.strc_name);
    return adsp_ffmpeg;
}

} // namespace

c_mediareader::c_mediareader(c_ffmpeg *adsp_ffmpeg, std::unique_ptr<ca_byte_source> dsp_source, ie_access iep_access,
                             const c_reader_limits::values &ailp_limits)
    : dsc_ffmpeg(require_functions(adsp_ffmpeg)),
      dsc_limits(ailp_limits),
      dsc_demuxer(dsc_limits),
      dsc_source(std::move(dsp_source), iep_access, dsc_limits)
{
    TRACE_FUNCTION(3);
    undecoded_codecs::remove_parsers();
    dsc_source.set_container(&dsc_format);
    AVInputFormat *adsl_format = probe();
    // FFmpeg's reader of MP3 takes padding at the end for a lie when it gets an error for the size, but not 0 as of a pipe.
    dsc_source.restart(std::string_view(adsl_format->name) == "mp3");
    if (std::string_view(adsl_format->name).starts_with("mov,"))
        dsc_source.expect_boxes();
    if (std::string_view(adsl_format->name) == "flac")
        dsc_source.expect_comments();
    dsc_format.context()->pb = dsc_source.io();
    // Otherwise side data is merged into the bytes, where decoders of other libraries do not expect it.
    dsc_format.context()->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_KEEP_SIDE_DATA;
    dsc_format.context()->interrupt_callback = {is_interrupted, this};
    const int inl_result = dsc_format.open_input(adsl_format);
    dsc_limits.allow(dsc_format.context());
    dsc_source.check();
    if (inl_result < 0)
        throw_ffmpeg_exception(2608, "opening as ", adsl_format->name, " failed: ", error_text(inl_result));
    forbid_nested_formats();
    restrict_codecs();
    dsc_demuxer.install(*dsc_format.context());
    examine_streams();
    TRACE_LINE(im_level_debug, "%s#%s(): format=%s streams=%u", format_name(), dsc_format.context()->nb_streams);
    dsc_source.check();
    dsc_limits.end_opening();
}

AVInputFormat *c_mediareader::probe() const
{
    TRACE_FUNCTION(3);
    AVInputFormat *adsl_format = nullptr;
    // No name, and the default limit of bytes.
    const int inl_result = g_avformat.av_probe_input_buffer2(dsc_source.io(), &adsl_format, "", nullptr, 0, 0);
    dsc_source.check();
    if (inl_result < 0 || adsl_format == nullptr || !known_formats::has(adsl_format->name))
        throw_ffmpeg_exception(2607, "not a known media file");
    return adsl_format;
}

void c_mediareader::forbid_nested_formats() const
{
    // No format has this name. Without the option an AVI's subtitles could be of any format.
    if (const int inl_result = g_avutil.av_opt_set(dsc_format.context(), "format_whitelist", "none", 0); inl_result < 0)
        throw_ffmpeg_exception(2609, "this FFmpeg cannot forbid nested formats: ", error_text(inl_result));
}

void c_mediareader::restrict_codecs() const
{
    if (const int inl_result =
            g_avutil.av_opt_set(dsc_format.context(), "codec_whitelist", undecoded_codecs::whitelist().c_str(), 0);
        inl_result < 0)
        throw_ffmpeg_exception(2622, "this FFmpeg cannot restrict codecs: ", error_text(inl_result));
}

int c_mediareader::is_interrupted(void *avp_reader) noexcept
{
    auto &dsl_reader = *static_cast<c_mediareader *>(avp_reader);
    return !dsl_reader.dsc_limits.allow(dsl_reader.dsc_format.context()) || dsl_reader.dsc_limits.has_enough_packets();
}

void c_mediareader::examine_streams()
{
    TRACE_FUNCTION(3);
    const int inl_result = g_avformat.avformat_find_stream_info(dsc_format.context(), nullptr);
    dsc_source.check();
    // After a failure some parameters are unknown, but a file that was cut short may still be readable.
    if (dsc_format.context()->nb_streams == 0)
        throw_ffmpeg_exception(2610, "no streams found", inl_result < 0 ? ": " + error_text(inl_result) : "");
}

std::array<int64_t, natives::ReaderInfo::SIZE> c_mediareader::info() const noexcept
{
    const AVFormatContext &dsl_context = *dsc_format.context();
    std::array<int64_t, natives::ReaderInfo::SIZE> aill_info{};
    aill_info[natives::ReaderInfo::STREAMS] = dsl_context.nb_streams;
    aill_info[natives::ReaderInfo::DURATION] = dsl_context.duration;
    aill_info[natives::ReaderInfo::START_TIME] = dsl_context.start_time;
    aill_info[natives::ReaderInfo::BIT_RATE] = std::max(dsl_context.bit_rate, 0);
    return aill_info;
}

const char *c_mediareader::format_name() const noexcept
{
    return dsc_format.context()->iformat->name;
}

AVStream &c_mediareader::stream_at(int32_t imp_index) const
{
    const AVFormatContext &dsl_context = *dsc_format.context();
    if (imp_index < 0 || static_cast<uint32_t>(imp_index) >= dsl_context.nb_streams)
        throw_ffmpeg_exception(2611, "no such stream: ", imp_index);
    return *dsl_context.streams[imp_index];
}

std::array<int64_t, natives::StreamFields::SIZE> c_mediareader::stream_info(int32_t imp_index) const
{
    AVStream &dsl_stream = stream_at(imp_index);
    const AVCodecContext &dsl_codec = *dsl_stream.codec;
    const AVRational dsl_aspect =
        dsl_stream.sample_aspect_ratio.num != 0 ? dsl_stream.sample_aspect_ratio : dsl_codec.sample_aspect_ratio;
    int64_t ill_sample_format = AV_PIX_FMT_NONE;
    if (dsl_codec.codec_type == AVMEDIA_TYPE_VIDEO)
        ill_sample_format = dsl_codec.pix_fmt;
    else if (dsl_codec.codec_type == AVMEDIA_TYPE_AUDIO)
        ill_sample_format = dsl_codec.sample_fmt;
    std::array<int64_t, StreamFields::SIZE> aill_fields{};
    aill_fields[StreamFields::MEDIA_TYPE] = dsl_codec.codec_type;
    aill_fields[StreamFields::CODEC_ID] = dsl_codec.codec_id;
    aill_fields[StreamFields::CODEC_TAG] = dsl_codec.codec_tag;
    aill_fields[StreamFields::WIDTH] = dsl_codec.width;
    aill_fields[StreamFields::HEIGHT] = dsl_codec.height;
    aill_fields[StreamFields::FRAME_RATE_NUMERATOR] = dsl_stream.avg_frame_rate.num;
    aill_fields[StreamFields::FRAME_RATE_DENOMINATOR] = dsl_stream.avg_frame_rate.den;
    aill_fields[StreamFields::TIME_BASE_NUMERATOR] = dsl_stream.time_base.num;
    aill_fields[StreamFields::TIME_BASE_DENOMINATOR] = dsl_stream.time_base.den;
    aill_fields[StreamFields::DURATION] = dsl_stream.duration;
    aill_fields[StreamFields::START_TIME] = dsl_stream.start_time;
    aill_fields[StreamFields::BIT_RATE] = std::max(dsl_codec.bit_rate, 0);
    aill_fields[StreamFields::SAMPLE_RATE] = dsl_codec.sample_rate;
    aill_fields[StreamFields::CHANNELS] = dsl_codec.channels;
    aill_fields[StreamFields::BITS_PER_CODED_SAMPLE] = dsl_codec.bits_per_coded_sample;
    aill_fields[StreamFields::BLOCK_ALIGN] = dsl_codec.block_align;
    aill_fields[StreamFields::FRAMES] = dsl_stream.nb_frames;
    aill_fields[StreamFields::PIXEL_WIDTH] = dsl_aspect.num;
    aill_fields[StreamFields::PIXEL_HEIGHT] = dsl_aspect.den;
    aill_fields[StreamFields::PROFILE] = dsl_codec.profile;
    aill_fields[StreamFields::DISPOSITION] = dsl_stream.disposition;
    aill_fields[StreamFields::SAMPLE_FORMAT] = ill_sample_format;
    const dsd_orientation dsl_orientation = orientation_of(dsl_stream);
    aill_fields[StreamFields::ROTATION] = dsl_orientation.imc_rotation;
    aill_fields[StreamFields::MIRRORED] = dsl_orientation.bc_mirrored ? 1 : 0;
    aill_fields[StreamFields::CONTAINER_STATES_SHAPE] = dsl_stream.sample_aspect_ratio.num != 0 ? 1 : 0;
    aill_fields[StreamFields::ADMITTED] = admitted_codecs::has(dsl_codec.codec_id) ? 1 : 0;
    aill_fields[StreamFields::LEVEL] = dsl_codec.level;
    aill_fields[StreamFields::NUMBER] =
        (dsc_format.context()->iformat->flags & AVFMT_SHOW_IDS) != 0 ? dsl_stream.id : StreamFields::NO_NUMBER;
    const AVRational dsl_real_rate = g_avformat.av_stream_get_r_frame_rate != nullptr
                                         ? g_avformat.av_stream_get_r_frame_rate(&dsl_stream)
                                         : AVRational{0, 0};
    aill_fields[StreamFields::REAL_FRAME_RATE_NUMERATOR] = dsl_real_rate.num;
    aill_fields[StreamFields::REAL_FRAME_RATE_DENOMINATOR] = dsl_real_rate.den;
    aill_fields[StreamFields::FIELD_ORDER] = dsl_codec.field_order;
    aill_fields[StreamFields::COLOR_RANGE] = dsl_codec.color_range;
    aill_fields[StreamFields::COLOR_SPACE] = dsl_codec.colorspace;
    aill_fields[StreamFields::COLOR_TRANSFER] = dsl_codec.color_trc;
    aill_fields[StreamFields::COLOR_PRIMARIES] = dsl_codec.color_primaries;
    aill_fields[StreamFields::CHROMA_LOCATION] = dsl_codec.chroma_sample_location;
    aill_fields[StreamFields::CHANNEL_LAYOUT] = static_cast<int64_t>(dsl_codec.channel_layout);
    aill_fields[StreamFields::BITS_PER_RAW_SAMPLE] = dsl_codec.bits_per_raw_sample;
    aill_fields[StreamFields::BITS_PER_SAMPLE] =
        g_avcodec.av_get_bits_per_sample != nullptr ? g_avcodec.av_get_bits_per_sample(dsl_codec.codec_id) : 0;
    aill_fields[StreamFields::DECODABLE] = g_avcodec.avcodec_find_decoder(dsl_codec.codec_id) != nullptr ? 1 : 0;
    aill_fields[StreamFields::CODED_WIDTH] = dsl_codec.coded_width;
    aill_fields[StreamFields::CODED_HEIGHT] = dsl_codec.coded_height;
    aill_fields[StreamFields::REORDERED] = dsl_codec.has_b_frames;
    aill_fields[StreamFields::REFERENCES] = dsl_codec.refs;
    aill_fields[StreamFields::INITIAL_PADDING] = dsl_codec.initial_padding;
    return aill_fields;
}

const char *c_mediareader::codec_name(int32_t imp_index) const
{
    const AVCodecID iel_codec = stream_at(imp_index).codec->codec_id;
    return g_avcodec.avcodec_get_name != nullptr ? g_avcodec.avcodec_get_name(iel_codec) : "unknown";
}

std::span<const uint8_t> c_mediareader::extradata(int32_t imp_index) const
{
    const AVCodecContext &dsl_codec = *stream_at(imp_index).codec;
    if (dsl_codec.extradata == nullptr || dsl_codec.extradata_size <= 0)
        return {};
    return {dsl_codec.extradata, static_cast<size_t>(dsl_codec.extradata_size)};
}

bool c_mediareader::read(c_avpacket &dsp_packet)
{
    TRACE_FUNCTION(3);
    // Some readers ask for another call after each unit that is no packet, endlessly when they make no progress.
    int inl_result = 0;
    uint64_t ull_reads = dsc_source.reads();
    int inl_idle = 0;
    do {
        inl_result = g_avformat.av_read_frame(dsc_format.context(), dsp_packet.packet());
        dsc_source.check();
        inl_idle = ull_reads == dsc_source.reads() ? inl_idle + 1 : 0;
        ull_reads = dsc_source.reads();
    } while (inl_result == AVERROR(EAGAIN) && inl_idle < in_idle_limit);
    // FFmpeg's reader of AMR reports the end of the file as a failed read.
    if (inl_result == AVERROR_EOF || (inl_result == AVERROR(EIO) && dsc_source.at_end()))
        return false;
    if (inl_result < 0)
        throw_ffmpeg_exception(2612, "reading packet failed: ", error_text(inl_result));
    dsp_packet.append_palette();
    return true;
}

// FFmpeg's reader of AVI ends the process when it seeks and a stream's time base is not exactly its header's.
bool c_mediareader::has_exact_time_bases() const noexcept
{
    if (std::string_view(format_name()) != "avi")
        return true;
    const std::span dsl_streams(dsc_format.context()->streams, dsc_format.context()->nb_streams);
    // Sound within DV pictures has no header of the AVI's. FFmpeg seeks in such files in another way.
    if (std::ranges::any_of(dsl_streams, [](const AVStream *adsp_stream) { return adsp_stream->priv_data == nullptr; }))
        return true;
    return std::ranges::all_of(dsl_streams, [](const AVStream *adsp_stream) {
        const auto &dsl_header = *static_cast<const AVIStream *>(adsp_stream->priv_data);
        const double fll_base = static_cast<double>(adsp_stream->time_base.num) / adsp_stream->time_base.den;
        return std::abs(fll_base - static_cast<double>(dsl_header.scale) / dsl_header.rate) < fll_base * 1e-8;
    });
}

// FFmpeg's reader of Matroska makes no stream of a track without a codec, and looks for one when it seeks.
bool c_mediareader::has_subtitles_without_stream() const noexcept
{
    const AVFormatContext *adsl_context = dsc_format.context();
    // A newer FFmpeg's reader shows no private data, and does without the stream.
    if (!std::string_view(format_name()).starts_with("matroska") || adsl_context->priv_data == nullptr)
        return false;
    const auto *autl_reader = static_cast<const uint8_t *>(adsl_context->priv_data);
    const bool bl_of_2_5 = *static_cast<const AVFormatContext *const *>(adsl_context->priv_data) == adsl_context;
    MatroskaTracks dsl_tracks{};
    std::memcpy(&dsl_tracks, autl_reader + (bl_of_2_5 ? ul_matroska_tracks_of_2_5 : ul_matroska_tracks_of_2_7),
                sizeof dsl_tracks);
    const std::span dsl_all(dsl_tracks.elem, static_cast<size_t>(std::max(dsl_tracks.nb_elem, 0)));
    return std::ranges::any_of(dsl_all, [](const MatroskaTrack &dsp_track) {
        return dsp_track.type == MATROSKA_TRACK_TYPE_SUBTITLE && dsp_track.stream == nullptr;
    });
}

void c_mediareader::seek(int32_t imp_stream, int64_t ilp_time, int32_t imp_flags)
{
    TRACE_FUNCTION(3);
    if (imp_stream != natives::c_mediareader_ffmpeg::NO_STREAM)
        static_cast<void>(stream_at(imp_stream));
    if ((imp_flags & ~(AVSEEK_FLAG_BACKWARD | AVSEEK_FLAG_BYTE | AVSEEK_FLAG_ANY)) != 0)
        throw_ffmpeg_exception(2613, "unknown seek flags: ", imp_flags);
    if (!has_exact_time_bases())
        throw_ffmpeg_exception(2615, "cannot seek, the file's units of time are impossible");
    if (has_subtitles_without_stream())
        throw_ffmpeg_exception(2623, "cannot seek, a track of subtitles has no codec");
    const int inl_result = g_avformat.av_seek_frame(dsc_format.context(), imp_stream, ilp_time, imp_flags);
    dsc_source.check();
    if (inl_result < 0)
        throw_ffmpeg_exception(2614, "seek failed: ", error_text(inl_result));
}
