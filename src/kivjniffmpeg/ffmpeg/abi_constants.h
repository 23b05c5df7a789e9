/**
 * @file
 * FFmpeg's enumerations and constants, as far as the library uses them. Part of abi.h, which everyone includes.
 *
 * The names are FFmpeg's own.
 */
#pragma once

#include <cerrno>
#include <cstdint>

enum AVMediaType : int
{
    AVMEDIA_TYPE_UNKNOWN = -1,
    AVMEDIA_TYPE_VIDEO = 0,
    AVMEDIA_TYPE_AUDIO = 1,
    AVMEDIA_TYPE_DATA = 2,
    AVMEDIA_TYPE_SUBTITLE = 3,
    AVMEDIA_TYPE_ATTACHMENT = 4
};

enum AVFieldOrder : int
{
    AV_FIELD_UNKNOWN = 0,
    AV_FIELD_PROGRESSIVE = 1,
    AV_FIELD_TT = 2, // the order in which the fields are coded, then that in which they are shown
    AV_FIELD_BB = 3,
    AV_FIELD_TB = 4,
    AV_FIELD_BT = 5
};

enum AVRounding : int
{
    AV_ROUND_UP = 3,
    AV_ROUND_NEAR_INF = 5
};

enum AVPixelFormat : int
{
    AV_PIX_FMT_NONE = -1,
    AV_PIX_FMT_YUV420P = 0,
    AV_PIX_FMT_YUYV422 = 1,
    AV_PIX_FMT_RGB24 = 2,
    AV_PIX_FMT_BGR24 = 3,
    AV_PIX_FMT_YUV422P = 4,
    AV_PIX_FMT_YUV444P = 5,
    AV_PIX_FMT_YUV410P = 6,
    AV_PIX_FMT_YUV411P = 7,
    AV_PIX_FMT_GRAY8 = 8,
    AV_PIX_FMT_PAL8 = 11,
    AV_PIX_FMT_YUVJ420P = 12,
    AV_PIX_FMT_YUVJ422P = 13,
    AV_PIX_FMT_YUVJ444P = 14,
    AV_PIX_FMT_UYVY422 = 17,
    AV_PIX_FMT_RGB8 = 22,
    AV_PIX_FMT_NV12 = 25,
    AV_PIX_FMT_NV21 = 26,
    AV_PIX_FMT_RGBA = 28,
    AV_PIX_FMT_BGRA = 30,
    AV_PIX_FMT_RGB48LE = 42,
    AV_PIX_FMT_RGB565BE = 43,
    AV_PIX_FMT_RGB555BE = 45
};

enum AVSampleFormat : int
{
    AV_SAMPLE_FMT_NONE = -1,
    AV_SAMPLE_FMT_U8 = 0,
    AV_SAMPLE_FMT_S16 = 1,
    AV_SAMPLE_FMT_S32 = 2,
    AV_SAMPLE_FMT_FLT = 3,
    AV_SAMPLE_FMT_DBL = 4,
    AV_SAMPLE_FMT_U8P = 5,
    AV_SAMPLE_FMT_S16P = 6,
    AV_SAMPLE_FMT_S32P = 7,
    AV_SAMPLE_FMT_FLTP = 8,
    AV_SAMPLE_FMT_DBLP = 9,
    AV_SAMPLE_FMT_S64 = 10, // not in 2.5 to 2.8; behind the bridge only
    AV_SAMPLE_FMT_S64P = 11
};

