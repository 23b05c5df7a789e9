#include "sound.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <vector>

namespace
{

using bytes = std::vector<uint8_t>;

constexpr AVCodecID s_mpeg_audio = AV_CODEC_ID_MP3; // the decoder of every layer
constexpr size_t s_incomplete = 31;                 // so few bytes always wait for more

template <class T> T sample_at(const uint8_t *autp_plane, int inp_index)
{
    T dsl_sample;
    std::memcpy(&dsl_sample, autp_plane + sizeof(T) * static_cast<size_t>(inp_index), sizeof(T));
    return dsl_sample;
}

int16_t from_float(double dsp_sample)
{
    return static_cast<int16_t>(std::clamp(std::lrint(dsp_sample * 32768), -32768L, 32767L));
}

/** One sample of a plane as 16 bits. */
int16_t sample_16(AVSampleFormat dsp_format, const uint8_t *autp_plane, int inp_index)
{
    switch (dsp_format) {
    case AV_SAMPLE_FMT_U8:
    case AV_SAMPLE_FMT_U8P:
        return static_cast<int16_t>((autp_plane[inp_index] - 0x80) * 256);
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S16P:
        return sample_at<int16_t>(autp_plane, inp_index);
    case AV_SAMPLE_FMT_S32:
    case AV_SAMPLE_FMT_S32P:
        return static_cast<int16_t>(sample_at<int32_t>(autp_plane, inp_index) >> 16);
    case AV_SAMPLE_FMT_FLT:
    case AV_SAMPLE_FMT_FLTP:
        return from_float(sample_at<float>(autp_plane, inp_index));
    case AV_SAMPLE_FMT_DBL:
    case AV_SAMPLE_FMT_DBLP:
        return from_float(sample_at<double>(autp_plane, inp_index));
    default:
        throw std::runtime_error("unknown sample format");
    }
}

/** The rule that decides where MPEG audio goes on after an error; bytes that are not there count as 0. */
bool is_mpeg_header(const bytes &byrp_bytes)
{
    const auto at = [&](size_t ulp_index) { return ulp_index < byrp_bytes.size() ? byrp_bytes[ulp_index] : 0; };
    return at(0) == 0xff && (at(1) & 0xe0) == 0xe0 && (at(1) & 0x06) != 0 && (at(2) & 0x0c) != 0x0c &&
           (at(2) & 0xf0) != 0xf0;
}

class c_sound_decoder
{
public:
    c_sound_decoder(const AVCodecContext &dsp_stream, AVCodecID dsp_codec_id, const std::string &strp_pcm)
        : dsc_file(strp_pcm, std::ios::binary), bc_mpeg(dsp_codec_id == s_mpeg_audio)
    {
        const AVCodec &dsl_codec = decoder_of(dsp_codec_id);
        adsc_context = new_context(dsl_codec, dsp_stream);
        adsc_frame.reset(g_ffmpeg.av_frame_alloc());
        if (adsc_frame == nullptr)
            throw std::bad_alloc();
        inc_channels = dsp_stream.channels;
        inc_rate = dsp_stream.sample_rate;
        adsc_context->channels = dsp_stream.channels;
        adsc_context->sample_rate = dsp_stream.sample_rate;
        adsc_context->block_align = dsp_stream.block_align;
        adsc_context->bit_rate = dsp_stream.bit_rate;
        adsc_context->request_sample_fmt = AV_SAMPLE_FMT_S16;
        if (dsp_stream.channels <= 2)
            adsc_context->request_channel_layout = dsp_stream.channels == 1 ? 0x4 : 0x3; // no other one matters
        open_codec(*adsc_context, dsl_codec);
    }

    /** Takes a block of the stream. */
    void feed(const bytes &byrp_block)
    {
        const bool bl_waited = !byrc_waiting.empty();
        byrc_rest.swap(byrc_waiting);
        byrc_waiting.clear();
        byrc_rest.insert(byrc_rest.end(), byrp_block.begin(), byrp_block.end());
        const size_t ull_size = byrc_rest.size();
        const int inl_result = decode_rest(false);
        const size_t ull_consumed =
            bl_waited ? byrp_block.size() : ull_size - std::max(byrc_rest.size(), byrc_waiting.size());
        print(byrp_block.size(), inl_result, ull_consumed);
    }

    /** Ends the stream. */
    void finish()
    {
        byrc_rest.swap(byrc_waiting);
        byrc_waiting.clear();
        const int inl_result = decode_rest(true);
        byrc_rest.clear();
        if ((adsc_context->codec->capabilities & s_capability_delay) != 0)
            while (decode(0).bc_frame) {
            }
        print(0, inl_result, 0);
        std::printf("format\t%s\t%d\t%d\n", g_ffmpeg.av_get_sample_fmt_name(adsc_context->sample_fmt),
                    adsc_context->channels, adsc_context->sample_rate);
    }

private:
    static constexpr int s_capability_delay = 0x20;

    struct dsd_step
    {
        int inc_used;
        bool bc_frame;
    };

    /** Decodes the rest of the block; what stays of it waits, or is what a failed decoder left. @return 1 if it failed */
    int decode_rest(bool bp_last)
    {
        int inl_idle = 0;
        while (!byrc_rest.empty()) {
            if (byrc_rest.size() <= s_incomplete && !bp_last) {
                byrc_waiting.swap(byrc_rest);
                return 0;
            }
            const dsd_step dsl_step = decode(byrc_rest.size());
            inl_idle = dsl_step.inc_used == 0 && !dsl_step.bc_frame ? inl_idle + 1 : 0;
            if (dsl_step.inc_used >= 0 && inl_idle < s_idle_calls) {
                drop(static_cast<size_t>(dsl_step.inc_used));
                continue;
            }
            if (!bc_mpeg)
                return 1;
            if (at_header() && !bp_last) {
                byrc_waiting.swap(byrc_rest);
                return 0;
            }
            do
                drop(1);
            while (!byrc_rest.empty() && !at_header());
        }
        return 0;
    }

