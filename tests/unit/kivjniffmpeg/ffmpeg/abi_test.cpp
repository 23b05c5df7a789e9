// What abi.h says, asked of the libraries that are loaded: their own option tables, names and fresh objects.

#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>

namespace
{

struct dsd_option
{
    int inc_offset;
    int64_t ilc_default;
};

/** The fields (or, with @p bp_constants, the named constants) of an option table. */
std::map<std::string, dsd_option> options_of(const AVClass *adsp_class, bool bp_constants)
{
    constexpr int inl_constant = 128;
    std::map<std::string, dsd_option> dsl_options;
    for (const AVOption *adsl_option = adsp_class->option; adsl_option->name != nullptr; ++adsl_option) {
        int inl_type = 0;
        int64_t ill_default = 0;
        std::memcpy(&inl_type, adsl_option->autc_tail, sizeof inl_type);
        std::memcpy(&ill_default, adsl_option->autc_tail + 4, sizeof ill_default);
        if ((inl_type == inl_constant) == bp_constants)
            dsl_options.emplace(adsl_option->name, dsd_option{adsl_option->offset, ill_default});
    }
    return dsl_options;
}

void expect_offsets(const AVClass *adsp_class, const std::map<std::string, size_t> &dsp_expected)
{
    const auto dsl_options = options_of(adsp_class, false);
    for (const auto &[strl_name, uml_offset] : dsp_expected)
        if (const auto dsl_at = dsl_options.find(strl_name); dsl_at == dsl_options.end())
            ADD_FAILURE() << "no option " << strl_name;
        else
            EXPECT_EQ(static_cast<size_t>(dsl_at->second.inc_offset), uml_offset) << strl_name;
}

template <class FUNCTION> FUNCTION *avcodec(const char *strp_name)
{
    return ffmpeg_function<FUNCTION>(g_avcodec.avc_handle, strp_name);
}

template <class FUNCTION> FUNCTION *avutil(const char *strp_name)
{
    return ffmpeg_function<FUNCTION>(g_avutil.avc_handle, strp_name);
}

class abi : public testing::Test
{
protected:
    abi() { load_ffmpeg(); }
};

TEST_F(abi, libraries_are_the_line_that_the_header_describes)
{
    const auto major = [](void *avp_library, const char *strp_function) {
        return ffmpeg_function<unsigned int()>(avp_library, strp_function)() >> 16;
    };
    EXPECT_EQ(major(g_avcodec.avc_handle, "avcodec_version"), 56U);
    EXPECT_EQ(major(g_avformat.avc_handle, "avformat_version"), 56U);
    EXPECT_EQ(major(g_avutil.avc_handle, "avutil_version"), 54U);
    EXPECT_EQ(major(g_swresample.avc_handle, "swresample_version"), 1U);
    EXPECT_EQ(major(g_swscale.avc_handle, "swscale_version"), 3U);
}

TEST_F(abi, option_tables_have_the_fields_where_the_header_has_them)
{
#define FIELD(structure, option, field) {option, offsetof(structure, field)}
    expect_offsets(avcodec<const AVClass *()>("avcodec_get_class")(),
                   {FIELD(AVCodecContext, "b", bit_rate),
                    FIELD(AVCodecContext, "flags", flags),
                    FIELD(AVCodecContext, "flags2", flags2),
                    FIELD(AVCodecContext, "time_base", time_base),
                    FIELD(AVCodecContext, "delay", delay),
                    FIELD(AVCodecContext, "video_size", width),
                    FIELD(AVCodecContext, "pixel_format", pix_fmt),
                    FIELD(AVCodecContext, "codec_tag", codec_tag),
                    FIELD(AVCodecContext, "aspect", sample_aspect_ratio),
                    FIELD(AVCodecContext, "ar", sample_rate),
                    FIELD(AVCodecContext, "ac", channels),
                    FIELD(AVCodecContext, "frame_size", frame_size),
                    FIELD(AVCodecContext, "block_align", block_align),
                    FIELD(AVCodecContext, "channel_layout", channel_layout),
                    FIELD(AVCodecContext, "request_channel_layout", request_channel_layout),
                    FIELD(AVCodecContext, "request_sample_fmt", request_sample_fmt),
                    FIELD(AVCodecContext, "strict", strict_std_compliance),
                    FIELD(AVCodecContext, "bits_per_coded_sample", bits_per_coded_sample),
                    FIELD(AVCodecContext, "bits_per_raw_sample", bits_per_raw_sample),
                    FIELD(AVCodecContext, "threads", thread_count),
                    FIELD(AVCodecContext, "profile", profile)});
    expect_offsets(avcodec<const AVClass *()>("avcodec_get_frame_class")(),
                   {FIELD(AVFrame, "width", width), FIELD(AVFrame, "height", height), FIELD(AVFrame, "format", format),
                    FIELD(AVFrame, "channel_layout", channel_layout), FIELD(AVFrame, "sample_rate", sample_rate)});
    expect_offsets(ffmpeg_function<const AVClass *()>(g_avformat.avc_handle, "avformat_get_class")(),
                   {FIELD(AVFormatContext, "fflags", flags)});
#undef FIELD
    const auto dsl_constants = options_of(avcodec<const AVClass *()>("avcodec_get_class")(), true);
    EXPECT_EQ(dsl_constants.at("emu_edge").ilc_default, CODEC_FLAG_EMU_EDGE);
    EXPECT_EQ(dsl_constants.at("skip_manual").ilc_default, CODEC_FLAG2_SKIP_MANUAL);
    EXPECT_EQ(dsl_constants.at("truncated").ilc_default, CODEC_FLAG_TRUNCATED);
    EXPECT_EQ(dsl_constants.at("experimental").ilc_default, FF_COMPLIANCE_EXPERIMENTAL);
    const AVClass *adsl_scaler = ffmpeg_function<const AVClass *()>(g_swscale.avc_handle, "sws_get_class")();
    const auto dsl_scaling = options_of(adsl_scaler, true);
    EXPECT_EQ(dsl_scaling.at("fast_bilinear").ilc_default, SWS_FAST_BILINEAR);
    EXPECT_EQ(dsl_scaling.at("bilinear").ilc_default, SWS_BILINEAR);
    EXPECT_EQ(dsl_scaling.at("neighbor").ilc_default, SWS_POINT);
    EXPECT_EQ(dsl_scaling.at("spline").ilc_default, SWS_SPLINE);
    int64_t ill_filters = 0;
    for (const char *strl_name : {"fast_bilinear", "bilinear", "bicubic", "experimental", "neighbor", "area",
                                  "bicublin", "gauss", "sinc", "lanczos", "spline"})
        ill_filters |= dsl_scaling.at(strl_name).ilc_default;
    EXPECT_EQ(ill_filters, in_sws_filters);
}

TEST_F(abi, side_data_is_merged_as_the_header_says)
{
    AVPacket dsl_packet;
    ASSERT_EQ((avcodec<int(AVPacket *, int)>("av_new_packet")(&dsl_packet, 1)), 0);
    avcodec<uint8_t *(AVPacket *, int, int)>("av_packet_new_side_data")(&dsl_packet, AV_PKT_DATA_PALETTE,
                                                                        AVPALETTE_SIZE);
    ASSERT_EQ(avcodec<int(AVPacket *)>("av_packet_merge_side_data")(&dsl_packet), 1);
    ASSERT_EQ(dsl_packet.size, 1 + AVPALETTE_SIZE + 4 + 1 + 8);
    const uint8_t *autl_type = dsl_packet.data + dsl_packet.size - 9;
    EXPECT_EQ(*autl_type, in_first_side_data | AV_PKT_DATA_PALETTE);
    uint64_t ull_marker = 0;
    for (int inl_byte = 1; inl_byte <= 8; ++inl_byte)
        ull_marker = ull_marker << 8 | autl_type[inl_byte];
    EXPECT_EQ(ull_marker, FF_MERGE_MARKER);
    g_avcodec.av_free_packet(&dsl_packet);
}

TEST_F(abi, avi_streams_keep_their_unit_of_time)
{
    const char *strl_directory = std::getenv("KIV_STREAMS_DIR");
    ASSERT_NE(strl_directory, nullptr);
    AVFormatContext *adsl_format = nullptr;
    const std::string strl_file = std::string(strl_directory) + "/mpeg4_mp3.avi";
    ASSERT_EQ(g_avformat.avformat_open_input(&adsl_format, strl_file.c_str(), nullptr, nullptr), 0);
    ASSERT_GE(adsl_format->nb_streams, 2U);
    for (unsigned int unl_stream = 0; unl_stream < adsl_format->nb_streams; ++unl_stream) {
        const AVStream &dsl_stream = *adsl_format->streams[unl_stream];
        const auto &dsl_header = *static_cast<const AVIStream *>(dsl_stream.priv_data);
        EXPECT_NE(dsl_header.scale, 0U);
        EXPECT_EQ(int64_t{dsl_header.scale} * dsl_stream.time_base.den,
                  int64_t{dsl_header.rate} * dsl_stream.time_base.num);
    }
    g_avformat.avformat_close_input(&adsl_format);
}

// Fields without options: objects that FFmpeg made show what it put where.
TEST_F(abi, fresh_contexts_and_codecs)
{
    const AVCodec *adsl_codec = g_avcodec.avcodec_find_decoder(AV_CODEC_ID_MPEG2VIDEO);
    EXPECT_STREQ(adsl_codec->name, "mpeg2video");
    EXPECT_NE(std::string(adsl_codec->long_name).find("MPEG-2"), std::string::npos);
    EXPECT_EQ(adsl_codec->type, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(adsl_codec->id, AV_CODEC_ID_MPEG2VIDEO);
    EXPECT_TRUE(adsl_codec->capabilities & CODEC_CAP_TRUNCATED);
    EXPECT_FALSE(g_avcodec.avcodec_find_decoder(AV_CODEC_ID_WMV1)->capabilities & CODEC_CAP_TRUNCATED);
    const AVSampleFormat *adsl_formats = g_avcodec.avcodec_find_encoder(AV_CODEC_ID_PCM_F32LE)->sample_fmts;
    EXPECT_EQ(adsl_formats[0], AV_SAMPLE_FMT_FLT);
    EXPECT_EQ(adsl_formats[1], AV_SAMPLE_FMT_NONE);

    AVCodecContext *adsl_context = g_avcodec.avcodec_alloc_context3(adsl_codec);
    EXPECT_STREQ(adsl_context->av_class->class_name, "AVCodecContext");
    EXPECT_EQ(adsl_context->codec_type, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(adsl_context->codec, adsl_codec);
    EXPECT_EQ(adsl_context->codec_id, AV_CODEC_ID_MPEG2VIDEO);
    EXPECT_EQ(adsl_context->reordered_opaque, AV_NOPTS_VALUE);
    EXPECT_EQ(adsl_context->sample_fmt, AV_SAMPLE_FMT_NONE);
    EXPECT_EQ(adsl_context->get_buffer, nullptr);
    avutil<int(void *, const char *, const char *, int)>("av_opt_set")(adsl_context, "video_size", "64x48", 0);
    EXPECT_EQ(adsl_context->width, 64);
    EXPECT_EQ(adsl_context->height, 48);
    g_avcodec.avcodec_close(adsl_context); // frees the codec's private part
    g_avutil.av_freep(&adsl_context);
    // A decoder that takes the size from outside: MPEG-2's waits for the stream's.
    const AVCodec *adsl_cinepak = g_avcodec.avcodec_find_decoder(AV_CODEC_ID_CINEPAK);
    adsl_context = g_avcodec.avcodec_alloc_context3(adsl_cinepak);
    adsl_context->width = 64;
    adsl_context->height = 48;
    ASSERT_EQ(g_avcodec.avcodec_open2(adsl_context, adsl_cinepak, nullptr), 0);
    EXPECT_EQ(adsl_context->coded_width, 64);
    EXPECT_EQ(adsl_context->coded_height, 48);
    g_avcodec.avcodec_close(adsl_context);
    g_avutil.av_freep(&adsl_context);

    AVFormatContext *adsl_format = g_avformat.avformat_alloc_context();
    // Streams of a container that is read have a time base from the start.
    adsl_format->iformat =
        ffmpeg_function<AVInputFormat *(const char *)>(g_avformat.avc_handle, "av_find_input_format")("avi");
    const auto new_stream =
        ffmpeg_function<AVStream *(AVFormatContext *, const AVCodec *)>(g_avformat.avc_handle, "avformat_new_stream");
    g_avcodec.avcodec_close(new_stream(adsl_format, adsl_codec)->codec);
    AVStream *adsl_stream = new_stream(adsl_format, adsl_codec);
    EXPECT_EQ(adsl_format->nb_streams, 2U);
    EXPECT_EQ(adsl_format->streams[1], adsl_stream);
    EXPECT_EQ(adsl_stream->index, 1);
    EXPECT_EQ(adsl_stream->codec->codec, adsl_codec);
    EXPECT_EQ(adsl_stream->time_base.den, 90000);
    EXPECT_EQ(adsl_stream->start_time, AV_NOPTS_VALUE);
    EXPECT_EQ(adsl_stream->duration, AV_NOPTS_VALUE);
    EXPECT_EQ(adsl_stream->sample_aspect_ratio.den, 1);
    g_avcodec.avcodec_close(adsl_stream->codec);
    g_avformat.avformat_free_context(adsl_format);
}

TEST_F(abi, fresh_frames_and_packets)
{
    AVFrame *adsl_frame = avutil<AVFrame *()>("av_frame_alloc")();
    EXPECT_EQ(adsl_frame->pts, AV_NOPTS_VALUE);
    EXPECT_EQ(adsl_frame->pkt_pts, AV_NOPTS_VALUE);
    EXPECT_EQ(adsl_frame->pkt_dts, AV_NOPTS_VALUE);
    EXPECT_EQ(adsl_frame->key_frame, 1);
    EXPECT_EQ(adsl_frame->format, -1);
    EXPECT_EQ(adsl_frame->extended_data, adsl_frame->data);
    avutil<void(AVFrame *, int)>("av_frame_set_channels")(adsl_frame, 10);
    EXPECT_EQ(adsl_frame->channels, 10);
    adsl_frame->format = AV_SAMPLE_FMT_S16P;
    adsl_frame->channel_layout = 0x3FF; // as many channels as need more pointers than a frame has
    adsl_frame->nb_samples = 100;
    ASSERT_EQ((avutil<int(AVFrame *, int)>("av_frame_get_buffer")(adsl_frame, 32)), 0);
    EXPECT_GE(adsl_frame->linesize[0], 200);
    EXPECT_NE(adsl_frame->buf[7], nullptr);
    EXPECT_EQ(adsl_frame->nb_extended_buf, 2);
    EXPECT_NE(adsl_frame->extended_buf, nullptr);
    EXPECT_NE(adsl_frame->extended_data, adsl_frame->data);
    avutil<void(AVFrame **)>("av_frame_free")(&adsl_frame);

    AVPacket dsl_packet;
    std::memset(&dsl_packet, 0xEE, sizeof dsl_packet);
    ASSERT_EQ((avcodec<int(AVPacket *, int)>("av_new_packet")(&dsl_packet, 100)), 0);
    EXPECT_EQ(dsl_packet.size, 100);
    EXPECT_EQ(dsl_packet.pts, AV_NOPTS_VALUE);
    EXPECT_EQ(dsl_packet.dts, AV_NOPTS_VALUE);
    EXPECT_EQ(dsl_packet.pos, -1);
    EXPECT_EQ(dsl_packet.stream_index | dsl_packet.flags | dsl_packet.duration | dsl_packet.side_data_elems, 0);
    EXPECT_NE(dsl_packet.buf, nullptr);
    std::memset(dsl_packet.data, 1, 100);
    avcodec<uint8_t *(AVPacket *, int, int)>("av_packet_new_side_data")(&dsl_packet, 0, 5);
    EXPECT_EQ(dsl_packet.side_data_elems, 1);
    EXPECT_NE(dsl_packet.side_data, nullptr);
    g_avcodec.av_free_packet(&dsl_packet);
}

TEST_F(abi, numbers_have_the_names_that_the_header_gives_them)
{
#define NUMBER(name)                                                                                                   \
    {                                                                                                                  \
        name, #name                                                                                                    \
    }
    const std::pair<AVPixelFormat, std::string> dsl_pixel_formats[] = {
        {AV_PIX_FMT_YUV420P, "yuv420p"},  {AV_PIX_FMT_YUYV422, "yuyv422"}, {AV_PIX_FMT_RGB24, "rgb24"},
        {AV_PIX_FMT_YUV422P, "yuv422p"},  {AV_PIX_FMT_YUV444P, "yuv444p"}, {AV_PIX_FMT_YUV410P, "yuv410p"},
        {AV_PIX_FMT_YUV411P, "yuv411p"},  {AV_PIX_FMT_PAL8, "pal8"},       {AV_PIX_FMT_UYVY422, "uyvy422"},
        {AV_PIX_FMT_RGB8, "rgb8"},        {AV_PIX_FMT_BGRA, "bgra"},       {AV_PIX_FMT_RGB565BE, "rgb565be"},
        {AV_PIX_FMT_RGB555BE, "rgb555be"}};
    for (const auto &[dsl_format, strl_name] : dsl_pixel_formats) {
        EXPECT_EQ(g_avutil.av_get_pix_fmt_name(dsl_format), strl_name);
        // The table is indexed by the number: its element size has to be right.
        EXPECT_EQ(g_avutil.av_pix_fmt_descriptors[dsl_format].name, strl_name);
    }
    const AVPixFmtDescriptor &dsl_yuv410 = g_avutil.av_pix_fmt_descriptors[AV_PIX_FMT_YUV410P];
    EXPECT_EQ(dsl_yuv410.nb_components, 3);
    EXPECT_EQ(dsl_yuv410.log2_chroma_w, 2);
    EXPECT_EQ(dsl_yuv410.comp[2].plane, 2);
    EXPECT_EQ(dsl_yuv410.comp[0].depth_minus1, 7);
    const AVPixFmtDescriptor &dsl_uyvy = g_avutil.av_pix_fmt_descriptors[AV_PIX_FMT_UYVY422];
    EXPECT_EQ(dsl_uyvy.comp[0].step_minus1 + 1, 2);
    EXPECT_EQ(dsl_uyvy.comp[0].offset_plus1, 2);

    const auto flags_of = [](const char *strp_name) {
        return g_avutil.av_pix_fmt_desc_get(avutil<AVPixelFormat(const char *)>("av_get_pix_fmt")(strp_name))->flags;
    };
    EXPECT_EQ(flags_of("rgb565be"), AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_RGB);
    EXPECT_EQ(flags_of("rgb565le"), AV_PIX_FMT_FLAG_RGB);
    EXPECT_EQ(flags_of("gray"), AV_PIX_FMT_FLAG_PSEUDOPAL);
    EXPECT_TRUE(flags_of("pal8") & AV_PIX_FMT_FLAG_PAL);

    const std::pair<uint64_t, const char *> dsl_layouts[] = {{AV_CH_LAYOUT_MONO, "mono"},
                                                             {AV_CH_LAYOUT_STEREO, "stereo"},
                                                             {AV_CH_LAYOUT_QUAD, "FL+FR+BL+BR"},
                                                             {AV_CH_LAYOUT_5POINT1, "5.1(side)"},
                                                             {AV_CH_LAYOUT_7POINT1, "7.1"}};
    for (const auto &[ull_layout, strl_name] : dsl_layouts)
        EXPECT_EQ(avutil<uint64_t(const char *)>("av_get_channel_layout")(strl_name), ull_layout) << strl_name;

    const std::pair<AVSampleFormat, std::string> dsl_sample_formats[] = {
        {AV_SAMPLE_FMT_U8, "u8"},     {AV_SAMPLE_FMT_S16, "s16"},   {AV_SAMPLE_FMT_S32, "s32"},
        {AV_SAMPLE_FMT_FLT, "flt"},   {AV_SAMPLE_FMT_DBL, "dbl"},   {AV_SAMPLE_FMT_U8P, "u8p"},
        {AV_SAMPLE_FMT_S16P, "s16p"}, {AV_SAMPLE_FMT_S32P, "s32p"}, {AV_SAMPLE_FMT_FLTP, "fltp"},
        {AV_SAMPLE_FMT_DBLP, "dblp"}};
    for (const auto &[dsl_format, strl_name] : dsl_sample_formats)
        EXPECT_EQ(avutil<const char *(AVSampleFormat)>("av_get_sample_fmt_name")(dsl_format), strl_name);

    const std::pair<AVCodecID, std::string> dsl_codecs[] = {
        NUMBER(AV_CODEC_ID_MPEG2VIDEO),    NUMBER(AV_CODEC_ID_H263),          NUMBER(AV_CODEC_ID_MPEG4),
        NUMBER(AV_CODEC_ID_MSMPEG4V2),     NUMBER(AV_CODEC_ID_MSMPEG4V3),     NUMBER(AV_CODEC_ID_WMV1),
        NUMBER(AV_CODEC_ID_WMV2),          NUMBER(AV_CODEC_ID_WMV3),          NUMBER(AV_CODEC_ID_DVVIDEO),
        NUMBER(AV_CODEC_ID_H264),          NUMBER(AV_CODEC_ID_INDEO3),        NUMBER(AV_CODEC_ID_CINEPAK),
        NUMBER(AV_CODEC_ID_MSRLE),         NUMBER(AV_CODEC_ID_PCM_S16LE),     NUMBER(AV_CODEC_ID_PCM_MULAW),
        NUMBER(AV_CODEC_ID_PCM_ALAW),      NUMBER(AV_CODEC_ID_PCM_F32LE),     NUMBER(AV_CODEC_ID_ADPCM_IMA_WAV),
        NUMBER(AV_CODEC_ID_ADPCM_IMA_DK3), NUMBER(AV_CODEC_ID_ADPCM_IMA_DK4), NUMBER(AV_CODEC_ID_ADPCM_MS),
        NUMBER(AV_CODEC_ID_ADPCM_CT),      NUMBER(AV_CODEC_ID_ADPCM_YAMAHA),  NUMBER(AV_CODEC_ID_ADPCM_G722),
        NUMBER(AV_CODEC_ID_AMR_NB),        NUMBER(AV_CODEC_ID_MP3),           NUMBER(AV_CODEC_ID_AAC),
        NUMBER(AV_CODEC_ID_AC3),           NUMBER(AV_CODEC_ID_DTS),           NUMBER(AV_CODEC_ID_WMAV1),
        NUMBER(AV_CODEC_ID_WMAV2),         NUMBER(AV_CODEC_ID_TRUESPEECH),    NUMBER(AV_CODEC_ID_GSM_MS),
        NUMBER(AV_CODEC_ID_ATRAC3),        NUMBER(AV_CODEC_ID_VOXWARE),       NUMBER(AV_CODEC_ID_WMAPRO),
        NUMBER(AV_CODEC_ID_WMALOSSLESS),   NUMBER(AV_CODEC_ID_SIPR)};
#undef NUMBER
    for (const auto &[dsl_id, strl_identifier] : dsl_codecs) {
        std::string strl_name = strl_identifier.substr(std::string("AV_CODEC_ID_").size());
        for (char &strl_character : strl_name)
            strl_character = static_cast<char>(std::tolower(strl_character));
        EXPECT_EQ(g_avcodec.avcodec_get_name(dsl_id), strl_name);
    }
    char byrl_text[64];
    g_avutil.av_strerror(AVERROR_EOF, byrl_text, sizeof byrl_text);
    EXPECT_STREQ(byrl_text, "End of file");
    g_avutil.av_strerror(AVERROR_EXIT, byrl_text, sizeof byrl_text);
    EXPECT_STREQ(byrl_text, "Immediate exit requested");
    g_avutil.av_strerror(AVERROR(EINVAL), byrl_text, sizeof byrl_text);
    EXPECT_STREQ(byrl_text, std::strerror(EINVAL));
}

} // namespace
