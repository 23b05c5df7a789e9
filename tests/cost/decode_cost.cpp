/**
 * @file
 * What decoding through the bridge costs beside the same FFmpeg called directly, as processor time of this thread.
 *
 * decode_cost LIBRARIES FILE [video | audio] [ROUNDS]: decodes all packets of the first stream of that kind in each
 * round, once through the functions of the 56 line and once through those of the newer FFmpeg, by turns in one process
 * and on one thread. Packets are read beforehand. Pictures of the 56 line go into memory that a callback pools, as in the
 * library; those of the newer one into FFmpeg's own pools. On a genuine 56 line there is the first number only.
 * Prints, tab-separated: the codec, the packets, the frames, microseconds a packet through the 56 line's functions and
 * directly (of the fastest round each), and their ratio.
 */
#include "reference/reference.h"

#include "bridge/real/ffmpeg.h"

#include <ctime>

#include <limits>
#include <mutex>
#include <optional>

using namespace ffmpeg;

namespace
{

namespace real = bridge::real;

/** Memory for pictures, which is used again. FFmpeg may call from threads of its own. */
class c_picture_pool
{
public:
    static int get(AVCodecContext *adsp_context, AVFrame *adsp_frame) noexcept
    {
        int inl_width = adsp_context->width;
        int inl_height = adsp_context->height;
        std::array<int, 8> ainl_alignment{};
        avcodec_align_dimensions2(adsp_context, &inl_width, &inl_height, ainl_alignment.data());
        std::array<int, 4> ainl_lengths{};
        av_image_fill_linesizes(ainl_lengths.data(), adsp_context->pix_fmt, inl_width);
        for (int &inl_length : ainl_lengths)
            inl_length = (inl_length + 63) / 64 * 64;
        std::array<uint8_t *, 4> autl_planes{};
        const int inl_size =
            av_image_fill_pointers(autl_planes.data(), adsp_context->pix_fmt, inl_height, nullptr, ainl_lengths.data());
        if (inl_size < 0)
            return -1;
        auto *adsl_memory = s_pool.take(static_cast<size_t>(inl_size) + 1024);
        av_image_fill_pointers(autl_planes.data(), adsp_context->pix_fmt, inl_height,
                               adsl_memory->data() + 64 - reinterpret_cast<uintptr_t>(adsl_memory->data()) % 64,
                               ainl_lengths.data());
        for (size_t ull_plane = 0; ull_plane < autl_planes.size(); ++ull_plane) {
            adsp_frame->data[ull_plane] = adsp_frame->base[ull_plane] = autl_planes[ull_plane];
            adsp_frame->linesize[ull_plane] = ainl_lengths[ull_plane];
        }
        adsp_frame->extended_data = adsp_frame->data;
        adsp_frame->opaque = adsl_memory;
        adsp_frame->type = in_user_memory;
        return 0;
    }

    static void release(AVCodecContext * /*adsp_context*/, AVFrame *adsp_frame) noexcept
    {
        const std::scoped_lock dsl_lock(s_pool.dsc_mutex);
        s_pool.adsc_free.push_back(static_cast<bytes *>(adsp_frame->opaque));
        std::fill(std::begin(adsp_frame->data), std::end(adsp_frame->data), nullptr);
    }

private:
    static constexpr int in_user_memory = 2; // FF_BUFFER_TYPE_USER

    bytes *take(size_t ulp_size)
    {
        const std::scoped_lock dsl_lock(dsc_mutex);
        if (!adsc_free.empty() && adsc_free.back()->size() == ulp_size) {
            bytes *adsl_memory = adsc_free.back();
            adsc_free.pop_back();
            return adsl_memory;
        }
        return dsc_all.emplace_back(std::make_unique<bytes>(ulp_size)).get();
    }

    static c_picture_pool s_pool;
    std::mutex dsc_mutex;
    std::vector<std::unique_ptr<bytes>> dsc_all;
    std::vector<bytes *> adsc_free;
};
c_picture_pool c_picture_pool::s_pool;

/** The bytes of a packet, with the padding that decoders want, and its times. */
struct dsd_unit
{
    bytes utc_bytes;
    int64_t ilc_pts;
    int64_t ilc_dts;
    int inc_size;
};

struct dsd_stream
{
    AVMediaType iec_type;
    const AVStream *adsc_stream;
    std::vector<dsd_unit> dsc_units;
};

dsd_stream read_stream(AVFormatContext &dsp_file, AVMediaType iep_type)
{
    const std::span adsl_streams(dsp_file.streams, dsp_file.nb_streams);
    const auto dsl_found = std::ranges::find(
        adsl_streams, iep_type, [](const AVStream *adsp_stream) { return adsp_stream->codec->codec_type; });
    if (dsl_found == adsl_streams.end())
        throw std::runtime_error("no such stream");
    dsd_stream dsl_stream{iep_type, *dsl_found, {}};
    for_each_packet(dsp_file, (*dsl_found)->index, [&](const AVPacket &dsp_packet) {
        dsd_unit dsl_unit{bytes(dsp_packet.data, dsp_packet.data + dsp_packet.size), dsp_packet.pts, dsp_packet.dts,
                          dsp_packet.size};
        dsl_unit.utc_bytes.resize(dsl_unit.utc_bytes.size() + 64);
        dsl_stream.dsc_units.push_back(std::move(dsl_unit));
    });
    return dsl_stream;
}

double seconds_of_thread()
{
    timespec dsl_time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &dsl_time);
    return static_cast<double>(dsl_time.tv_sec) + static_cast<double>(dsl_time.tv_nsec) * 1e-9;
}

