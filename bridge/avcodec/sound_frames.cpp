#include "bridge/avcodec/sound_frames.h"

#include <algorithm>

namespace bridge::avcodec
{

namespace
{

// Numbers that abi.h does not need.
constexpr int in_mp1 = 0x1502B;
constexpr int in_mp2 = 0x15000;
constexpr int in_gsm = 0x15012;

using bytes = std::span<const uint8_t>;

int whole(bytes utp_bytes)
{
    return static_cast<int>(utp_bytes.size());
}

int at_most_whole(bytes utp_bytes, int inp_length)
{
    return std::min(inp_length, whole(utp_bytes));
}

/** Length of a frame of MPEG audio with its header in front; 0 when there is none. */
int mpeg_audio_length(bytes utp_frame)
{
    if (utp_frame.size() < 4 || utp_frame[0] != 0xFF || (utp_frame[1] & 0xE0) != 0xE0)
        return 0;
    const int inl_version = utp_frame[1] >> 3 & 3; // 3: MPEG-1, 2: MPEG-2; 0 and, in the 56 line, 1: MPEG-2.5
    const int inl_layer = 4 - (utp_frame[1] >> 1 & 3);
    const size_t ull_bit_rate = utp_frame[2] >> 4;
    const size_t ull_rate = utp_frame[2] >> 2 & 3;
    const int inl_padding = utp_frame[2] >> 1 & 1;
    if (inl_layer == 4 || ull_bit_rate == 0 || ull_bit_rate == 15 || ull_rate == 3)
        return 0;
    const bool bl_first = inl_version == 3; // MPEG-1
    static constexpr int ainl_rates[] = {44100, 48000, 32000};
    const int inl_rate = ainl_rates[ull_rate] >> (bl_first ? 0 : inl_version == 2 ? 1 : 2);
    static constexpr int ainl_kilobits[][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448}, // MPEG-1, layer 1
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},    // layer 2
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},     // layer 3
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},    // MPEG-2 and 2.5, layer 1
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},         // layers 2 and 3
    };
    const size_t ull_row = bl_first ? static_cast<size_t>(inl_layer - 1) : static_cast<size_t>(inl_layer == 1 ? 3 : 4);
    const int inl_bits = ainl_kilobits[ull_row][ull_bit_rate] * 1000;
    if (inl_layer == 1)
        return (inl_bits * 12 / inl_rate + inl_padding) * 4;
    const int inl_slots = inl_layer == 3 && !bl_first ? 72 : 144;
    return inl_bits * inl_slots / inl_rate + inl_padding;
}

int first_mpeg_audio_frame(bytes utp_bytes)
{
    // The decoder skips zeroes before a frame.
    const auto ull_zeroes = static_cast<size_t>(
        std::ranges::find_if(utp_bytes, [](uint8_t utp_byte) { return utp_byte != 0; }) - utp_bytes.begin());
    const int inl_length = mpeg_audio_length(utp_bytes.subspan(ull_zeroes));
    return inl_length == 0 ? whole(utp_bytes) : at_most_whole(utp_bytes, static_cast<int>(ull_zeroes) + inl_length);
}

/** Raw AAC has no header, and its frames end where they end. */
int first_aac_frame(bytes utp_bytes)
{
    constexpr size_t ul_header = 7;
    if (utp_bytes.size() < ul_header || utp_bytes[0] != 0xFF || (utp_bytes[1] & 0xF6) != 0xF0)
        return whole(utp_bytes);
    const int inl_length = (utp_bytes[3] & 3) << 11 | utp_bytes[4] << 3 | utp_bytes[5] >> 5;
    return inl_length < static_cast<int>(ul_header) ? whole(utp_bytes) : at_most_whole(utp_bytes, inl_length);
}

