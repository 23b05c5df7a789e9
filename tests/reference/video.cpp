#include "reference.h"

#include <utility>

using namespace ffmpeg;

namespace
{

std::string md5_of_visible_part(const AVFrame &dsp_picture)
{
    const auto iel_format = static_cast<AVPixelFormat>(dsp_picture.format);
    const int inl_shift = av_pix_fmt_desc_get(iel_format)->log2_chroma_h;
    std::array<int, 4> ainl_lengths{}; // of lines
    av_image_fill_linesizes(ainl_lengths.data(), iel_format, dsp_picture.width);
    bytes utl_packed;
    for (size_t ull_plane = 0; ull_plane < ainl_lengths.size(); ++ull_plane) {
        const bool bl_chroma = ull_plane == 1 || ull_plane == 2;
        const int inl_lines = bl_chroma ? -(-dsp_picture.height >> inl_shift) : dsp_picture.height;
        const uint8_t *autl_line = dsp_picture.data[ull_plane];
        for (int inl_line = 0; ainl_lengths[ull_plane] > 0 && inl_line < inl_lines; ++inl_line) {
            utl_packed.insert(utl_packed.end(), autl_line, autl_line + ainl_lengths[ull_plane]);
            autl_line += dsp_picture.linesize[ull_plane];
        }
    }
    return md5_of(utl_packed);
}

class c_video_decoder
{
public:
    c_video_decoder(context_ptr dsp_context, const AVCodecContext &dsp_stream, const options &dsp_options)
        : dsc_context(std::move(dsp_context)),
          bc_pieces(!dsp_options.at("--truncated").empty()),
          iec_target(av_get_pix_fmt(dsp_options.at("--convert").c_str())),
          inc_width(dsp_stream.width),
          inc_height(dsp_stream.height)
    {
    }

    /** Feeds one packet. A whole one is used up by one call, as in the ffmpeg program. */
    void feed(const AVPacket &dsp_packet)
    {
        AVPacket dsl_rest = packet_of(dsp_packet.data, static_cast<size_t>(dsp_packet.size));
        dsl_rest.pts = inc_packets;
        int inl_idle = 0;
        while (dsl_rest.size > 0) {
            const auto [inl_used, bl_picture] = decode(dsl_rest);
            inl_idle = inl_used == 0 && !bl_picture ? inl_idle + 1 : 0;
            if (inl_used < 0 || inl_idle == in_idle_calls) {
                print("error", inc_packets, inl_used);
                break;
            }
            if (!bc_pieces)
                break;
            dsl_rest.data += inl_used;
            dsl_rest.size -= inl_used;
        }
        ++inc_packets;
    }

    void finish(bool bp_drain)
    {
        while (bp_drain && decode(packet_of(nullptr, 0)).second) {
        }
        print("packets", inc_packets);
    }

private:
    /** @return the bytes consumed, or an error, and whether a picture came */
    std::pair<int, bool> decode(const AVPacket &dsp_packet)
    {
        int inl_picture = 0;
        const int inl_used = avcodec_decode_video2(dsc_context.get(), dsc_frame.get(), &inl_picture, &dsp_packet);
        if (inl_used < 0 || inl_picture == 0)
            return {inl_used, false};
        const bool bl_convert = iec_target != AV_PIX_FMT_NONE && iec_target != dsc_frame->format;
        if (bl_convert && !convert()) {
            print("lost", inc_packets);
            return {inl_used, true};
        }
        const AVFrame &dsl_picture = bl_convert ? *dsc_converted : *dsc_frame;
        print("picture", inc_pictures++, inc_packets, dsc_frame->pkt_pts, dsl_picture.width, dsl_picture.height,
              av_get_pix_fmt_name(static_cast<AVPixelFormat>(dsl_picture.format)),
              av_get_pix_fmt_name(static_cast<AVPixelFormat>(dsc_frame->format)), md5_of_visible_part(dsl_picture));
        return {inl_used, true};
    }

    /** Converts the frame to the stream's size and the wanted format. @return false when the scaler cannot */
    bool convert()
    {
        dsc_scaler.reset(sws_getCachedContext(dsc_scaler.release(), dsc_frame->width, dsc_frame->height,
                                              static_cast<AVPixelFormat>(dsc_frame->format), inc_width, inc_height,
                                              iec_target, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr));
        if (dsc_scaler == nullptr)
            return false;
        dsc_converted.reset(existing(av_frame_alloc(), "memory"));
        dsc_converted->format = iec_target;
        dsc_converted->width = inc_width + 128; // the scaler's fast paths write whole vectors
        dsc_converted->height = inc_height + 2;
        check(av_frame_get_buffer(dsc_converted.get(), 64), "av_frame_get_buffer");
        dsc_converted->width = inc_width;
        dsc_converted->height = inc_height;
        sws_scale(dsc_scaler.get(), dsc_frame->data, dsc_frame->linesize, 0, std::min(inc_height, dsc_frame->height),
                  dsc_converted->data, dsc_converted->linesize);
        return true;
    }

    context_ptr dsc_context;
    bool bc_pieces; // packets are cut anywhere
    frame_ptr dsc_frame{existing(av_frame_alloc(), "memory")};
    frame_ptr dsc_converted;
    std::unique_ptr<SwsContext, void (*)(SwsContext *)> dsc_scaler{nullptr, sws_freeContext};
    AVPixelFormat iec_target; // none: as decoded
    int inc_width;
    int inc_height;
    int inc_packets = 0;
    int inc_pictures = 0;
};

} // namespace

void decode_video(AVFormatContext &dsp_file, const AVStream &dsp_stream, AVCodecID iep_codec,
                  const options &dsp_options)
{
    int inl_flags = dsp_options.at("--emu-edge").empty() ? 0 : CODEC_FLAG_EMU_EDGE;
    const AVCodec &dsl_codec = *existing(avcodec_find_decoder(iep_codec), "decoder");
    if (!dsp_options.at("--truncated").empty() && (dsl_codec.capabilities & CODEC_CAP_TRUNCATED) != 0)
        inl_flags |= CODEC_FLAG_TRUNCATED;
    c_video_decoder dsl_decoder(open_decoder(iep_codec, *dsp_stream.codec, inl_flags), *dsp_stream.codec, dsp_options);
    for_each_packet(dsp_file, dsp_stream.index, [&](const AVPacket &dsp_packet) { dsl_decoder.feed(dsp_packet); });
    dsl_decoder.finish(!dsp_options.at("--drain").empty());
}
