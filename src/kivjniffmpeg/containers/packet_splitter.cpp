#include "kivjniffmpeg/containers/packet_splitter.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/ffmpeg/packet.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"
#include "memory/bytes.h"
#include "trace/trace.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace StreamFields = natives::StreamFields;

namespace
{

// FFmpeg's parsers of other codecs expect whole packets, or these codecs come in containers only.
constexpr std::string_view s_codecs[] = {"h264", "hevc", "vvc",   "mpeg1video", "mpeg2video", "mpeg4", "h261",
                                         "h263", "vc1",  "mjpeg", "aac",        "mp1",        "mp2",   "mp3",
                                         "ac3",  "eac3", "dts",   "flac",       "truehd",     "mlp"};

/** A parser that neither uses bytes nor ends a packet so often makes no progress. */
constexpr int in_most_idle = 100;
constexpr int in_picture_type_intra = 1; // AV_PICTURE_TYPE_I

AVCodecID require_codec(const std::string &strp_name)
{
    if (std::ranges::find(s_codecs, strp_name) == std::end(s_codecs))
        throw_ffmpeg_exception(2633, "the library cuts no stream of ", strp_name);
    // Those of 2.5 to 2.8 lose packets where a header comes in two pieces.
    if (strp_name == "eac3" && g_avutil.kiv_bridge_description == nullptr)
        throw_ffmpeg_exception(2636, "this FFmpeg does not cut streams of eac3");
    const AVCodecID iel_codec = admitted_codecs::find(strp_name);
    if (g_avcodec.avcodec_find_decoder(iel_codec) == nullptr)
        throw_ffmpeg_exception(2634, "this FFmpeg has no decoder for ", strp_name);
    return iel_codec;
}

} // namespace

c_packet_splitter::c_packet_splitter(c_ffmpeg *adsp_ffmpeg, const std::string &strp_codec)
    : dsc_ffmpeg(adsp_ffmpeg), dsc_codec(require_codec(strp_codec), true)
{
    TRACE_FUNCTION(3);
    restart();
}

void c_packet_splitter::restart()
{
    dsc_parser = std::make_unique<c_avparser>(dsc_codec);
    dsc_sound.reset();
    inc_idle = 0;
}

c_packet_splitter::dsd_piece c_packet_splitter::split(std::span<const uint8_t> utp_bytes, int64_t ilp_pts,
                                                      int64_t ilp_dts)
{
    TRACE_FUNCTION(3);
    dsd_piece dsl_piece;
    dsl_piece.ulc_used =
        std::min(dsc_parser->parse(utp_bytes, ilp_pts, ilp_dts, dsl_piece.utc_packet), utp_bytes.size());
    if (!dsl_piece.utc_packet.empty()) {
        learn_sound(dsl_piece.utc_packet);
    } else if (utp_bytes.empty()) {
        restart();
        return dsl_piece;
    }
    inc_idle = dsl_piece.ulc_used == 0 ? inc_idle + 1 : 0;
    if (inc_idle > in_most_idle && dsl_piece.utc_packet.empty())
        throw_ffmpeg_exception(2635, "the parser makes no progress");
    return dsl_piece;
}

bool c_packet_splitter::is_key() const noexcept
{
    const AVCodecParserContext &dsl_state = state();
    return dsl_state.key_frame == 1 || (dsl_state.key_frame < 0 && dsl_state.pict_type == in_picture_type_intra);
}

/** Some parsers of sound report neither channels nor rate. The decoder does, when it has decoded a packet. */
void c_packet_splitter::learn_sound(std::span<const uint8_t> utp_packet)
{
    if (dsc_codec.codec()->type != AVMEDIA_TYPE_AUDIO || (known().channels > 0 && known().sample_rate > 0))
        return;
    dsc_sound = std::make_unique<c_avcodec_ctx>(dsc_codec, dsd_buffer_callbacks{});
    if (g_avcodec.avcodec_open2(dsc_sound->context(), dsc_codec.codec(), nullptr) < 0)
        return;
    c_padded_bytes dsl_copy;
    const auto utl_copy = dsl_copy.prepare(utp_packet.size());
    copy_bytes(utp_packet, utl_copy);
    c_avpacket dsl_packet;
    dsl_packet.initialise();
    dsl_packet.set_data(utl_copy.data());
    dsl_packet.set_size(static_cast<int>(utl_copy.size()));
    dsl_packet.guard_side_data();
    c_avframe dsl_frame;
    int inl_got_frame = 0;
    static_cast<void>(
        g_avcodec.avcodec_decode_audio4(dsc_sound->context(), dsl_frame.frame(), &inl_got_frame, dsl_packet.packet()));
}

const AVCodecContext &c_packet_splitter::known() const
{
    return dsc_sound != nullptr ? *dsc_sound->context() : dsc_parser->stream();
}

std::array<int64_t, StreamFields::SIZE> c_packet_splitter::stream_info() const
{
    const AVCodecContext &dsl_known = known();
    const bool bl_video = dsc_codec.codec()->type == AVMEDIA_TYPE_VIDEO;
    const AVCodecID iel_codec = dsc_parser->stream().codec_id;
    std::array<int64_t, StreamFields::SIZE> aill_fields{};
    aill_fields[StreamFields::MEDIA_TYPE] = dsc_codec.codec()->type;
    aill_fields[StreamFields::CODEC_ID] = iel_codec;
    aill_fields[StreamFields::DURATION] = AV_NOPTS_VALUE;
    aill_fields[StreamFields::START_TIME] = AV_NOPTS_VALUE;
    aill_fields[StreamFields::WIDTH] = bl_video ? dsl_known.width : 0;
    aill_fields[StreamFields::HEIGHT] = bl_video ? dsl_known.height : 0;
    aill_fields[StreamFields::SAMPLE_RATE] = bl_video ? 0 : dsl_known.sample_rate;
    aill_fields[StreamFields::CHANNELS] = bl_video ? 0 : dsl_known.channels;
    aill_fields[StreamFields::PROFILE] = dsl_known.profile;
    aill_fields[StreamFields::SAMPLE_FORMAT] = bl_video ? int{AV_PIX_FMT_NONE} : int{dsl_known.sample_fmt};
    aill_fields[StreamFields::ADMITTED] = admitted_codecs::has(iel_codec) ? 1 : 0;
    aill_fields[StreamFields::DECODABLE] = g_avcodec.avcodec_find_decoder(iel_codec) != nullptr ? 1 : 0;
    return aill_fields;
}

const char *c_packet_splitter::codec_name() const
{
    return g_avcodec.avcodec_get_name != nullptr ? g_avcodec.avcodec_get_name(dsc_parser->stream().codec_id)
                                                 : dsc_codec.codec()->name;
}