enum AVCodecID : int
{
    AV_CODEC_ID_NONE = 0,
    AV_CODEC_ID_MPEG1VIDEO = 1,
    AV_CODEC_ID_MPEG2VIDEO = 2,
    AV_CODEC_ID_H263 = 5,
    AV_CODEC_ID_MJPEG = 8,
    AV_CODEC_ID_MPEG4 = 13,
    AV_CODEC_ID_MSMPEG4V2 = 16,
    AV_CODEC_ID_MSMPEG4V3 = 17,
    AV_CODEC_ID_WMV1 = 18,
    AV_CODEC_ID_WMV2 = 19,
    AV_CODEC_ID_DVVIDEO = 25,
    AV_CODEC_ID_H264 = 28,
    AV_CODEC_ID_INDEO3 = 29,
    AV_CODEC_ID_CINEPAK = 44,
    AV_CODEC_ID_MSRLE = 46,
    AV_CODEC_ID_WMV3 = 72,
    AV_CODEC_ID_VP8 = 141,
    AV_CODEC_ID_VP9 = 169,
    AV_CODEC_ID_PCM_S16LE = 0x10000,
    AV_CODEC_ID_PCM_MULAW = 0x10006,
    AV_CODEC_ID_PCM_ALAW = 0x10007,
    AV_CODEC_ID_PCM_F32LE = 0x10015,
    AV_CODEC_ID_ADPCM_IMA_WAV = 0x11001,
    AV_CODEC_ID_ADPCM_IMA_DK3 = 0x11002,
    AV_CODEC_ID_ADPCM_IMA_DK4 = 0x11003,
    AV_CODEC_ID_ADPCM_MS = 0x11006,
    AV_CODEC_ID_ADPCM_CT = 0x1100c,
    AV_CODEC_ID_ADPCM_YAMAHA = 0x1100e,
    AV_CODEC_ID_ADPCM_G722 = 0x1101c,
    AV_CODEC_ID_AMR_NB = 0x12000,
    AV_CODEC_ID_RA_288 = 0x13001,
    AV_CODEC_ID_MP2 = 0x15000,
    AV_CODEC_ID_MP3 = 0x15001,
    AV_CODEC_ID_AAC = 0x15002,
    AV_CODEC_ID_AC3 = 0x15003,
    AV_CODEC_ID_DTS = 0x15004,
    AV_CODEC_ID_WMAV1 = 0x15007,
    AV_CODEC_ID_WMAV2 = 0x15008,
    AV_CODEC_ID_FLAC = 0x1500c,
    AV_CODEC_ID_TRUESPEECH = 0x15015,
    AV_CODEC_ID_GSM_MS = 0x1501e,
    AV_CODEC_ID_ATRAC3 = 0x1501f,
    AV_CODEC_ID_VOXWARE = 0x15020,
    AV_CODEC_ID_WMAPRO = 0x15026,
    AV_CODEC_ID_WMALOSSLESS = 0x15027,
    AV_CODEC_ID_SIPR = 0x1502a,
    AV_CODEC_ID_MP1 = 0x1502b,
    AV_CODEC_ID_HEVC = 0x48323635, // "H265"
    AV_CODEC_ID_OPUS = 0x4f505553  // "OPUS"
};

inline constexpr int64_t AV_NOPTS_VALUE = INT64_MIN; /**< no timestamp */
inline constexpr int AV_NUM_DATA_POINTERS = 8;
inline constexpr int AV_LOG_QUIET = -8;
inline constexpr int AV_LOG_ERROR = 16;
inline constexpr int CODEC_CAP_DELAY = 0x20;            /**< empty input drains the codec */
inline constexpr int CODEC_CAP_TRUNCATED = 0x8;         /**< the decoder takes packets that are cut anywhere */
inline constexpr int AV_EF_EXPLODE = 8;                 /**< damage is an error */
inline constexpr int CODEC_FLAG_TRUNCATED = 0x10000;    /**< packets are cut anywhere */
inline constexpr int CODEC_FLAG_EMU_EDGE = 0x4000;      /**< the decoder needs no edges around its pictures */
inline constexpr int FF_BUFFER_TYPE_USER = 2;           /**< the buffer came from our callback */
inline constexpr int FF_COMPLIANCE_EXPERIMENTAL = -2;   /**< experimental encoders may open */
inline constexpr int FF_INPUT_BUFFER_PADDING_SIZE = 32; /**< readable bytes that FFmpeg needs behind its input */
inline constexpr int CODEC_FLAG2_SKIP_MANUAL = 1 << 29; /**< samples that a packet marks to be skipped are kept */
inline constexpr int AVFMT_FLAG_CUSTOM_IO = 0x80; /**< pb is the caller's and stays when the container is closed */
inline constexpr int AVFMT_FLAG_KEEP_SIDE_DATA = 0x40000; /**< side data is not merged into the packet's bytes */
inline constexpr int AVFMT_SHOW_IDS = 8;                  /**< the streams' numbers mean something */
inline constexpr int AV_DICT_IGNORE_SUFFIX = 2;           /**< with an empty key: any entry */
inline constexpr int AVDISCARD_ALL = 48;                  /**< no packet of the stream is wanted */
inline constexpr int AVSEEK_SIZE = 0x10000;               /**< whence of a seek callback that asks for the size */
inline constexpr int AVSEEK_FORCE = 0x20000;              /**< or-ed to a seek callback's whence */
inline constexpr int AVSEEK_FLAG_BACKWARD = 1;            /**< seek to a place at or before the time */
inline constexpr int AVSEEK_FLAG_BYTE = 2;                /**< seek to a position in bytes */
inline constexpr int AVSEEK_FLAG_ANY = 4;                 /**< seek to places between key frames too */

