/**
 * @file
 * Decodes a stream with FFmpeg called directly and prints what comes of it, for the tests to compare with what the
 * library gives Java.
 *
 * No code of the library takes part, only its declarations of FFmpeg: FFmpeg reads the file itself and decodes into its
 * own default buffers. Only the manner of feeding is the library's: a decoder that is set up from the stream's
 * description, one call for a whole packet and several for one that is cut anywhere, a packet's timestamp for every call,
 * and no drain at the end.
 *
 * Options of pictures: --codec ID, --truncated, --emu-edge, --convert FORMAT, --drain. Output, tab-separated:
 * - "picture", index, number of the packet that was being fed, the timestamp that the picture carries (each packet has
 *   its number for one), width, height, pixel format, the decoder's pixel format (another one when the picture
 *   was converted), MD5 of its visible bytes, plane after plane
 * - "error", number of the packet, FFmpeg's code: the rest of that packet was given up
 * - "lost", number of the packet: a picture that cannot be converted
 * - "packets", their number
 * With --pcm FILE the 16-bit interleaved samples of the first sound stream go to a file. Samples become 16 bits by
 * arithmetic of this program. A block is --join N packets, cut into --pieces N equal ones or into --cut BYTES:
 * - "block", index, length, 1 when the decoder failed or 0, the bytes of it that count as consumed, the bytes that wait
 *   afterwards, the bytes of PCM that came of it, their MD5, and 1 when a frame had other channels or another rate than
 *   the stream, which pieces taken for frames have and no conversion is prescribed for here; the last one, of length 0,
 *   is the end of the stream, where what waits is decoded and the decoder drained
 * - "format", the decoder's sample format, its channels and sample rate after the last block
 * With --list-packets "stream" lines (index, media type, codec identifier, tag, width, height, time base as a fraction,
 * size and MD5 of the extradata) and "packet" lines (stream, pts, dts, duration, flags, size, MD5).
 */
#include "reference.h"

using namespace ffmpeg;

static void list_packets(AVFormatContext &dsp_file)
{
    for (const AVStream *adsl_stream : std::span(dsp_file.streams, dsp_file.nb_streams)) {
        const AVCodecContext &dsl_codec = *adsl_stream->codec;
        print("stream", adsl_stream->index, dsl_codec.codec_type, dsl_codec.codec_id, dsl_codec.codec_tag,
              dsl_codec.width, dsl_codec.height, adsl_stream->time_base.num, adsl_stream->time_base.den,
              dsl_codec.extradata_size, md5_of({dsl_codec.extradata, static_cast<size_t>(dsl_codec.extradata_size)}));
    }
    for_each_packet(dsp_file, -1, [](const AVPacket &dsp_packet) {
        print("packet", dsp_packet.stream_index, dsp_packet.pts, dsp_packet.dts, dsp_packet.duration,
              dsp_packet.flags & ~AV_PKT_FLAG_DISCARD, dsp_packet.size,
              md5_of({dsp_packet.data, static_cast<size_t>(dsp_packet.size)}));
    });
}

int main(int inp_count, char **astrp_arguments)
try {
    const std::vector<std::string> strl_arguments(astrp_arguments, astrp_arguments + inp_count);
    if (strl_arguments.size() < 3)
        throw std::runtime_error("usage: reference_decoder LIBRARIES FILE [option...]");
    options dsl_options{{"--codec", "0"},   {"--convert", "none"}, {"--cut", "1000000000"}, {"--drain", ""},
                        {"--emu-edge", ""}, {"--join", "1"},       {"--list-packets", ""},  {"--pcm", "none"},
                        {"--pieces", "1"},  {"--truncated", ""}};
    for (size_t ull_at = 3; ull_at < strl_arguments.size(); ++ull_at) {
        std::string &strl_value = dsl_options.at(strl_arguments[ull_at]);
        strl_value = strl_value.empty() ? "1" : strl_arguments.at(++ull_at);
    }
    load(strl_arguments[1]);
    const format_ptr dsl_file = open_file(strl_arguments[2]);
    if (!dsl_options["--list-packets"].empty())
        return list_packets(*dsl_file), 0;
    const bool bl_sound = dsl_options["--pcm"] != "none";
    for (const AVStream *adsl_stream : std::span(dsl_file->streams, dsl_file->nb_streams)) {
        if (adsl_stream->codec->codec_type != (bl_sound ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO))
            continue;
        const auto iel_codec = static_cast<AVCodecID>(std::stoi(dsl_options["--codec"]));
        (bl_sound ? decode_sound : decode_video)(
            *dsl_file, *adsl_stream, iel_codec == AV_CODEC_ID_NONE ? adsl_stream->codec->codec_id : iel_codec,
            dsl_options);
        return 0;
    }
    throw std::runtime_error("no such stream");
} catch (const std::exception &dsp_exception) {
    std::cerr << "reference_decoder: " << dsp_exception.what() << '\n';
    return 1;
}