struct dsd_round
{
    double flc_seconds;
    int inc_frames;
};

/** One round through the functions of the 56 line. */
dsd_round decode_old(const dsd_stream &dsp_stream)
{
    const AVCodecContext &dsl_described = *dsp_stream.adsc_stream->codec;
    const AVCodec *adsl_codec = existing(avcodec_find_decoder(dsl_described.codec_id), "decoder");
    context_ptr dsl_context(existing(avcodec_alloc_context3(adsl_codec), "memory"));
    const auto ull_extradata = static_cast<size_t>(dsl_described.extradata_size);
    dsl_context->extradata = static_cast<uint8_t *>(existing(av_mallocz(ull_extradata + 64), "memory"));
    std::copy_n(dsl_described.extradata, ull_extradata, dsl_context->extradata);
    dsl_context->extradata_size = dsl_described.extradata_size;
    dsl_context->codec_tag = dsl_described.codec_tag;
    dsl_context->bits_per_coded_sample = dsl_described.bits_per_coded_sample;
    dsl_context->width = dsl_described.width;
    dsl_context->height = dsl_described.height;
    dsl_context->channels = dsl_described.channels;
    dsl_context->sample_rate = dsl_described.sample_rate;
    dsl_context->block_align = dsl_described.block_align;
    dsl_context->bit_rate = dsl_described.bit_rate;
    dsl_context->thread_count = 1;
    const bool bl_video = dsp_stream.iec_type == AVMEDIA_TYPE_VIDEO;
    if (bl_video) {
        dsl_context->get_buffer = &c_picture_pool::get;
        dsl_context->release_buffer = &c_picture_pool::release;
    }
    check(avcodec_open2(dsl_context.get(), adsl_codec, nullptr), "avcodec_open2");
    const frame_ptr dsl_frame(existing(av_frame_alloc(), "memory"));
    const auto decode = bl_video ? avcodec_decode_video2 : avcodec_decode_audio4;
    dsd_round dsl_round{};
    const double fll_start = seconds_of_thread();
    for (const dsd_unit &dsl_unit : dsp_stream.dsc_units) {
        AVPacket dsl_packet =
            packet_of(const_cast<uint8_t *>(dsl_unit.utc_bytes.data()), static_cast<size_t>(dsl_unit.inc_size));
        dsl_packet.pts = dsl_unit.ilc_pts;
        dsl_packet.dts = dsl_unit.ilc_dts;
        while (dsl_packet.size > 0) {
            int inl_frame = 0;
            const int inl_used = decode(dsl_context.get(), dsl_frame.get(), &inl_frame, &dsl_packet);
            dsl_round.inc_frames += inl_frame;
            if (inl_used < 0 || bl_video || (inl_used == 0 && inl_frame == 0))
                break;
            dsl_packet.data += inl_used;
            dsl_packet.size -= inl_used;
        }
    }
    AVPacket dsl_end = packet_of(nullptr, 0);
    for (int inl_frame = 1; inl_frame != 0; dsl_round.inc_frames += inl_frame)
        if (decode(dsl_context.get(), dsl_frame.get(), &inl_frame, &dsl_end) < 0)
            break;
    dsl_round.flc_seconds = seconds_of_thread() - fll_start;
    return dsl_round;
}

/** One round through the functions of the newer FFmpeg. */
class c_direct_decoder
{
public:
    c_direct_decoder(const real::dsd_ffmpeg &dsp_ffmpeg, const std::string &strp_path, const dsd_stream &dsp_stream)
        : dsc_ffmpeg(dsp_ffmpeg), dsc_stream(dsp_stream), inc_stream(dsp_stream.adsc_stream->index)
    {
        check(dsc_ffmpeg.avformat_open_input(&adsc_file, strp_path.c_str(), nullptr, nullptr), strp_path);
        check(dsc_ffmpeg.avformat_find_stream_info(adsc_file, nullptr), strp_path);
    }
    ~c_direct_decoder() { dsc_ffmpeg.avformat_close_input(&adsc_file); }
    c_direct_decoder(const c_direct_decoder &) = delete;
    c_direct_decoder &operator=(const c_direct_decoder &) = delete;

