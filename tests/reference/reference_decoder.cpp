/**
 * @file
 * Decodes a video stream with FFmpeg called directly and prints one line a picture, for the tests to compare with what
 * the library gives Java.
 *
 * No code of the library takes part: FFmpeg reads the file itself and decodes into its own default buffers. Only the
 * manner of feeding is the library's: a decoder context that is set up from the stream's description instead of the
 * demuxer's own one, a packet's timestamp for every call that takes bytes of it, and no drain at the end.
 *
 * Output, tab-separated:
 * - "picture", index, number of the packet that was being fed, the timestamp that the picture carries (each packet has
 *   its number for one), width, height, pixel format, the decoder's pixel format (another one when the picture
 *   was converted), MD5 of its visible bytes, plane after plane
 * - "error", number of the packet, FFmpeg's code: the rest of that packet was given up
 * - "lost", number of the packet: a picture that cannot be converted
 * - "packets", their number
 * With --list-packets instead "stream" lines (index, media type, codec identifier, tag, width, height, time base as a
 * fraction, size and MD5 of the extradata) and "packet" lines (stream, pts, dts, duration, flags, size, MD5).
 * With --pcm the first sound stream instead, see sound.h.
 */
#include "ffmpeg_objects.h"
#include "sound.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace
{

struct dsd_options
{
    std::string strc_libraries;
    std::string strc_file;
    int inc_stream = -1; // the first of its kind
    std::optional<AVCodecID> dsc_codec_id;
    bool bc_truncated = false;
    bool bc_emu_edge = false;
    bool bc_drain = false;
    bool bc_list_packets = false;
    dsd_sound_options dsc_sound;                // when it names a file
    AVPixelFormat dsc_target = AV_PIX_FMT_NONE; // as decoded
    int inc_width = 0;                          // of a converted picture
    int inc_height = 0;
};

/** The visible part of one picture. */
struct dsd_picture
{
    AVPixelFormat dsc_format;
    int inc_width;
    int inc_height;
    std::array<const uint8_t *, 4> aubyc_data;
    std::array<int, 4> inc_linesizes;

    /** Lines of a plane. */
    int lines(size_t ulp_plane) const
    {
        const int inl_shift = g_ffmpeg.av_pix_fmt_desc_get(dsc_format)->log2_chroma_h;
        return ulp_plane == 1 || ulp_plane == 2 ? -(-inc_height >> inl_shift) : inc_height;
    }

    std::string md5() const
    {
        std::array<int, 4> inl_bytes{};
        g_ffmpeg.av_image_fill_linesizes(inl_bytes.data(), dsc_format, inc_width);
        std::vector<uint8_t> byrl_packed;
        for (size_t ull_plane = 0; ull_plane < aubyc_data.size(); ++ull_plane) {
            if (inl_bytes[ull_plane] == 0)
                continue;
            for (int inl_line = 0; inl_line < lines(ull_plane); ++inl_line)
                byrl_packed.insert(
                    byrl_packed.end(), aubyc_data[ull_plane] + ptrdiff_t{inl_line} * inc_linesizes[ull_plane],
                    aubyc_data[ull_plane] + ptrdiff_t{inl_line} * inc_linesizes[ull_plane] + inl_bytes[ull_plane]);
        }
        return md5_of(byrl_packed);
    }
};

/** Converts pictures into memory of its own. */
class c_converter
{
public:
    ~c_converter() { g_ffmpeg.sws_freeContext(adsc_scaler); }
    c_converter() = default;
    c_converter(const c_converter &) = delete;
    c_converter &operator=(const c_converter &) = delete;

    /** The converted picture, valid until the next call; nothing when it cannot be converted. */
    std::optional<dsd_picture> convert(const dsd_picture &dsp_source, const dsd_options &dsp_options)
    {
        adsc_scaler = g_ffmpeg.sws_getCachedContext(
            adsc_scaler, dsp_source.inc_width, dsp_source.inc_height, dsp_source.dsc_format, dsp_options.inc_width,
            dsp_options.inc_height, dsp_options.dsc_target, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
        if (adsc_scaler == nullptr)
            return std::nullopt;
        dsd_picture dsl_target{dsp_options.dsc_target, dsp_options.inc_width, dsp_options.inc_height, {}, {}};
        g_ffmpeg.av_image_fill_linesizes(dsl_target.inc_linesizes.data(), dsl_target.dsc_format, dsl_target.inc_width);
        std::array<uint8_t *, 4> aubyl_data{};
        for (size_t ull_plane = 0; ull_plane < aubyl_data.size(); ++ull_plane) {
            if (dsl_target.inc_linesizes[ull_plane] == 0)
                continue;
            // Lines that are much wider than the picture: the scaler's fast paths write whole vectors.
            dsl_target.inc_linesizes[ull_plane] = (dsl_target.inc_linesizes[ull_plane] + 127) / 64 * 64;
            const int inl_size = dsl_target.inc_linesizes[ull_plane] * (dsl_target.lines(ull_plane) + 2);
            byrc_planes[ull_plane].assign(static_cast<size_t>(inl_size) + 64, 0);
            void *avl_plane = byrc_planes[ull_plane].data();
            size_t ull_space = byrc_planes[ull_plane].size();
            aubyl_data[ull_plane] = static_cast<uint8_t *>(std::align(64, 1, avl_plane, ull_space));
            dsl_target.aubyc_data[ull_plane] = aubyl_data[ull_plane];
        }
        g_ffmpeg.sws_scale(adsc_scaler, dsp_source.aubyc_data.data(), dsp_source.inc_linesizes.data(), 0,
                           std::min(dsp_options.inc_height, dsp_source.inc_height), aubyl_data.data(),
                           dsl_target.inc_linesizes.data());
        return dsl_target;
    }

private:
    SwsContext *adsc_scaler = nullptr;
    std::array<std::vector<uint8_t>, 4> byrc_planes;
};

/** The decoder and the printing of what it gives. */
class c_decoder
{
public:
    c_decoder(const dsd_options &dsp_options, const AVCodecContext &dsp_stream) : dsc_options(dsp_options)
    {
        const AVCodec *adsl_codec = &decoder_of(dsp_options.dsc_codec_id.value_or(dsp_stream.codec_id));
        adsc_context = new_context(*adsl_codec, dsp_stream);
        adsc_frame.reset(g_ffmpeg.av_frame_alloc());
        if (adsc_frame == nullptr)
            throw std::bad_alloc();
        if (dsp_options.bc_truncated && (adsl_codec->capabilities & CODEC_CAP_TRUNCATED) != 0)
            adsc_context->flags |= CODEC_FLAG_TRUNCATED;
        if (dsp_options.bc_emu_edge)
            adsc_context->flags |= CODEC_FLAG_EMU_EDGE;
        adsc_context->width = dsp_stream.width;
        adsc_context->height = dsp_stream.height;
        open_codec(*adsc_context, *adsl_codec);
        if (dsc_options.inc_width == 0) {
            dsc_options.inc_width = dsp_stream.width;
            dsc_options.inc_height = dsp_stream.height;
        }
    }

    /** Feeds one whole packet. */
    void feed(const AVPacket &dsp_packet)
    {
        AVPacket dsl_packet{};
        g_ffmpeg.av_init_packet(&dsl_packet);
        dsl_packet.data = dsp_packet.data;
        dsl_packet.size = dsp_packet.size;
        dsl_packet.pts = inc_packets;
        dsl_packet.dts = AV_NOPTS_VALUE;
        int inl_idle = 0;
        while (dsl_packet.size > 0) {
            int inl_got_picture = 0;
            const int inl_used = decode(dsl_packet, inl_got_picture);
            inl_idle = inl_used == 0 && inl_got_picture == 0 ? inl_idle + 1 : 0;
            if (inl_used < 0 || inl_idle == s_idle_calls) {
                std::printf("error\t%d\t%d\n", inc_packets, inl_used);
                break;
            }
            dsl_packet.data += inl_used;
            dsl_packet.size -= inl_used;
        }
        ++inc_packets;
    }

    /** Gets the pictures that the decoder still holds and prints the end. */
    void finish()
    {
        AVPacket dsl_packet{};
        g_ffmpeg.av_init_packet(&dsl_packet);
        int inl_got_picture = dsc_options.bc_drain ? 1 : 0;
        while (inl_got_picture != 0) {
            if (decode(dsl_packet, inl_got_picture) < 0)
                break;
        }
        std::printf("packets\t%d\n", inc_packets);
    }

private:
    int decode(const AVPacket &dsp_packet, int &inp_got_picture)
    {
        inp_got_picture = 0;
        const int inl_used =
            g_ffmpeg.avcodec_decode_video2(adsc_context.get(), adsc_frame.get(), &inp_got_picture, &dsp_packet);
        if (inl_used >= 0 && inp_got_picture != 0)
            print_picture();
        return inl_used;
    }

    void print_picture()
    {
        const AVFrame &dsl_frame = *adsc_frame;
        dsd_picture dsl_picture{
            static_cast<AVPixelFormat>(dsl_frame.format), dsl_frame.width, dsl_frame.height, {}, {}};
        for (size_t ull_plane = 0; ull_plane < dsl_picture.aubyc_data.size(); ++ull_plane) {
            dsl_picture.aubyc_data[ull_plane] = dsl_frame.data[ull_plane];
            dsl_picture.inc_linesizes[ull_plane] = dsl_frame.linesize[ull_plane];
        }
        const AVPixelFormat dsl_decoded = dsl_picture.dsc_format;
        if (dsc_options.dsc_target != AV_PIX_FMT_NONE && dsc_options.dsc_target != dsl_decoded) {
            const std::optional<dsd_picture> dsl_converted = dsc_converter.convert(dsl_picture, dsc_options);
            if (!dsl_converted) {
                std::printf("lost\t%d\n", inc_packets);
                return;
            }
            dsl_picture = *dsl_converted;
        }
        std::printf("picture\t%d\t%d\t%lld\t%d\t%d\t%s\t%s\t%s\n", inc_pictures++, inc_packets,
                    static_cast<long long>(dsl_frame.pkt_pts), dsl_picture.inc_width, dsl_picture.inc_height,
                    g_ffmpeg.av_get_pix_fmt_name(dsl_picture.dsc_format), g_ffmpeg.av_get_pix_fmt_name(dsl_decoded),
                    dsl_picture.md5().c_str());
    }

    dsd_options dsc_options;
    context_ptr adsc_context;
    frame_ptr adsc_frame;
    c_converter dsc_converter;
    int inc_packets = 0;
    int inc_pictures = 0;
};

void list_packets(c_file &dsp_file)
{
    for (const AVStream *adsl_stream : dsp_file.streams()) {
        const AVCodecContext &dsl_codec = *adsl_stream->codec;
        const std::span dsl_extradata(dsl_codec.extradata, static_cast<size_t>(dsl_codec.extradata_size));
        std::printf("stream\t%d\t%d\t%d\t%u\t%d\t%d\t%d\t%d\t%zu\t%s\n", adsl_stream->index, dsl_codec.codec_type,
                    dsl_codec.codec_id, dsl_codec.codec_tag, dsl_codec.width, dsl_codec.height,
                    adsl_stream->time_base.num, adsl_stream->time_base.den, dsl_extradata.size(),
                    md5_of(dsl_extradata).c_str());
    }
    dsp_file.for_each_packet([](const AVPacket &dsp_packet) {
        std::printf("packet\t%d\t%lld\t%lld\t%d\t%d\t%d\t%s\n", dsp_packet.stream_index,
                    static_cast<long long>(dsp_packet.pts), static_cast<long long>(dsp_packet.dts), dsp_packet.duration,
                    dsp_packet.flags, dsp_packet.size,
                    md5_of({dsp_packet.data, static_cast<size_t>(dsp_packet.size)}).c_str());
    });
}

int parse_number(std::string_view strp_text)
{
    int inl_number = 0;
    const auto [strl_end, dsl_error] =
        std::from_chars(strp_text.data(), strp_text.data() + strp_text.size(), inl_number);
    if (dsl_error != std::errc() || strl_end != strp_text.data() + strp_text.size())
        throw std::runtime_error("not a number: " + std::string(strp_text));
    return inl_number;
}

/** Loads FFmpeg as soon as its directory is known, because it knows the pixel formats' names. */
dsd_options parse(std::span<char *const> strp_arguments)
{
    if (strp_arguments.size() < 2)
        throw std::runtime_error("usage: reference_decoder LIBRARIES FILE [--list-packets] [--stream N] [--codec ID] "
                                 "[--truncated] [--emu-edge] [--convert FORMAT] [--size WxH] [--drain]\n"
                                 "       reference_decoder LIBRARIES FILE --pcm FILE [--stream N] [--codec ID] "
                                 "[--join N] [--pieces N | --cut BYTES]");
    dsd_options dsl_options;
    dsl_options.strc_libraries = strp_arguments[0];
    dsl_options.strc_file = strp_arguments[1];
    g_ffmpeg.load(dsl_options.strc_libraries);
    strp_arguments = strp_arguments.subspan(2);
    while (!strp_arguments.empty()) {
        const std::string strl_name = strp_arguments[0];
        strp_arguments = strp_arguments.subspan(1);
        const auto value = [&] {
            if (strp_arguments.empty())
                throw std::runtime_error(strl_name + " wants a value");
            const char *strl_value = strp_arguments[0];
            strp_arguments = strp_arguments.subspan(1);
            return std::string_view(strl_value);
        };
        if (strl_name == "--list-packets") {
            dsl_options.bc_list_packets = true;
        } else if (strl_name == "--stream") {
            dsl_options.inc_stream = parse_number(value());
        } else if (strl_name == "--codec") {
            dsl_options.dsc_codec_id = static_cast<AVCodecID>(parse_number(value()));
        } else if (strl_name == "--truncated") {
            dsl_options.bc_truncated = true;
        } else if (strl_name == "--emu-edge") {
            dsl_options.bc_emu_edge = true;
        } else if (strl_name == "--convert") {
            dsl_options.dsc_target = g_ffmpeg.av_get_pix_fmt(std::string(value()).c_str());
            if (dsl_options.dsc_target == AV_PIX_FMT_NONE)
                throw std::runtime_error("no such pixel format");
        } else if (strl_name == "--size") {
            const std::string_view strl_size = value();
            const size_t ull_cross = std::min(strl_size.find('x'), strl_size.size() - 1);
            dsl_options.inc_width = parse_number(strl_size.substr(0, ull_cross));
            dsl_options.inc_height = parse_number(strl_size.substr(ull_cross + 1));
        } else if (strl_name == "--drain") {
            dsl_options.bc_drain = true;
        } else if (strl_name == "--pcm") {
            dsl_options.dsc_sound.strc_pcm = value();
        } else if (strl_name == "--join") {
            dsl_options.dsc_sound.inc_join = parse_number(value());
        } else if (strl_name == "--pieces") {
            dsl_options.dsc_sound.inc_pieces = parse_number(value());
        } else if (strl_name == "--cut") {
            dsl_options.dsc_sound.inc_cut = parse_number(value());
        } else {
            throw std::runtime_error("unknown option " + strl_name);
        }
    }
    return dsl_options;
}

} // namespace

int main(int inp_count, char **strp_arguments)
try {
    const dsd_options dsl_options = parse(std::span(strp_arguments, static_cast<size_t>(inp_count)).subspan(1));
    g_ffmpeg.av_register_all();
    g_ffmpeg.av_log_set_level(AV_LOG_ERROR);
    c_file dsl_file(dsl_options.strc_file);
    if (dsl_options.bc_list_packets) {
        list_packets(dsl_file);
        return 0;
    }
    const bool bl_sound = !dsl_options.dsc_sound.strc_pcm.empty();
    const AVStream &dsl_stream =
        dsl_file.stream(dsl_options.inc_stream, bl_sound ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO);
    if (bl_sound) {
        decode_sound(dsl_file, dsl_stream, dsl_options.dsc_codec_id.value_or(dsl_stream.codec->codec_id),
                     dsl_options.dsc_sound);
        return 0;
    }
    c_decoder dsl_decoder(dsl_options, *dsl_stream.codec);
    dsl_file.for_each_packet([&](const AVPacket &dsp_packet) {
        if (dsp_packet.stream_index == dsl_stream.index)
            dsl_decoder.feed(dsp_packet);
    });
    dsl_decoder.finish();
    return 0;
} catch (const std::exception &dsp_exception) {
    std::fprintf(stderr, "reference_decoder: %s\n", dsp_exception.what());
    return 1;
}
