// libavformat.so.56: reading and writing of containers.

#include "bridge/avformat/container.h"
#include "bridge/avformat/formats.h"
#include "bridge/old/entry.h"

#include <cerrno>
#include <memory>

using bridge::enter;
using bridge::avformat::c_container;
using bridge::avformat::container_of;
using bridge::real::dsd_ffmpeg;

BRIDGE_ENTRY void av_register_all(void)
{
    static_cast<void>(kiv_bridge_ffmpeg());
}

BRIDGE_ENTRY AVFormatContext *avformat_alloc_context(void)
{
    return enter<AVFormatContext *>(nullptr, [](const dsd_ffmpeg &dsp_ffmpeg) {
        return &std::make_unique<c_container>(dsp_ffmpeg).release()->context();
    });
}

BRIDGE_ENTRY void avformat_free_context(AVFormatContext *adsp_context)
{
    if (adsp_context != nullptr)
        std::unique_ptr<c_container>(&container_of(*adsp_context)).reset();
}

BRIDGE_ENTRY void avformat_close_input(AVFormatContext **aadsp_context)
{
    if (aadsp_context == nullptr)
        return;
    avformat_free_context(*aadsp_context);
    *aadsp_context = nullptr;
}

BRIDGE_ENTRY int avformat_open_input(AVFormatContext **aadsp_context, const char *strp_name, AVInputFormat *adsp_format,
                                     AVDictionary **aadsp_options)
{
    if (*aadsp_context == nullptr)
        *aadsp_context = avformat_alloc_context();
    if (*aadsp_context == nullptr)
        return AVERROR(ENOMEM);
    const int inl_result = enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &) {
        return container_of(**aadsp_context).open(strp_name, bridge::avformat::real_format(adsp_format), aadsp_options);
    });
    if (inl_result < 0)
        avformat_close_input(aadsp_context); // FFmpeg frees it, too
    return inl_result;
}

BRIDGE_ENTRY int avformat_find_stream_info(AVFormatContext *adsp_context, AVDictionary **)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &) { return container_of(*adsp_context).examine_streams(); });
}

BRIDGE_ENTRY int av_read_frame(AVFormatContext *adsp_context, AVPacket *adsp_packet)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &) { return container_of(*adsp_context).read(*adsp_packet); });
}

BRIDGE_ENTRY int av_seek_frame(AVFormatContext *adsp_context, int inp_stream, int64_t ilp_time, int inp_flags)
{
    return enter(AVERROR(ENOMEM),
                 [&](const dsd_ffmpeg &) { return container_of(*adsp_context).seek(inp_stream, ilp_time, inp_flags); });
}

BRIDGE_ENTRY uint8_t *av_stream_get_side_data(AVStream *adsp_stream, int inp_type, int *ainp_size)
{
    return enter<uint8_t *>(nullptr, [&](const dsd_ffmpeg &) {
        const auto utl_bytes = reinterpret_cast<const bridge::avformat::dsd_stream *>(adsp_stream)->side_data(inp_type);
        if (ainp_size != nullptr)
            *ainp_size = static_cast<int>(utl_bytes.size());
        return utl_bytes.data();
    });
}

BRIDGE_ENTRY AVRational av_stream_get_r_frame_rate(const AVStream *adsp_stream)
{
    return enter(AVRational{0, 1}, [&](const dsd_ffmpeg &) {
        return reinterpret_cast<const bridge::avformat::dsd_stream *>(adsp_stream)->frame_rate();
    });
}

/** The whole number of a chapter that the bridge shows. */
BRIDGE_ENTRY int64_t kiv_bridge_chapter_id(const AVChapter *adsp_chapter)
{
    return reinterpret_cast<const bridge::avformat::dsd_chapter *>(adsp_chapter)->ilc_id;
}

BRIDGE_ENTRY AVStream *avformat_new_stream(AVFormatContext *adsp_context, const AVCodec *adsp_codec)
{
    return enter<AVStream *>(nullptr, [&](const dsd_ffmpeg &) {
        AVStream &dsl_stream = container_of(*adsp_context).add_stream();
        if (adsp_codec != nullptr) {
            dsl_stream.codec->codec = adsp_codec;
            dsl_stream.codec->codec_id = adsp_codec->id;
            dsl_stream.codec->codec_type = adsp_codec->type;
        }
        return &dsl_stream;
    });
}

BRIDGE_ENTRY int avformat_alloc_output_context2(AVFormatContext **aadsp_context, AVOutputFormat *adsp_format,
                                                const char *strp_format, const char *strp_name)
{
    *aadsp_context = nullptr;
    if (adsp_format != nullptr)
        return AVERROR(EINVAL); // callers name the format, because the bridge shows none
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        auto dsl_container = std::make_unique<c_container>(dsp_ffmpeg);
        if (const int inl_result = dsl_container->open_output(strp_format, strp_name); inl_result < 0)
            return inl_result;
        *aadsp_context = &dsl_container.release()->context();
        return 0;
    });
}

BRIDGE_ENTRY int avformat_write_header(AVFormatContext *adsp_context, AVDictionary **aadsp_options)
{
    return enter(AVERROR(ENOMEM),
                 [&](const dsd_ffmpeg &) { return container_of(*adsp_context).write_header(aadsp_options); });
}

BRIDGE_ENTRY int av_interleaved_write_frame(AVFormatContext *adsp_context, AVPacket *adsp_packet)
{
    if (adsp_packet == nullptr)
        return 0; // with one packet a call nothing waits
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &) { return container_of(*adsp_context).write(*adsp_packet); });
}

BRIDGE_ENTRY int av_write_trailer(AVFormatContext *adsp_context)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &) { return container_of(*adsp_context).write_trailer(); });
}

BRIDGE_ENTRY const AVCodecTag *avformat_get_riff_audio_tags(void)
{
    return enter<const AVCodecTag *>(
        nullptr, [](const dsd_ffmpeg &dsp_ffmpeg) { return dsp_ffmpeg.avformat_get_riff_audio_tags(); });
}

BRIDGE_ENTRY const AVCodecTag *avformat_get_riff_video_tags(void)
{
    return enter<const AVCodecTag *>(
        nullptr, [](const dsd_ffmpeg &dsp_ffmpeg) { return dsp_ffmpeg.avformat_get_riff_video_tags(); });
}

BRIDGE_ENTRY AVCodecID av_codec_get_id(const AVCodecTag *const *aadsp_tags, unsigned int unp_tag)
{
    return enter(AV_CODEC_ID_NONE, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.dsc_numbers.old_codec(dsp_ffmpeg.av_codec_get_id(aadsp_tags, unp_tag));
    });
}
