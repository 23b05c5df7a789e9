#include "reference.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <utility>

using namespace ffmpeg;

namespace
{

constexpr AVCodecID ie_mpeg_audio = AV_CODEC_ID_MP3; // the decoder of every layer
constexpr size_t ul_incomplete = 31;                 // so few bytes always wait for more
constexpr int in_most_channels = 32;                 // the library has no memory for more, which damaged AAC asks for

template <class T> T sample_at(const uint8_t *autp_plane, int inp_index)
{
    T dsl_sample;
    std::memcpy(&dsl_sample, autp_plane + sizeof(T) * static_cast<size_t>(inp_index), sizeof(T));
    return dsl_sample;
}

/** One sample of a plane as 16 bits. */
int16_t sample_16(AVSampleFormat iep_format, const uint8_t *autp_plane, int inp_index)
{
    switch (iep_format % AV_SAMPLE_FMT_U8P) { // the planar formats have the order of the interleaved ones
    case AV_SAMPLE_FMT_U8:
        return static_cast<int16_t>((autp_plane[inp_index] - 0x80) * 256);
    case AV_SAMPLE_FMT_S16:
        return sample_at<int16_t>(autp_plane, inp_index);
    case AV_SAMPLE_FMT_S32:
        return static_cast<int16_t>(sample_at<int32_t>(autp_plane, inp_index) >> 16);
    }
    const bool bl_single = iep_format % AV_SAMPLE_FMT_U8P == AV_SAMPLE_FMT_FLT;
    const double fll_sample =
        bl_single ? sample_at<float>(autp_plane, inp_index) : sample_at<double>(autp_plane, inp_index);
    return static_cast<int16_t>(std::clamp(std::lrint(fll_sample * 32768), -32768L, 32767L));
}

/** The rule that decides where MPEG audio goes on after an error; bytes that are not there count as 0. */
bool is_mpeg_header(const bytes &utp_bytes)
{
    const auto at = [&](size_t ulp_index) { return ulp_index < utp_bytes.size() ? utp_bytes[ulp_index] : 0; };
    return at(0) == 0xff && (at(1) & 0xe0) == 0xe0 && (at(1) & 0x06) != 0 && (at(2) & 0x0c) != 0x0c &&
           (at(2) & 0xf0) != 0xf0;
}

class c_sound_decoder
{
public:
    c_sound_decoder(context_ptr dsp_context, const AVCodecContext &dsp_stream, const std::string &strp_pcm)
        : dsc_context(std::move(dsp_context)),
          dsc_file(strp_pcm, std::ios::binary),
          inc_channels(dsp_stream.channels),
          inc_rate(dsp_stream.sample_rate)
    {
    }

    /** Takes a block of the stream. */
    void feed(std::span<const uint8_t> utp_block)
    {
        const bool bl_waited = !utc_waiting.empty();
        utc_rest = std::exchange(utc_waiting, {});
        utc_rest.insert(utc_rest.end(), utp_block.begin(), utp_block.end());
        const size_t ull_size = utc_rest.size();
        const bool bl_failed = !decode_rest(false);
        print_block(utp_block.size(), bl_failed,
                    bl_waited ? utp_block.size() : ull_size - std::max(utc_rest.size(), utc_waiting.size()));
    }

    /** Ends the stream. */
    void finish()
    {
        utc_rest = std::exchange(utc_waiting, {});
        const bool bl_failed = !decode_rest(true);
        utc_rest.clear();
        while ((dsc_context->codec->capabilities & CODEC_CAP_DELAY) != 0 && decode().second) {
        }
        print_block(0, bl_failed, 0);
        print("format", av_get_sample_fmt_name(dsc_context->sample_fmt), dsc_context->channels,
              dsc_context->sample_rate);
    }

private:
    /** Decodes the rest of the block; what stays of it waits, or is what a failed decoder left. @return false if it failed */
    bool decode_rest(bool bp_last)
    {
        const bool bl_mpeg = dsc_context->codec_id == ie_mpeg_audio;
        int inl_idle = 0;
        while (!utc_rest.empty()) {
            const bool bl_incomplete = utc_rest.size() <= ul_incomplete && !bp_last;
            const auto [inl_used, bl_frame] = bl_incomplete ? std::pair(-1, false) : decode();
            inl_idle = inl_used == 0 && !bl_frame ? inl_idle + 1 : 0;
            if (inl_used >= 0 && inl_idle < in_idle_calls) {
                drop(inl_used);
            } else if (bl_incomplete || (bl_mpeg && is_mpeg_header(utc_rest) && !bp_last)) {
                utc_waiting = std::exchange(utc_rest, {});
            } else if (!bl_mpeg) {
                return false;
            } else {
                do
                    drop(1);
                while (!utc_rest.empty() && !is_mpeg_header(utc_rest));
            }
        }
        return true;
    }