// Errors.
inline constexpr int AVERROR_EOF = -541478725;
inline constexpr int AVERROR_EXIT = -1414092869;
/** FFmpeg's form of an error of the operating system. */
constexpr int AVERROR(int inp_errno) noexcept
{
    return -inp_errno;
}
static_assert(AVERROR(EINVAL) == -22);

// AVPixFmtDescriptor::flags
inline constexpr int AV_PIX_FMT_FLAG_BE = 1;         /**< big-endian */
inline constexpr int AV_PIX_FMT_FLAG_PAL = 2;        /**< pixels are indices into a palette, the second plane */
inline constexpr int AV_PIX_FMT_FLAG_RGB = 32;       /**< not YUV */
inline constexpr int AV_PIX_FMT_FLAG_ALPHA = 128;    /**< one component is opacity */
inline constexpr int AV_PIX_FMT_FLAG_PSEUDOPAL = 64; /**< has a palette that nothing needs */
inline constexpr int AVPALETTE_SIZE = 1024;          /**< bytes of 256 colours of 32 bits */

// How libswscale scales.
inline constexpr int SWS_FAST_BILINEAR = 1;
inline constexpr int SWS_BILINEAR = 2;
inline constexpr int SWS_POINT = 0x10;
inline constexpr int SWS_SPLINE = 0x400;
/** All ways to scale, of which one is set; FFmpeg has no name for them. */
inline constexpr int in_sws_filters = 2 * SWS_SPLINE - SWS_FAST_BILINEAR;

// Channel layouts.
inline constexpr uint64_t AV_CH_LAYOUT_MONO = 0x4;
inline constexpr uint64_t AV_CH_LAYOUT_STEREO = 0x3;
inline constexpr uint64_t AV_CH_LAYOUT_QUAD = 0x33;
inline constexpr uint64_t AV_CH_LAYOUT_5POINT1 = 0x60F;
inline constexpr uint64_t AV_CH_LAYOUT_7POINT1 = 0x63F;

// AVPacket::flags
inline constexpr int AV_PKT_FLAG_KEY = 1;     /**< decoding can start with it */
inline constexpr int AV_PKT_FLAG_DISCARD = 4; /**< decoded, but not to be shown or heard; behind the bridge only */

// AVPacketSideData::type
inline constexpr int AV_PKT_DATA_PALETTE = 0;       /**< 256 colours of 32 bits */
inline constexpr int AV_PKT_DATA_NEW_EXTRADATA = 1; /**< extradata that replaces the stream's */
/** How a stream's pictures are turned: 3 x 3 numbers, by which a row (x, y, 1) is multiplied. */
inline constexpr int AV_PKT_DATA_DISPLAYMATRIX = 5;
inline constexpr int AV_PKT_DATA_REPLAYGAIN = 4;
inline constexpr int AV_PKT_DATA_STEREO3D = 6;
inline constexpr int AV_PKT_DATA_AUDIO_SERVICE_TYPE = 7; /**< one number */
/** Samples that are not to be heard: 32 bits for those at the start and 32 bits for those at the end, little-endian. */
inline constexpr int AV_PKT_DATA_SKIP_SAMPLES = 70;
// Not in 2.5 to 2.8; behind the bridge only, which adds 0x1000 to the newer FFmpeg's number.
inline constexpr int AV_PKT_DATA_CPB_PROPERTIES = 0x100A;
inline constexpr int AV_PKT_DATA_MASTERING_DISPLAY_METADATA = 0x1014;
inline constexpr int AV_PKT_DATA_SPHERICAL = 0x1015;
inline constexpr int AV_PKT_DATA_CONTENT_LIGHT_LEVEL = 0x1016;

// AVFrameSideData::type
inline constexpr int AV_FRAME_DATA_SKIP_SAMPLES = 9; /**< as AV_PKT_DATA_SKIP_SAMPLES */
inline constexpr int in_skip_samples_size = 10;      /**< bytes of both; two of them say why */

// Side data that is merged into a packet's bytes: for each element its bytes, its size in 32 bits and its type in 8,
// all big-endian, and a marker of 64 bits at the end. Private to libavcodec (avpacket.c).
inline constexpr uint64_t FF_MERGE_MARKER = 0x8C4D9D108E25E9FE;
inline constexpr int in_first_side_data = 0x80; /**< or-ed to the type of the first element, which is read last */
