// What abi.h says, asked of the libraries that are loaded: their own option tables, names and fresh objects.

#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <span>
#include <string>
#include <tuple>

using namespace testing;

namespace
{

using numbers = std::map<std::string, int64_t>;

/** The offsets of the fields and the values of the constants of an option table. */
numbers options_of(const AVClass *adsp_class)
{
    constexpr int in_constant = 128;
    numbers ill_options;
    for (const AVOption *adsl_option = adsp_class->option; adsl_option->name != nullptr; ++adsl_option) {
        int inl_type = 0;
        int64_t ill_default = 0;
        std::memcpy(&inl_type, adsl_option->autc_tail, sizeof inl_type);
        std::memcpy(&ill_default, adsl_option->autc_tail + 4, sizeof ill_default);
        ill_options.emplace(adsl_option->name, inl_type == in_constant ? ill_default : adsl_option->offset);
    }
    return ill_options;
}

template <class... OPTIONS> auto has(OPTIONS... dsp_options)
{
    return IsSupersetOf(numbers{dsp_options...});
}

using abi = real_ffmpeg;

TEST_F(abi, option_tables_have_the_fields_and_values_that_the_header_has)
{
#define FIELD(option, field) std::pair(option, offsetof(AVCodecContext, field))
#define SAME(field) FIELD(#field, field)
    EXPECT_THAT(options_of(ffmpeg_call<const AVClass *>("avcodec_get_class")),
                has(SAME(flags), SAME(flags2), SAME(time_base), SAME(delay), SAME(codec_tag), SAME(frame_size),
                    SAME(block_align), SAME(channel_layout), SAME(request_channel_layout), SAME(request_sample_fmt),
                    SAME(bits_per_coded_sample), SAME(bits_per_raw_sample), SAME(profile), SAME(level),
                    SAME(color_primaries), SAME(color_trc), SAME(colorspace), SAME(color_range),
                    SAME(chroma_sample_location), SAME(field_order), FIELD("b", bit_rate), FIELD("video_size", width),
                    FIELD("pixel_format", pix_fmt), FIELD("aspect", sample_aspect_ratio), FIELD("ar", sample_rate),
                    FIELD("ac", channels), FIELD("strict", strict_std_compliance), FIELD("threads", thread_count),
                    FIELD("err_detect", err_recognition), std::pair("explode", AV_EF_EXPLODE),
                    std::pair("emu_edge", CODEC_FLAG_EMU_EDGE), std::pair("truncated", CODEC_FLAG_TRUNCATED),
                    std::pair("skip_manual", CODEC_FLAG2_SKIP_MANUAL),
                    std::pair("experimental", FF_COMPLIANCE_EXPERIMENTAL)));
#undef FIELD
#define FIELD(option, field) std::pair(option, offsetof(AVFrame, field))
    EXPECT_THAT(options_of(ffmpeg_call<const AVClass *>("avcodec_get_frame_class")),
                has(SAME(width), SAME(height), SAME(format), SAME(channel_layout), SAME(sample_rate)));
    EXPECT_THAT(options_of(ffmpeg_call<const AVClass *>("avformat_get_class")),
                has(std::pair("fflags", offsetof(AVFormatContext, flags))));
    const numbers ill_scaling = options_of(ffmpeg_call<const AVClass *>("sws_get_class"));
    EXPECT_THAT(ill_scaling, has(std::pair("fast_bilinear", SWS_FAST_BILINEAR), std::pair("bilinear", SWS_BILINEAR),
                                 std::pair("neighbor", SWS_POINT), std::pair("spline", SWS_SPLINE)));
    int64_t ill_filters = 0;
    for (const char *strl_name : {"fast_bilinear", "bilinear", "bicubic", "experimental", "neighbor", "area",
                                  "bicublin", "gauss", "sinc", "lanczos", "spline"})
        ill_filters |= ill_scaling.at(strl_name);
    EXPECT_EQ(ill_filters, in_sws_filters);
}

TEST_F(abi, side_data_is_merged_as_the_header_says)
{
    AVPacket dsl_packet;
    ASSERT_EQ(ffmpeg_call<int>("av_new_packet", &dsl_packet, 1), 0);
    ffmpeg_call<uint8_t *>("av_packet_new_side_data", &dsl_packet, AV_PKT_DATA_PALETTE, AVPALETTE_SIZE);
    ASSERT_EQ(ffmpeg_call<int>("av_packet_merge_side_data", &dsl_packet), 1);
    ASSERT_EQ(dsl_packet.size, 1 + AVPALETTE_SIZE + 4 + 1 + 8);
    const uint8_t *autl_type = dsl_packet.data + dsl_packet.size - 9;
    EXPECT_EQ(*autl_type, in_first_side_data | AV_PKT_DATA_PALETTE);
    uint64_t ull_marker = 0;
    std::memcpy(&ull_marker, autl_type + 1, sizeof ull_marker);
    EXPECT_EQ(__builtin_bswap64(ull_marker), FF_MERGE_MARKER);
    EXPECT_STREQ(ffmpeg_call<const char *>("av_packet_side_data_name", AV_PKT_DATA_DISPLAYMATRIX), "Display Matrix");
    g_avcodec.av_free_packet(&dsl_packet);
}

TEST_F(abi, avi_streams_keep_their_unit_of_time)
{
    AVFormatContext *adsl_format = nullptr;
    const std::string strl_file = std::string(std::getenv("KIV_STREAMS_DIR")) + "/mpeg4_mp3.avi";
    ASSERT_EQ(g_avformat.avformat_open_input(&adsl_format, strl_file.c_str(), nullptr, nullptr), 0);
    ASSERT_GE(adsl_format->nb_streams, 2U);
    for (const AVStream *adsl_stream : std::span(adsl_format->streams, adsl_format->nb_streams)) {
        const auto &dsl_header = *static_cast<const AVIStream *>(adsl_stream->priv_data);
        EXPECT_NE(dsl_header.scale, 0U);
        EXPECT_EQ(int64_t{dsl_header.scale} * adsl_stream->time_base.den,
                  int64_t{dsl_header.rate} * adsl_stream->time_base.num);
    }
    g_avformat.avformat_close_input(&adsl_format);
}

// Fields without options: objects that FFmpeg made show what it put where.
TEST_F(abi, fresh_codecs_contexts_and_streams)
{
    const AVCodec &dsl_mpeg2 = *g_avcodec.avcodec_find_decoder(AV_CODEC_ID_MPEG2VIDEO);
    EXPECT_STREQ(dsl_mpeg2.name, "mpeg2video");
    EXPECT_STREQ(dsl_mpeg2.long_name, "MPEG-2 video");
    EXPECT_EQ(std::tuple(dsl_mpeg2.type, dsl_mpeg2.id), std::tuple(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_MPEG2VIDEO));
    EXPECT_TRUE(dsl_mpeg2.capabilities & CODEC_CAP_TRUNCATED);
    const AVSampleFormat *aiel_formats = g_avcodec.avcodec_find_encoder(AV_CODEC_ID_PCM_F32LE)->sample_fmts;
    EXPECT_EQ(std::pair(aiel_formats[0], aiel_formats[1]), std::pair(AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_NONE));

    AVCodecContext *adsl_context = g_avcodec.avcodec_alloc_context3(&dsl_mpeg2);
    EXPECT_EQ(std::tuple(adsl_context->codec_type, adsl_context->codec, adsl_context->codec_id,
                         adsl_context->get_buffer, adsl_context->reordered_opaque, adsl_context->sample_fmt),
              std::tuple(AVMEDIA_TYPE_VIDEO, &dsl_mpeg2, AV_CODEC_ID_MPEG2VIDEO, nullptr, AV_NOPTS_VALUE,
                         AV_SAMPLE_FMT_NONE));
    ffmpeg_call<void>("avcodec_free_context", &adsl_context);

    AVFormatContext *adsl_format = g_avformat.avformat_alloc_context();
    // Streams of a container that is read have a time base from the start.
    adsl_format->iformat = ffmpeg_call<AVInputFormat *>("av_find_input_format", "avi");
    auto *adsl_stream = ffmpeg_call<AVStream *>("avformat_new_stream", adsl_format, &dsl_mpeg2);
    EXPECT_EQ(std::pair(adsl_format->nb_streams, adsl_format->streams[0]), std::pair(1U, adsl_stream));
    EXPECT_EQ(std::tuple(adsl_stream->codec->codec, adsl_stream->time_base.den, adsl_stream->sample_aspect_ratio.den,
                         adsl_stream->start_time, adsl_stream->duration),
              std::tuple(&dsl_mpeg2, 90000, 1, AV_NOPTS_VALUE, AV_NOPTS_VALUE));
    g_avcodec.avcodec_close(adsl_stream->codec);
    g_avformat.avformat_free_context(adsl_format);
}

TEST_F(abi, fresh_frames_and_packets)
{
    AVFrame *adsl_frame = ffmpeg_call<AVFrame *>("av_frame_alloc");
    EXPECT_EQ(std::tuple(adsl_frame->pts, adsl_frame->pkt_pts, adsl_frame->key_frame, adsl_frame->extended_data),
              std::tuple(AV_NOPTS_VALUE, AV_NOPTS_VALUE, 1, adsl_frame->data));
    ffmpeg_call<void>("av_frame_set_channels", adsl_frame, 10);
    EXPECT_EQ(adsl_frame->channels, 10);
    adsl_frame->format = AV_SAMPLE_FMT_S16P;
    adsl_frame->channel_layout = 0x3FF; // as many channels as need more pointers than a frame has
    adsl_frame->nb_samples = 100;
    ASSERT_EQ(ffmpeg_call<int>("av_frame_get_buffer", adsl_frame, 32), 0);
    EXPECT_GE(adsl_frame->linesize[0], 200);
    EXPECT_EQ(adsl_frame->nb_extended_buf, 2);
    EXPECT_TRUE(adsl_frame->buf[7] != nullptr && adsl_frame->extended_buf != nullptr);
    EXPECT_NE(adsl_frame->extended_data, adsl_frame->data);
    ffmpeg_call<void>("av_frame_free", &adsl_frame);

    AVPacket dsl_packet;
    std::memset(&dsl_packet, 0xEE, sizeof dsl_packet);
    ASSERT_EQ(ffmpeg_call<int>("av_new_packet", &dsl_packet, 100), 0);
    ffmpeg_call<uint8_t *>("av_packet_new_side_data", &dsl_packet, 0, 5);
    EXPECT_EQ(std::tuple(dsl_packet.size, dsl_packet.pos, dsl_packet.pts, dsl_packet.dts, dsl_packet.side_data_elems),
              std::tuple(100, -1, AV_NOPTS_VALUE, AV_NOPTS_VALUE, 1));
    EXPECT_EQ(dsl_packet.stream_index | dsl_packet.flags | dsl_packet.duration, 0);
    EXPECT_TRUE(dsl_packet.buf != nullptr && dsl_packet.side_data != nullptr);
    g_avcodec.av_free_packet(&dsl_packet);
}

/** Compares identifiers with FFmpeg's own names for their numbers, which are the same in lower case. */
template <class NAME_OF, class... ROWS> void expect_names(NAME_OF dsp_name_of, ROWS... dsp_rows)
{
    for (const auto &[iel_number, strl_identifier] : {dsp_rows...})
        EXPECT_STRCASEEQ(dsp_name_of(iel_number), strl_identifier);
}

TEST_F(abi, numbers_have_the_names_that_the_header_gives_them)
{
#define PIXELS(name) std::pair(AV_PIX_FMT_##name, #name)
#define SAMPLES(name) std::pair(AV_SAMPLE_FMT_##name, #name)
#define CODEC(name) std::pair(AV_CODEC_ID_##name, #name)
    const auto name_of = [](AVPixelFormat iep_format) {
        // The table is indexed by the number: its element size has to be right.
        EXPECT_STREQ(g_avutil.av_pix_fmt_descriptors[iep_format].name, g_avutil.av_get_pix_fmt_name(iep_format));
        return g_avutil.av_get_pix_fmt_name(iep_format);
    };
    expect_names(name_of, PIXELS(YUV420P), PIXELS(YUYV422), PIXELS(RGB24), PIXELS(YUV422P), PIXELS(YUV444P),
                 PIXELS(YUV410P), PIXELS(YUV411P), PIXELS(PAL8), PIXELS(UYVY422), PIXELS(RGB8), PIXELS(BGRA),
                 PIXELS(RGB565BE), PIXELS(RGB555BE));
    expect_names(
        [](AVSampleFormat iep_format) { return ffmpeg_call<const char *>("av_get_sample_fmt_name", iep_format); },
        SAMPLES(U8), SAMPLES(S16), SAMPLES(S32), SAMPLES(FLT), SAMPLES(DBL), SAMPLES(U8P), SAMPLES(S16P), SAMPLES(S32P),
        SAMPLES(FLTP), SAMPLES(DBLP));
    expect_names(g_avcodec.avcodec_get_name, CODEC(MPEG2VIDEO), CODEC(H263), CODEC(MPEG4), CODEC(MSMPEG4V2),
                 CODEC(MSMPEG4V3), CODEC(WMV1), CODEC(WMV2), CODEC(WMV3), CODEC(DVVIDEO), CODEC(H264), CODEC(INDEO3),
                 CODEC(CINEPAK), CODEC(MSRLE), CODEC(PCM_S16LE), CODEC(PCM_MULAW), CODEC(PCM_ALAW), CODEC(PCM_F32LE),
                 CODEC(ADPCM_IMA_WAV), CODEC(ADPCM_IMA_DK3), CODEC(ADPCM_IMA_DK4), CODEC(ADPCM_MS), CODEC(ADPCM_CT),
                 CODEC(ADPCM_YAMAHA), CODEC(ADPCM_G722), CODEC(AMR_NB), CODEC(MP3), CODEC(AAC), CODEC(AC3), CODEC(DTS),
                 CODEC(WMAV1), CODEC(WMAV2), CODEC(TRUESPEECH), CODEC(GSM_MS), CODEC(ATRAC3), CODEC(VOXWARE),
                 CODEC(WMAPRO), CODEC(WMALOSSLESS), CODEC(SIPR));

    const AVPixFmtDescriptor *adsl_formats = g_avutil.av_pix_fmt_descriptors;
    const AVPixFmtDescriptor &dsl_yuv410 = adsl_formats[AV_PIX_FMT_YUV410P];
    EXPECT_EQ(std::tuple(dsl_yuv410.nb_components, dsl_yuv410.log2_chroma_w, dsl_yuv410.comp[2].plane,
                         dsl_yuv410.comp[0].depth_minus1),
              std::tuple(3, 2, 2, 7));
    const AVComponentDescriptor &dsl_luma = adsl_formats[AV_PIX_FMT_UYVY422].comp[0];
    EXPECT_EQ(std::tuple(dsl_luma.step_minus1, dsl_luma.offset_plus1), std::tuple(1, 2));
    EXPECT_EQ(adsl_formats[AV_PIX_FMT_RGB565BE].flags, AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_RGB);
    EXPECT_EQ(adsl_formats[AV_PIX_FMT_RGB8].flags, AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PSEUDOPAL);
    EXPECT_TRUE(adsl_formats[AV_PIX_FMT_PAL8].flags & AV_PIX_FMT_FLAG_PAL);

    char byrl_text[64];
    const auto layout_name = [&](uint64_t ulp_layout) {
        ffmpeg_call<void>("av_get_channel_layout_string", &byrl_text[0], 64, 0, ulp_layout);
        return &byrl_text[0];
    };
    expect_names(layout_name, std::pair(AV_CH_LAYOUT_MONO, "mono"), std::pair(AV_CH_LAYOUT_STEREO, "stereo"),
                 std::pair(AV_CH_LAYOUT_QUAD, "quad"), std::pair(AV_CH_LAYOUT_5POINT1, "5.1(side)"),
                 std::pair(AV_CH_LAYOUT_7POINT1, "7.1"));
    const auto error_text = [&](int inp_error) {
        g_avutil.av_strerror(inp_error, byrl_text, sizeof byrl_text);
        return &byrl_text[0];
    };
    expect_names(error_text, std::pair(AVERROR_EOF, "End of file"), std::pair(AVERROR_EXIT, "Immediate exit requested"),
                 std::pair(AVERROR(EINVAL), "Invalid argument"));
}

} // namespace
