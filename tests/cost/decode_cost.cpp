/**
 * @file
 * What decoding through the bridge costs beside the same FFmpeg called directly, as processor time of this thread.
 *
 * decode_cost LIBRARIES FILE [video | audio] [ROUNDS]: decodes all packets of the first stream of that kind in each
 * round, once through the functions of the 56 line and once through those of the newer FFmpeg, by turns in one process
 * and on one thread. Packets are read beforehand. Both decode into memory of the same pool, which callbacks deliver as in
 * the library, and release a frame before they decode the next one. On a genuine 56 line there is the first number only.
 * Prints, tab-separated: the codec, the packets, the frames, microseconds a packet through the 56 line's functions and
 * directly (of the fastest round each), and their ratio.
 */
#include "reference/reference.h"

#include "bridge/real/ffmpeg.h"

#include <ctime>

#include <limits>
#include <mutex>
#include <optional>
#include <utility>

using namespace ffmpeg;

namespace
{

namespace real = bridge::real;

constexpr int in_takes_memory = 1 << 1; // AV_CODEC_CAP_DR1 of the newer FFmpeg

/** Where the planes of a picture or of samples lie in their memory. */
struct dsd_planes
{
    std::array<int, 8> ainc_lengths{}; /**< of a line; of all samples */
    std::array<size_t, 8> aulc_offsets{};
    size_t ulc_count = 0;
    size_t ulc_size = 0;
};

/** Large enough for every decoder. @param iep_format of the 56 line */
dsd_planes lay_picture(AVPixelFormat iep_format, int inp_width, int inp_height)
{
    constexpr int in_unit = 64;
    dsd_planes dsl_planes;
    std::array<uint8_t *, 4> autl_planes{};
    av_image_fill_linesizes(dsl_planes.ainc_lengths.data(), iep_format, (inp_width + in_unit - 1) / in_unit * in_unit);
    for (int &inl_length : dsl_planes.ainc_lengths)
        inl_length = (inl_length + in_unit - 1) / in_unit * in_unit;
    dsl_planes.ulc_size = static_cast<size_t>(std::max(
        0, av_image_fill_pointers(autl_planes.data(), iep_format, (inp_height + in_unit - 1) / in_unit * in_unit + 2,
                                  nullptr, dsl_planes.ainc_lengths.data())));
    for (uint8_t *autl_plane : autl_planes)
        dsl_planes.aulc_offsets[dsl_planes.ulc_count++] = reinterpret_cast<uintptr_t>(autl_plane);
    return dsl_planes;
}

dsd_planes lay_samples(AVSampleFormat iep_format, int inp_channels, int inp_samples)
{
    constexpr int in_align = 64;
    const size_t ull_count = iep_format >= AV_SAMPLE_FMT_U8P ? static_cast<size_t>(inp_channels) : 1;
    dsd_planes dsl_planes;
    dsl_planes.ulc_size = static_cast<size_t>(std::max(
        0, av_samples_get_buffer_size(&dsl_planes.ainc_lengths[0], inp_channels, inp_samples, iep_format, in_align)));
    for (; dsl_planes.ulc_count < ull_count; ++dsl_planes.ulc_count)
        dsl_planes.aulc_offsets.at(dsl_planes.ulc_count) =
            dsl_planes.ulc_count * static_cast<size_t>(dsl_planes.ainc_lengths[0]);
    return dsl_planes;
}

/**
 * The caller's memory for pictures and samples, which is used again. Both sides ask it, because that is how the library
 * uses FFmpeg, and because one that has its memory in the cache already would seem to be faster. FFmpeg may call from
 * threads of its own.
 */
class c_pool
{
public:
    /** get_buffer of the 56 line. */
    static int get(AVCodecContext *adsp_context, AVFrame *adsp_frame) noexcept
    {
        const bool bl_video = adsp_context->codec_type == AVMEDIA_TYPE_VIDEO;
        const dsd_planes &dsl_planes =
            planes_of(bl_video, adsp_frame->format, bl_video ? adsp_frame->width : adsp_frame->channels,
                      bl_video ? adsp_frame->height : adsp_frame->nb_samples);
        bytes *adsl_memory = s_pool.take(dsl_planes.ulc_size);
        fill(dsl_planes, *adsl_memory, adsp_frame->data, adsp_frame->linesize);
        std::ranges::copy(adsp_frame->data, adsp_frame->base);
        adsp_frame->extended_data = adsp_frame->data;
        adsp_frame->opaque = adsl_memory;
        adsp_frame->type = in_user_memory;
        return 0;
    }

    /** release_buffer of the 56 line. */
    static void release(AVCodecContext * /*adsp_context*/, AVFrame *adsp_frame) noexcept
    {
        s_pool.put_back(static_cast<bytes *>(adsp_frame->opaque));
        std::fill(std::begin(adsp_frame->data), std::end(adsp_frame->data), nullptr);
    }