    void drop(size_t ulp_count)
    {
        byrc_rest.erase(byrc_rest.begin(), byrc_rest.begin() + static_cast<long>(ulp_count));
    }

    bool at_header() const { return is_mpeg_header(byrc_rest); }

    /** One call of the decoder with the rest, padded. */
    dsd_step decode(size_t ulp_size)
    {
        bytes byrl_padded(byrc_rest);
        byrl_padded.resize(ulp_size + FF_INPUT_BUFFER_PADDING_SIZE);
        AVPacket dsl_packet{};
        g_ffmpeg.av_init_packet(&dsl_packet);
        dsl_packet.data = ulp_size == 0 ? nullptr : byrl_padded.data();
        dsl_packet.size = static_cast<int>(ulp_size);
        int inl_got_frame = 0;
        const int inl_used =
            g_ffmpeg.avcodec_decode_audio4(adsc_context.get(), adsc_frame.get(), &inl_got_frame, &dsl_packet);
        if (inl_used < 0)
            return {inl_used, false};
        if (inl_got_frame != 0)
            take_frame();
        return {inl_used, inl_got_frame != 0};
    }

    void take_frame()
    {
        const AVFrame &dsl_frame = *adsc_frame;
        const auto dsl_format = static_cast<AVSampleFormat>(dsl_frame.format);
        bc_foreign |= dsl_frame.channels != inc_channels || dsl_frame.sample_rate != inc_rate;
        const bool bl_planar = dsl_format >= AV_SAMPLE_FMT_U8P;
        for (int inl_sample = 0; inl_sample < dsl_frame.nb_samples; ++inl_sample) {
            for (int inl_channel = 0; inl_channel < dsl_frame.channels; ++inl_channel) {
                const auto iml_value =
                    bl_planar ? sample_16(dsl_format, dsl_frame.extended_data[inl_channel], inl_sample)
                              : sample_16(dsl_format, dsl_frame.data[0], inl_sample * dsl_frame.channels + inl_channel);
                byrc_pcm.push_back(static_cast<uint8_t>(iml_value));
                byrc_pcm.push_back(static_cast<uint8_t>(iml_value >> 8));
            }
        }
    }

    void print(size_t ulp_length, int inp_result, size_t ulp_consumed)
    {
        std::printf("block\t%d\t%zu\t%d\t%zu\t%zu\t%zu\t%s\t%d\n", inc_blocks++, ulp_length, inp_result, ulp_consumed,
                    byrc_waiting.size(), byrc_pcm.size(), md5_of(byrc_pcm).c_str(), bc_foreign ? 1 : 0);
        bc_foreign = false;
        dsc_file.write(reinterpret_cast<const char *>(byrc_pcm.data()), static_cast<std::streamsize>(byrc_pcm.size()));
        if (!dsc_file)
            throw std::runtime_error("the samples cannot be written");
        byrc_pcm.clear();
        byrc_rest.clear();
    }

    context_ptr adsc_context;
    frame_ptr adsc_frame;
    std::ofstream dsc_file;
    bytes byrc_rest;    // of the block at work
    bytes byrc_waiting; // for the next block
    bytes byrc_pcm;     // of the block at work
    bool bc_mpeg;
    bool bc_foreign = false; // a frame of the block at work is not what the stream is
    int inc_channels;
    int inc_rate;
    int inc_blocks = 0;
};

/** Passes a block on as the smaller ones that are asked for. */
void cut(const bytes &byrp_block, const dsd_sound_options &dsp_options,
         const std::function<void(const bytes &)> &dsp_feed)
{
    const size_t ull_pieces = static_cast<size_t>(dsp_options.inc_pieces);
    for (size_t ull_piece = 0; ull_piece < ull_pieces; ++ull_piece) {
        const size_t ull_end = byrp_block.size() * (ull_piece + 1) / ull_pieces;
        size_t ull_start = byrp_block.size() * ull_piece / ull_pieces;
        const size_t ull_step = dsp_options.inc_cut > 0 ? static_cast<size_t>(dsp_options.inc_cut) : ull_end;
        for (; ull_start < ull_end; ull_start += ull_step)
            dsp_feed({byrp_block.begin() + static_cast<long>(ull_start),
                      byrp_block.begin() + static_cast<long>(std::min(ull_start + ull_step, ull_end))});
    }
}

} // namespace

void decode_sound(c_file &dsp_file, const AVStream &dsp_stream, AVCodecID dsp_codec_id,
                  const dsd_sound_options &dsp_options)
{
    c_sound_decoder dsl_decoder(*dsp_stream.codec, dsp_codec_id, dsp_options.strc_pcm);
    const auto feed = [&](const bytes &byrp_block) { dsl_decoder.feed(byrp_block); };
    bytes byrl_block;
    int inl_joined = 0;
    dsp_file.for_each_packet([&](const AVPacket &dsp_packet) {
        if (dsp_packet.stream_index != dsp_stream.index)
            return;
        byrl_block.insert(byrl_block.end(), dsp_packet.data, dsp_packet.data + dsp_packet.size);
        if (++inl_joined % dsp_options.inc_join == 0) {
            cut(byrl_block, dsp_options, feed);
            byrl_block.clear();
        }
    });
    cut(byrl_block, dsp_options, feed);
    dsl_decoder.finish();
}