    void drop(int inp_count) { utc_rest.erase(utc_rest.begin(), utc_rest.begin() + inp_count); }

    /** One call of the decoder with the rest, padded. @return the bytes consumed, or an error, and whether a frame came */
    std::pair<int, bool> decode()
    {
        bytes utl_padded(utc_rest);
        utl_padded.resize(utc_rest.size() + FF_INPUT_BUFFER_PADDING_SIZE);
        const AVPacket dsl_packet = packet_of(utc_rest.empty() ? nullptr : utl_padded.data(), utc_rest.size());
        int inl_frame = 0;
        const int inl_used = avcodec_decode_audio4(dsc_context.get(), dsc_frame.get(), &inl_frame, &dsl_packet);
        if (dsc_context->channels > in_most_channels)
            return {-1, false};
        if (inl_used >= 0 && inl_frame != 0)
            take_frame(*dsc_frame);
        return {inl_used, inl_used >= 0 && inl_frame != 0};
    }

    void take_frame(const AVFrame &dsp_frame)
    {
        const auto iel_format = static_cast<AVSampleFormat>(dsp_frame.format);
        const bool bl_planar = iel_format >= AV_SAMPLE_FMT_U8P;
        const int inl_channels = dsp_frame.channels;
        bc_foreign |= inl_channels != inc_channels || dsp_frame.sample_rate != inc_rate;
        for (int inl_sample = 0; inl_sample < dsp_frame.nb_samples * inl_channels; ++inl_sample) {
            const auto iml_value =
                sample_16(iel_format, dsp_frame.extended_data[bl_planar ? inl_sample % inl_channels : 0],
                          bl_planar ? inl_sample / inl_channels : inl_sample);
            utc_pcm.insert(utc_pcm.end(), {static_cast<uint8_t>(iml_value), static_cast<uint8_t>(iml_value >> 8)});
        }
    }

    void print_block(size_t ulp_length, bool bp_failed, size_t ulp_consumed)
    {
        print("block", inc_blocks++, ulp_length, bp_failed, ulp_consumed, utc_waiting.size(), utc_pcm.size(),
              md5_of(utc_pcm), std::exchange(bc_foreign, false));
        if (!dsc_file.write(reinterpret_cast<const char *>(utc_pcm.data()), static_cast<long>(utc_pcm.size())))
            throw std::runtime_error("the samples cannot be written");
        utc_pcm.clear();
        utc_rest.clear();
    }

    context_ptr dsc_context;
    frame_ptr dsc_frame{existing(av_frame_alloc(), "memory")};
    std::ofstream dsc_file;
    bytes utc_rest;    // of the block at work
    bytes utc_waiting; // for the next block
    bytes utc_pcm;     // of the block at work
    bool bc_foreign = false;
    int inc_channels;
    int inc_rate;
    int inc_blocks = 0;
};

} // namespace

void decode_sound(AVFormatContext &dsp_file, const AVStream &dsp_stream, AVCodecID iep_codec,
                  const options &dsp_options)
{
    c_sound_decoder dsl_decoder(open_decoder(iep_codec, *dsp_stream.codec, 0), *dsp_stream.codec,
                                dsp_options.at("--pcm"));
    bytes utl_block;
    const size_t ull_pieces = std::stoul(dsp_options.at("--pieces"));
    const size_t ull_cut = std::stoul(dsp_options.at("--cut"));
    const auto feed = [&] {
        for (size_t ull_piece = 0; ull_piece < ull_pieces; ++ull_piece) {
            const size_t ull_end = utl_block.size() * (ull_piece + 1) / ull_pieces;
            for (size_t ull_at = utl_block.size() * ull_piece / ull_pieces; ull_at < ull_end; ull_at += ull_cut)
                dsl_decoder.feed(std::span(utl_block).subspan(ull_at, std::min(ull_cut, ull_end - ull_at)));
        }
        utl_block.clear();
    };
    int inl_joined = 0;
    for_each_packet(dsp_file, dsp_stream.index, [&](const AVPacket &dsp_packet) {
        utl_block.insert(utl_block.end(), dsp_packet.data, dsp_packet.data + dsp_packet.size);
        if (++inl_joined % std::stoi(dsp_options.at("--join")) == 0)
            feed();
    });
    feed();
    dsl_decoder.finish();
}