std::optional<int> first_ac3_frame(bytes utp_bytes)
{
    constexpr size_t ul_header = 6;
    if (utp_bytes.size() < 2)
        return std::nullopt;
    const bool bl_swapped = utp_bytes[0] == 0x77 && utp_bytes[1] == 0x0B;
    if (!bl_swapped && (utp_bytes[0] != 0x0B || utp_bytes[1] != 0x77))
        return std::nullopt;
    if (utp_bytes.size() < ul_header)
        return whole(utp_bytes);
    const auto at = [&](size_t ulp_index) -> int { return utp_bytes[bl_swapped ? ulp_index ^ 1 : ulp_index]; };
    const int inl_bsid = at(5) >> 3;
    if (inl_bsid > 16)
        return whole(utp_bytes);
    if (inl_bsid > 10) // enhanced AC-3
        return at_most_whole(utp_bytes, (((at(2) & 7) << 8 | at(3)) + 1) * 2);
    const int inl_rate_code = at(4) >> 6;
    const int inl_size_code = at(4) & 0x3F;
    static constexpr int ainl_kilobits[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                            192, 224, 256, 320, 384, 448, 512, 576, 640};
    if (inl_rate_code == 3 || inl_size_code >= 2 * static_cast<int>(std::size(ainl_kilobits)))
        return whole(utp_bytes);
    const int inl_kilobits = ainl_kilobits[inl_size_code / 2];
    // 1536 samples a frame, in words of 16 bits: exact at 48 and 32 kHz, and at 44.1 kHz every other frame has one more.
    const int inl_words = inl_rate_code == 0   ? inl_kilobits * 2
                          : inl_rate_code == 2 ? inl_kilobits * 3
                                               : inl_kilobits * 96000 / 44100 + inl_size_code % 2;
    return at_most_whole(utp_bytes, inl_words * 2);
}

int first_amr_frame(bytes utp_bytes)
{
    // The bytes of each mode, with the byte that tells the mode.
    static constexpr int ainl_lengths[16] = {13, 14, 16, 18, 20, 21, 27, 32, 6};
    const int inl_length = utp_bytes.empty() ? 0 : ainl_lengths[utp_bytes[0] >> 3 & 15];
    return inl_length == 0 ? whole(utp_bytes) : at_most_whole(utp_bytes, inl_length);
}

int first_block(const dsd_sound_stream &dsp_stream, bytes utp_bytes)
{
    return dsp_stream.inc_block_align > 0 ? at_most_whole(utp_bytes, dsp_stream.inc_block_align) : whole(utp_bytes);
}

/** A block of IMA ADPCM as WAV has it: a header for each channel, and groups of bytes that alternate between them. */
int first_ima_block(const dsd_sound_stream &dsp_stream, bytes utp_bytes)
{
    const int inl_block = first_block(dsp_stream, utp_bytes);
    const int inl_group =
        (dsp_stream.inc_coded_bits % 2 == 0 ? 4 : 4 * dsp_stream.inc_coded_bits) * dsp_stream.inc_channels;
    const int inl_headers = 4 * dsp_stream.inc_channels;
    return inl_group <= 0 || inl_block < inl_headers + inl_group
               ? inl_block
               : inl_headers + (inl_block - inl_headers) / inl_group * inl_group;
}

bool is_pcm(AVCodecID iep_codec)
{
    return iep_codec >= AV_CODEC_ID_PCM_S16LE && iep_codec < AV_CODEC_ID_PCM_S16LE + 0x1000;
}

/** Samples of all channels; the rest of a block that ends within them is for the next call. */
int whole_samples(const dsd_sound_stream &dsp_stream, bytes utp_bytes)
{
    const int inl_unit = dsp_stream.inc_channels * dsp_stream.inc_sample_bits / 8;
    return inl_unit <= 0 || whole(utp_bytes) < inl_unit ? whole(utp_bytes) : whole(utp_bytes) / inl_unit * inl_unit;
}

} // namespace

std::optional<int> first_frame_length(const dsd_sound_stream &dsp_stream, std::span<const uint8_t> utp_bytes)
{
    switch (static_cast<int>(dsp_stream.iec_codec)) {
    case in_mp1:
    case in_mp2:
    case AV_CODEC_ID_MP3:
        return first_mpeg_audio_frame(utp_bytes);
    case AV_CODEC_ID_AAC:
        return first_aac_frame(utp_bytes);
    case AV_CODEC_ID_AC3:
        return first_ac3_frame(utp_bytes);
    case AV_CODEC_ID_AMR_NB:
        return first_amr_frame(utp_bytes);
    case AV_CODEC_ID_ADPCM_IMA_WAV:
        return first_ima_block(dsp_stream, utp_bytes);
    case AV_CODEC_ID_WMAV1:
    case AV_CODEC_ID_WMAV2:
    case AV_CODEC_ID_ADPCM_IMA_DK3:
    case AV_CODEC_ID_ADPCM_IMA_DK4:
    case AV_CODEC_ID_ADPCM_MS:
    case AV_CODEC_ID_GSM_MS:
    case AV_CODEC_ID_ATRAC3:
    case AV_CODEC_ID_SIPR:
    case in_gsm:
        return first_block(dsp_stream, utp_bytes);
    default:
        return is_pcm(dsp_stream.iec_codec) ? whole_samples(dsp_stream, utp_bytes) : whole(utp_bytes);
    }
}

} // namespace bridge::avcodec