    /** get_buffer2 of the newer FFmpeg. */
    static int get2(real::context *adsp_context, real::frame *adsp_frame, int inp_flags) noexcept
    {
        const auto &dsl_context = s_pool.adsc_ffmpeg->adsc_layout->context;
        const auto &dsl_frame = s_pool.adsc_ffmpeg->adsc_layout->frame;
        if (!s_pool.bc_direct)
            return s_pool.adsc_ffmpeg->avcodec_default_get_buffer2(adsp_context, adsp_frame, inp_flags);
        const bool bl_video = dsl_context.codec_type.of(adsp_context) == AVMEDIA_TYPE_VIDEO;
        const int inl_real = dsl_frame.format.of(adsp_frame);
        const int inl_format =
            bl_video ? static_cast<int>(s_pool.adsc_ffmpeg->dsc_numbers.old_format(inl_real)) : inl_real;
        const dsd_planes &dsl_planes =
            planes_of(bl_video, inl_format,
                      bl_video ? dsl_frame.width.of(adsp_frame) : dsl_frame.ch_layout.of(adsp_frame).nb_channels,
                      bl_video ? dsl_frame.height.of(adsp_frame) : dsl_frame.nb_samples.of(adsp_frame));
        bytes *adsl_memory = s_pool.take(dsl_planes.ulc_size);
        fill(dsl_planes, *adsl_memory, dsl_frame.data.of(adsp_frame), dsl_frame.linesize.of(adsp_frame));
        dsl_frame.extended_data.of(adsp_frame) = dsl_frame.data.of(adsp_frame);
        dsl_frame.buf.of(adsp_frame)[0] = s_pool.adsc_ffmpeg->av_buffer_create(
            dsl_frame.data.of(adsp_frame)[0], dsl_planes.ulc_size,
            [](void *avp_memory, uint8_t *) { s_pool.put_back(static_cast<bytes *>(avp_memory)); }, adsl_memory, 0);
        return 0;
    }

    /** Before a decoder of the newer FFmpeg uses the pool. @param bp_direct whether it takes memory of its caller's */
    static void use(const real::dsd_ffmpeg &dsp_ffmpeg, bool bp_direct)
    {
        s_pool.adsc_ffmpeg = &dsp_ffmpeg;
        s_pool.bc_direct = bp_direct;
    }

private:
    static constexpr int in_user_memory = 2; // FF_BUFFER_TYPE_USER
    static constexpr size_t ul_alignment = 64;

    /** Mostly the same as the last time. @param inp_one width or channels @param inp_other height or samples */
    static const dsd_planes &planes_of(bool bp_video, int inp_format, int inp_one, int inp_other)
    {
        thread_local std::array<int, 4> ainl_last{-1};
        thread_local dsd_planes dsl_planes;
        const std::array ainl_asked{bp_video ? 1 : 0, inp_format, inp_one, inp_other};
        if (std::exchange(ainl_last, ainl_asked) != ainl_asked)
            dsl_planes = bp_video ? lay_picture(static_cast<AVPixelFormat>(inp_format), inp_one, inp_other)
                                  : lay_samples(static_cast<AVSampleFormat>(inp_format), inp_one, inp_other);
        return dsl_planes;
    }

    static void fill(const dsd_planes &dsp_planes, bytes &dsp_memory, uint8_t *(&aautp_planes)[8],
                     int (&ainp_lengths)[8])
    {
        auto *autl_start =
            dsp_memory.data() + ul_alignment - reinterpret_cast<uintptr_t>(dsp_memory.data()) % ul_alignment;
        for (size_t ull_plane = 0; ull_plane < dsp_planes.ulc_count; ++ull_plane)
            if (ull_plane == 0 || dsp_planes.aulc_offsets[ull_plane] != 0)
                aautp_planes[ull_plane] = autl_start + dsp_planes.aulc_offsets[ull_plane];
        std::ranges::copy(dsp_planes.ainc_lengths, ainp_lengths);
    }

    bytes *take(size_t ulp_size)
    {
        const std::scoped_lock dsl_lock(dsc_mutex);
        if (adsc_free.empty())
            adsc_free.push_back(dsc_all.emplace_back(std::make_unique<bytes>()).get());
        bytes *adsl_memory = adsc_free.back();
        adsc_free.pop_back();
        if (adsl_memory->size() < ulp_size + 2 * ul_alignment)
            adsl_memory->resize(ulp_size + 2 * ul_alignment);
        return adsl_memory;
    }

    void put_back(bytes *adsp_memory)
    {
        const std::scoped_lock dsl_lock(dsc_mutex);
        adsc_free.push_back(adsp_memory);
    }

    static c_pool s_pool;
    std::mutex dsc_mutex;
    std::vector<std::unique_ptr<bytes>> dsc_all;
    std::vector<bytes *> adsc_free;
    const real::dsd_ffmpeg *adsc_ffmpeg = nullptr;
    bool bc_direct = true;
};
c_pool c_pool::s_pool;

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
    dsl_context->get_buffer = &c_pool::get;
    dsl_context->release_buffer = &c_pool::release;
    dsl_context->refcounted_frames = bl_video ? 1 : 0; // as in the library
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
        dsl_layout.context.get_buffer2.of(adsl_context) = &c_pool::get2;
        c_pool::use(dsc_ffmpeg, (adsl_codec->capabilities & in_takes_memory) != 0);
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