    dsd_round decode()
    {
        const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
        real::stream *adsl_stream = dsl_layout.format_context.streams.of(adsc_file)[inc_stream];
        const real::parameters *adsl_parameters = dsl_layout.stream.codecpar.of(adsl_stream);
        const real::codec *adsl_codec =
            existing(dsc_ffmpeg.avcodec_find_decoder_by_name(
                         avcodec_find_decoder(dsc_stream.adsc_stream->codec->codec_id)->name),
                     "decoder");
        real::context *adsl_context = existing(dsc_ffmpeg.avcodec_alloc_context3(adsl_codec), "memory");
        check(dsc_ffmpeg.avcodec_parameters_to_context(adsl_context, adsl_parameters), "parameters");
        dsl_layout.context.thread_count.of(adsl_context) = 1;
        dsl_layout.context.thread_type.of(adsl_context) = 0;
        check(dsc_ffmpeg.avcodec_open2(adsl_context, adsl_codec, nullptr), "avcodec_open2");
        real::frame *adsl_frame = dsc_ffmpeg.av_frame_alloc();
        real::packet *adsl_packet = dsc_ffmpeg.av_packet_alloc();
        dsd_round dsl_round{};
        const double fll_start = seconds_of_thread();
        for (const dsd_unit &dsl_unit : dsc_stream.dsc_units) {
            adsl_packet->data = const_cast<uint8_t *>(dsl_unit.utc_bytes.data());
            adsl_packet->size = dsl_unit.inc_size;
            adsl_packet->pts = dsl_unit.ilc_pts;
            adsl_packet->dts = dsl_unit.ilc_dts;
            dsc_ffmpeg.avcodec_send_packet(adsl_context, adsl_packet);
            while (dsc_ffmpeg.avcodec_receive_frame(adsl_context, adsl_frame) >= 0)
                ++dsl_round.inc_frames;
        }
        dsc_ffmpeg.avcodec_send_packet(adsl_context, nullptr);
        while (dsc_ffmpeg.avcodec_receive_frame(adsl_context, adsl_frame) >= 0)
            ++dsl_round.inc_frames;
        dsl_round.flc_seconds = seconds_of_thread() - fll_start;
        adsl_packet->data = nullptr;
        adsl_packet->size = 0;
        dsc_ffmpeg.av_packet_free(&adsl_packet);
        dsc_ffmpeg.av_frame_free(&adsl_frame);
        dsc_ffmpeg.avcodec_free_context(&adsl_context);
        return dsl_round;
    }

private:
    const real::dsd_ffmpeg &dsc_ffmpeg;
    const dsd_stream &dsc_stream;
    int inc_stream;
    real::format_context *adsc_file = nullptr;
};

} // namespace

int main(int inp_count, char **astrp_arguments)
try {
    const std::vector<std::string> strl_arguments(astrp_arguments, astrp_arguments + inp_count);
    if (strl_arguments.size() < 3)
        throw std::runtime_error("usage: decode_cost LIBRARIES FILE [video | audio] [ROUNDS]");
    const bool bl_sound = strl_arguments.size() > 3 && strl_arguments[3] == "audio";
    const int inl_rounds = strl_arguments.size() > 4 ? std::stoi(strl_arguments[4]) : 15;
    load(strl_arguments[1]);
    av_log_set_level(-8); // nothing
    const format_ptr dsl_file = open_file(strl_arguments[2]);
    const dsd_stream dsl_stream = read_stream(*dsl_file, bl_sound ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO);
    const auto real_ffmpeg = reinterpret_cast<decltype(&kiv_bridge_ffmpeg)>(dlsym(RTLD_DEFAULT, "kiv_bridge_ffmpeg"));
    std::optional<c_direct_decoder> dsl_direct;
    if (real_ffmpeg != nullptr)
        dsl_direct.emplace(*existing(real_ffmpeg(), "newer FFmpeg"), strl_arguments[2], dsl_stream);
    double fll_old = std::numeric_limits<double>::max();
    double fll_direct = fll_old;
    int inl_frames = 0;
    for (int inl_round = 0; inl_round < inl_rounds; ++inl_round) {
        const dsd_round dsl_old = decode_old(dsl_stream);
        fll_old = std::min(fll_old, dsl_old.flc_seconds);
        inl_frames = dsl_old.inc_frames;
        if (!dsl_direct)
            continue;
        const dsd_round dsl_real = dsl_direct->decode();
        fll_direct = std::min(fll_direct, dsl_real.flc_seconds);
        if (dsl_real.inc_frames != dsl_old.inc_frames)
            std::cerr << "frames differ: " << dsl_old.inc_frames << " and " << dsl_real.inc_frames << '\n';
    }
    const double fll_packets = static_cast<double>(dsl_stream.dsc_units.size()) * 1e-6;
    const std::string strl_codec =
        existing(avcodec_find_decoder(dsl_stream.adsc_stream->codec->codec_id), "decoder")->name;
    if (dsl_direct)
        print(strl_codec.c_str(), dsl_stream.dsc_units.size(), inl_frames, fll_old / fll_packets,
              fll_direct / fll_packets, fll_old / fll_direct);
    else
        print(strl_codec.c_str(), dsl_stream.dsc_units.size(), inl_frames, fll_old / fll_packets);
} catch (const std::exception &dsp_exception) {
    std::cerr << "decode_cost: " << dsp_exception.what() << '\n';
    return 1;
}
