/**
 * @file
 * The participant that calls FFmpeg from C: what Java is compared with.
 *
 * bench_baseline LIBRARIES KIND FILE THREADS WIDTH HEIGHT COPIES, with KIND one of film, packets, images, sound, sound16. It
 * answers on its standard output as the participants in Java do. LIBRARIES is a directory of a genuine 56 line, whose functions
 * are called, or one with the bridge, behind which the newer FFmpeg's own functions are called directly.
 *
 * It does what a plain program does: memory of FFmpeg's own, one frame that is used again, no copies.
 */
#include "reference/reference.h"

#include "bridge/real/ffmpeg.h"

#include <cmath>
#include <ctime>

#include <fstream>
#include <functional>
#include <numeric>
#include <thread>

using namespace ffmpeg;

namespace
{

namespace real = bridge::real;

/** The newer FFmpeg behind the bridge; null on a genuine 56 line. */
const real::dsd_ffmpeg *real_ffmpeg()
{
    static const auto find = reinterpret_cast<decltype(&kiv_bridge_ffmpeg)>(dlsym(RTLD_DEFAULT, "kiv_bridge_ffmpeg"));
    return find == nullptr ? nullptr : existing(find(), "newer FFmpeg");
}

constexpr int in_yuv420p = 0;
constexpr int in_bgra = 30; // of the 56 line
constexpr int in_bicubic = 4;

struct dsd_task
{
    std::string strc_kind;
    std::string strc_file;
    int inc_threads;
    int inc_width;
    int inc_height;

    bool sound() const { return strc_kind == "sound" || makes_16_bits(); }
    bool makes_16_bits() const { return strc_kind == "sound16"; }
    bool images() const { return strc_kind == "images"; }
};

/** What came out of a round, for the comparison with other participants. */
class c_sink
{
public:
    void planes(uint8_t *const *aautp_planes, const int *ainp_lengths, int inp_width, int inp_height)
    {
        for (int inl_plane = 0; inl_plane < 3; ++inl_plane) {
            const int inl_shift = inl_plane == 0 ? 0 : 1;
            const auto ull_bytes = static_cast<size_t>((inp_width + inl_shift) >> inl_shift);
            const int inl_rows = (inp_height + inl_shift) >> inl_shift;
            int64_t ill_sum = 0;
            for (int inl_row = 0; inl_row < inl_rows; ++inl_row)
                for (const uint8_t utl_byte :
                     std::span(aautp_planes[inl_plane] + static_cast<ptrdiff_t>(inl_row) * ainp_lengths[inl_plane],
                               ull_bytes)) {
                    umc_crc = table()[(umc_crc ^ utl_byte) & 0xFF] ^ umc_crc >> 8;
                    ill_sum += utl_byte;
                }
            flc_numbers.push_back(static_cast<double>(ill_sum) / (static_cast<double>(ull_bytes) * inl_rows));
        }
    }

    /** The means of red, green and blue in each cell of a grid, of every fifth image. @param autp_pixels B, G, R, A */
    void image(const uint8_t *autp_pixels, int inp_width, int inp_height)
    {
        constexpr int in_every = 5;
        if (inc_images++ % in_every != 0)
            return;
        constexpr int in_columns = 16;
        constexpr int in_rows = 9;
        for (int inl_row = 0; inl_row < in_rows; ++inl_row)
            for (int inl_column = 0; inl_column < in_columns; ++inl_column) {
                std::array<int64_t, 3> aill_sums{};
                int64_t ill_pixels = 0;
                for (int inl_y = inl_row * inp_height / in_rows; inl_y < (inl_row + 1) * inp_height / in_rows; ++inl_y)
                    for (int inl_x = inl_column * inp_width / in_columns;
                         inl_x < (inl_column + 1) * inp_width / in_columns; ++inl_x, ++ill_pixels)
                        for (size_t ull_colour = 0; ull_colour < aill_sums.size(); ++ull_colour)
                            aill_sums[ull_colour] +=
                                autp_pixels[4 * (static_cast<size_t>(inl_y) * static_cast<size_t>(inp_width) +
                                                 static_cast<size_t>(inl_x)) +
                                            2 - ull_colour];
                for (const int64_t ill_sum : aill_sums)
                    flc_numbers.push_back(static_cast<double>(ill_sum) / static_cast<double>(ill_pixels));
            }
        if (utc_first.empty())
            for (int inl_pixel = 0; inl_pixel < inp_width * inp_height; ++inl_pixel)
                for (const int inl_colour : {2, 1, 0})
                    utc_first.push_back(autp_pixels[4 * inl_pixel + inl_colour]);
    }

    uint32_t checksum() const { return ~umc_crc; }

    void write(const std::string &strp_numbers, const std::string &strp_image) const
    {
        std::ofstream dsl_numbers(strp_numbers);
        for (const double fll_number : flc_numbers)
            dsl_numbers << fll_number << '\n';
        if (!utc_first.empty())
            std::ofstream(strp_image, std::ios::binary)
                .write(reinterpret_cast<const char *>(utc_first.data()),
                       static_cast<std::streamsize>(utc_first.size()));
    }

private:
    static const std::array<uint32_t, 256> &table()
    {
        static const auto auml_table = [] {
            std::array<uint32_t, 256> auml_values{};
            for (uint32_t uml_byte = 0; uml_byte < 256; ++uml_byte) {
                auml_values[uml_byte] = uml_byte;
                for (int inl_bit = 0; inl_bit < 8; ++inl_bit)
                    auml_values[uml_byte] =
                        auml_values[uml_byte] >> 1 ^ ((auml_values[uml_byte] & 1) != 0 ? 0xEDB88320U : 0U);
            }
            return auml_values;
        }();
        return auml_table;
    }

    int inc_images = 0;
    uint32_t umc_crc = ~uint32_t{0};
    std::vector<double> flc_numbers;
    bytes utc_first;
};

/** A packet's bytes that stay, with the padding that decoders want. */
struct dsd_unit
{
    bytes utc_bytes;
    int inc_size;
    int64_t ilc_pts;
    int64_t ilc_dts;

    template <class PACKET>
    explicit dsd_unit(const PACKET &dsp_packet)
        : utc_bytes(dsp_packet.data, dsp_packet.data + dsp_packet.size),
          inc_size(dsp_packet.size),
          ilc_pts(dsp_packet.pts),
          ilc_dts(dsp_packet.dts)
    {
        utc_bytes.resize(utc_bytes.size() + 64);
    }
};

/** A decoded frame, of whichever line. */
struct dsd_decoded
{
    uint8_t *const *aautc_planes;
    const int *ainc_lengths;
    int inc_width;
    int inc_height;
    int inc_format;
    int inc_samples;
};
using visitor = std::function<void(const dsd_decoded &)>;

/** Makes interleaved 16 bits of sound in stereo at 44.1 kHz, as all of the benchmarks' has, by libswresample. */
class c_pcm_maker
{
public:
    void convert(const dsd_decoded &dsp_decoded)
    {
        constexpr int in_s16 = 1;
        constexpr size_t ul_frame_bytes = 4;
        if (dsp_decoded.inc_format == in_s16)
            return;
        if (dsc_resampler == nullptr)
            open(dsp_decoded.inc_format, in_s16);
        utc_pcm.resize(std::max(utc_pcm.size(), ul_frame_bytes * static_cast<size_t>(dsp_decoded.inc_samples)));
        uint8_t *autl_pcm = utc_pcm.data();
        static const auto swr_convert = find<int(SwrContext *, uint8_t **, int, const uint8_t **, int)>("swr_convert");
        check(swr_convert(dsc_resampler.get(), &autl_pcm, dsp_decoded.inc_samples,
                          const_cast<const uint8_t **>(const_cast<uint8_t **>(dsp_decoded.aautc_planes)),
                          dsp_decoded.inc_samples),
              "swr_convert");
    }

private:
    template <class FUNCTION> static FUNCTION *find(const char *strp_name)
    {
        return reinterpret_cast<FUNCTION *>(existing(dlsym(RTLD_DEFAULT, strp_name), strp_name));
    }
    static void free(SwrContext *adsp_resampler) { find<void(SwrContext **)>("swr_free")(&adsp_resampler); }

    void open(int inp_from, int inp_to)
    {
        constexpr int in_stereo = 3;
        constexpr int in_rate = 44100;
        dsc_resampler.reset(existing(find<SwrContext *()>("swr_alloc")(), "memory"));
        const std::array<std::pair<const char *, int>, 6> dsl_options{{{"in_channel_layout", in_stereo},
                                                                       {"out_channel_layout", in_stereo},
                                                                       {"in_sample_rate", in_rate},
                                                                       {"out_sample_rate", in_rate},
                                                                       {"in_sample_fmt", inp_from},
                                                                       {"out_sample_fmt", inp_to}}};
        for (const auto &[strl_name, inl_value] : dsl_options)
            check(find<int(void *, const char *, int64_t, int)>("av_opt_set_int")(dsc_resampler.get(), strl_name,
                                                                                  inl_value, 0),
                  strl_name);
        check(find<int(SwrContext *)>("swr_init")(dsc_resampler.get()), "swr_init");
    }

    std::unique_ptr<SwrContext, void (*)(SwrContext *)> dsc_resampler{nullptr, free};
    bytes utc_pcm;
};

/** FFmpeg's functions of the 56 line. */
class c_old_line
{
public:
    using packet = AVPacket;

    c_old_line(const dsd_task &dsp_task, int inp_type) : dsc_file(open_file(dsp_task.strc_file))
    {
        const std::span adsl_streams(dsc_file->streams, dsc_file->nb_streams);
        const auto dsl_found = std::ranges::find_if(
            adsl_streams, [&](const AVStream *adsp_stream) { return adsp_stream->codec->codec_type == inp_type; });
        if (dsl_found == adsl_streams.end())
            throw std::runtime_error("no such stream");
        inc_stream = (*dsl_found)->index;
        bc_sound = inp_type == AVMEDIA_TYPE_AUDIO;
        inc_threads = dsp_task.inc_threads;
    }

    int stream() const { return inc_stream; }

    bool read(packet &dsp_packet) { return av_read_frame(dsc_file.get(), &dsp_packet) >= 0; }
    static void unref(packet &dsp_packet) { av_free_packet(&dsp_packet); }
    static packet of(const dsd_unit &dsp_unit)
    {
        packet dsl_packet =
            packet_of(const_cast<uint8_t *>(dsp_unit.utc_bytes.data()), static_cast<size_t>(dsp_unit.inc_size));
        dsl_packet.pts = dsp_unit.ilc_pts;
        dsl_packet.dts = dsp_unit.ilc_dts;
        return dsl_packet;
    }
    static packet none() { return packet_of(nullptr, 0); }

    void open_codec()
    {
        const AVCodecContext &dsl_described = *dsc_file->streams[inc_stream]->codec;
        const AVCodec *adsl_codec = existing(avcodec_find_decoder(dsl_described.codec_id), "decoder");
        dsc_context.reset(existing(avcodec_alloc_context3(adsl_codec), "memory"));
        const auto ull_extradata = static_cast<size_t>(dsl_described.extradata_size);
        dsc_context->extradata = static_cast<uint8_t *>(existing(av_mallocz(ull_extradata + 64), "memory"));
        std::copy_n(dsl_described.extradata, ull_extradata, dsc_context->extradata);
        dsc_context->extradata_size = dsl_described.extradata_size;
        dsc_context->codec_tag = dsl_described.codec_tag;
        dsc_context->bits_per_coded_sample = dsl_described.bits_per_coded_sample;
        dsc_context->width = dsl_described.width;
        dsc_context->height = dsl_described.height;
        dsc_context->channels = dsl_described.channels;
        dsc_context->sample_rate = dsl_described.sample_rate;
        dsc_context->block_align = dsl_described.block_align;
        dsc_context->bit_rate = dsl_described.bit_rate;
        dsc_context->thread_count = inc_threads;
        dsc_context->refcounted_frames = 1;
        check(avcodec_open2(dsc_context.get(), adsl_codec, nullptr), "avcodec_open2");
    }

    void decode(packet &dsp_packet, const visitor &dsp_visit)
    {
        if (bc_sound)
            return decode_sound(dsp_packet, dsp_visit);
        int inl_picture = 0;
        avcodec_decode_video2(dsc_context.get(), dsc_frame.get(), &inl_picture, &dsp_packet);
        if (inl_picture != 0)
            deliver(dsp_visit);
    }

    void drain(const visitor &dsp_visit)
    {
        packet dsl_end = none();
        const auto decode_frame = bc_sound ? avcodec_decode_audio4 : avcodec_decode_video2;
        for (int inl_frame = 1; inl_frame != 0;) {
            if (decode_frame(dsc_context.get(), dsc_frame.get(), &inl_frame, &dsl_end) < 0)
                break;
            if (inl_frame != 0)
                deliver(dsp_visit);
        }
    }

    void close_codec() { dsc_context.reset(); }

    void scale(const dsd_decoded &dsp_from, int inp_width, int inp_height, bytes &dsp_to)
    {
        dsc_scaler.reset(sws_getCachedContext(dsc_scaler.release(), dsp_from.inc_width, dsp_from.inc_height,
                                              static_cast<AVPixelFormat>(dsp_from.inc_format), inp_width, inp_height,
                                              static_cast<AVPixelFormat>(in_bgra), in_bicubic, nullptr, nullptr,
                                              nullptr));
        uint8_t *autl_to = dsp_to.data();
        const int inl_length = 4 * inp_width;
        sws_scale(existing(dsc_scaler.get(), "scaler"), dsp_from.aautc_planes, dsp_from.ainc_lengths, 0,
                  dsp_from.inc_height, &autl_to, &inl_length);
    }

private:
    void decode_sound(packet &dsp_packet, const visitor &dsp_visit)
    {
        packet dsl_rest = dsp_packet;
        while (dsl_rest.size > 0) {
            int inl_frame = 0;
            const int inl_used = avcodec_decode_audio4(dsc_context.get(), dsc_frame.get(), &inl_frame, &dsl_rest);
            if (inl_frame != 0)
                deliver(dsp_visit);
            if (inl_used < 0 || (inl_used == 0 && inl_frame == 0))
                return;
            dsl_rest.data += inl_used;
            dsl_rest.size -= inl_used;
        }
    }

    void deliver(const visitor &dsp_visit)
    {
        dsp_visit({dsc_frame->data, dsc_frame->linesize, dsc_frame->width, dsc_frame->height, dsc_frame->format,
                   dsc_frame->nb_samples});
        av_frame_unref(dsc_frame.get());
    }

    format_ptr dsc_file;
    context_ptr dsc_context;
    frame_ptr dsc_frame{existing(av_frame_alloc(), "memory")};
    std::unique_ptr<SwsContext, void (*)(SwsContext *)> dsc_scaler{nullptr, sws_freeContext};
    int inc_stream = 0;
    int inc_threads = 1;
    bool bc_sound = false;
};

/** FFmpeg's functions of a newer line, called directly. */
class c_new_line
{
public:
    /** With room for the fields behind those that are declared, which are null. */
    struct packet : real::packet
    {
        std::array<std::byte, 128> dsc_rest{};
    };

    c_new_line(const dsd_task &dsp_task, int inp_type)
    {
        inc_threads = dsp_task.inc_threads;
        check(dsc_ffmpeg.avformat_open_input(&adsc_file, dsp_task.strc_file.c_str(), nullptr, nullptr),
              dsp_task.strc_file);
        check(dsc_ffmpeg.avformat_find_stream_info(adsc_file, nullptr), dsp_task.strc_file);
        const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
        const auto ill_last = int64_t{dsl_layout.format_context.nb_streams.of(adsc_file)} - 1;
        for (; type_of(inc_stream) != inp_type; ++inc_stream)
            if (inc_stream == ill_last)
                throw std::runtime_error("no such stream");
    }
    ~c_new_line()
    {
        close_codec();
        dsc_ffmpeg.sws_freeContext(adsc_scaler);
        dsc_ffmpeg.av_frame_free(&adsc_frame);
        dsc_ffmpeg.avformat_close_input(&adsc_file);
    }
    c_new_line(const c_new_line &) = delete;
    c_new_line &operator=(const c_new_line &) = delete;

    int stream() const { return inc_stream; }

    bool read(packet &dsp_packet) { return dsc_ffmpeg.av_read_frame(adsc_file, &dsp_packet) >= 0; }
    void unref(packet &dsp_packet) { dsc_ffmpeg.av_packet_unref(&dsp_packet); }
    static packet of(const dsd_unit &dsp_unit)
    {
        packet dsl_packet = none();
        dsl_packet.data = const_cast<uint8_t *>(dsp_unit.utc_bytes.data());
        dsl_packet.size = dsp_unit.inc_size;
        dsl_packet.pts = dsp_unit.ilc_pts;
        dsl_packet.dts = dsp_unit.ilc_dts;
        return dsl_packet;
    }
    static packet none()
    {
        packet dsl_packet{};
        dsl_packet.pts = dsl_packet.dts = INT64_MIN;
        return dsl_packet;
    }

    void open_codec()
    {
        const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
        const real::parameters *adsl_parameters = parameters_of(inc_stream);
        const real::codec *adsl_codec =
            existing(dsc_ffmpeg.avcodec_find_decoder(dsl_layout.parameters.codec_id.of(adsl_parameters)), "decoder");
        adsc_context = existing(dsc_ffmpeg.avcodec_alloc_context3(adsl_codec), "memory");
        check(dsc_ffmpeg.avcodec_parameters_to_context(adsc_context, adsl_parameters), "parameters");
        dsl_layout.context.thread_count.of(adsc_context) = inc_threads;
        check(dsc_ffmpeg.avcodec_open2(adsc_context, adsl_codec, nullptr), "avcodec_open2");
    }

    void decode(packet &dsp_packet, const visitor &dsp_visit)
    {
        dsc_ffmpeg.avcodec_send_packet(adsc_context, &dsp_packet);
        receive(dsp_visit);
    }

    void drain(const visitor &dsp_visit)
    {
        dsc_ffmpeg.avcodec_send_packet(adsc_context, nullptr);
        receive(dsp_visit);
    }

    void close_codec() { dsc_ffmpeg.avcodec_free_context(&adsc_context); }

    void scale(const dsd_decoded &dsp_from, int inp_width, int inp_height, bytes &dsp_to)
    {
        adsc_scaler = dsc_ffmpeg.sws_getCachedContext(
            adsc_scaler, dsp_from.inc_width, dsp_from.inc_height, dsp_from.inc_format, inp_width, inp_height,
            dsc_ffmpeg.av_get_pix_fmt("bgra"), in_bicubic, nullptr, nullptr, nullptr);
        uint8_t *autl_to = dsp_to.data();
        const int inl_length = 4 * inp_width;
        dsc_ffmpeg.sws_scale(existing(adsc_scaler, "scaler"), dsp_from.aautc_planes, dsp_from.ainc_lengths, 0,
                             dsp_from.inc_height, &autl_to, &inl_length);
    }

private:
    const real::parameters *parameters_of(int inp_stream) const
    {
        const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
        return dsl_layout.stream.codecpar.of(dsl_layout.format_context.streams.of(adsc_file)[inp_stream]);
    }
    int type_of(int inp_stream) const
    {
        return dsc_ffmpeg.adsc_layout->parameters.codec_type.of(parameters_of(inp_stream));
    }

    void receive(const visitor &dsp_visit)
    {
        const auto &dsl_frame = dsc_ffmpeg.adsc_layout->frame;
        while (dsc_ffmpeg.avcodec_receive_frame(adsc_context, adsc_frame) >= 0)
            dsp_visit({dsl_frame.data.of(adsc_frame), dsl_frame.linesize.of(adsc_frame), dsl_frame.width.of(adsc_frame),
                       dsl_frame.height.of(adsc_frame), dsl_frame.format.of(adsc_frame),
                       dsl_frame.nb_samples.of(adsc_frame)});
    }

    const real::dsd_ffmpeg &dsc_ffmpeg = *real_ffmpeg();
    real::format_context *adsc_file = nullptr;
    real::context *adsc_context = nullptr;
    real::frame *adsc_frame = dsc_ffmpeg.av_frame_alloc();
    real::scaler *adsc_scaler = nullptr;
    int inc_stream = 0;
    int inc_threads = 1;
};

/** One participant's work, as the class Work of those in Java. */
class ca_work
{
public:
    ca_work() = default;
    virtual ~ca_work() = default;
    ca_work(const ca_work &) = delete;
    ca_work &operator=(const ca_work &) = delete;

    virtual int64_t run(c_sink *adsp_sink) = 0;
};

template <class LINE> class c_work : public ca_work
{
public:
    explicit c_work(const dsd_task &dsp_task) : dsc_task(dsp_task)
    {
        if (dsc_task.strc_kind != "packets")
            return;
        try {
            dsc_kept = std::make_unique<LINE>(dsc_task, AVMEDIA_TYPE_VIDEO);
        } catch (const std::runtime_error &) {
            dsc_kept = std::make_unique<LINE>(dsc_task, AVMEDIA_TYPE_AUDIO);
        }
        each_packet(*dsc_kept, [&](const typename LINE::packet &dsp_packet) { dsc_units.emplace_back(dsp_packet); });
    }

    int64_t run(c_sink *adsp_sink) override
    {
        ilc_count = 0;
        adsc_sink = adsp_sink;
        const visitor dsl_take = [this](const dsd_decoded &dsp_decoded) { take(dsp_decoded); };
        if (dsc_kept != nullptr) {
            dsc_kept->open_codec();
            for (const dsd_unit &dsl_unit : dsc_units) {
                auto dsl_packet = LINE::of(dsl_unit);
                dsc_kept->decode(dsl_packet, dsl_take);
            }
            dsc_kept->drain(dsl_take);
            dsc_kept->close_codec();
            return ilc_count;
        }
        LINE dsl_line(dsc_task, dsc_task.sound() ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO);
        adsc_line = &dsl_line;
        dsl_line.open_codec();
        each_packet(dsl_line, [&](typename LINE::packet &dsp_packet) { dsl_line.decode(dsp_packet, dsl_take); });
        dsl_line.drain(dsl_take);
        return ilc_count;
    }

private:
    template <class VISIT> static void each_packet(LINE &dsp_line, VISIT visit)
    {
        auto dsl_packet = LINE::none();
        while (dsp_line.read(dsl_packet)) {
            if (dsl_packet.stream_index == dsp_line.stream())
                visit(dsl_packet);
            dsp_line.unref(dsl_packet);
        }
    }

    void take(const dsd_decoded &dsp_decoded)
    {
        if (dsp_decoded.inc_width == 0) {
            if (dsc_task.makes_16_bits())
                dsc_pcm.convert(dsp_decoded);
            ilc_count += dsp_decoded.inc_samples;
            return;
        }
        ++ilc_count;
        if (dsc_task.images()) {
            const int inl_width = dsc_task.inc_width != 0 ? dsc_task.inc_width : dsp_decoded.inc_width;
            const int inl_height = dsc_task.inc_width != 0 ? dsc_task.inc_height : dsp_decoded.inc_height;
            utc_image.resize(4 * static_cast<size_t>(inl_width) * static_cast<size_t>(inl_height) + 64);
            adsc_line->scale(dsp_decoded, inl_width, inl_height, utc_image);
            if (adsc_sink != nullptr)
                adsc_sink->image(utc_image.data(), inl_width, inl_height);
        } else if (adsc_sink != nullptr) {
            if (dsp_decoded.inc_format != in_yuv420p)
                throw std::runtime_error("only 4:2:0 pictures of 8 bits are compared");
            adsc_sink->planes(dsp_decoded.aautc_planes, dsp_decoded.ainc_lengths, dsp_decoded.inc_width,
                              dsp_decoded.inc_height);
        }
    }

    dsd_task dsc_task;
    std::unique_ptr<LINE> dsc_kept;
    LINE *adsc_line = nullptr;
    std::vector<dsd_unit> dsc_units;
    bytes utc_image;
    c_pcm_maker dsc_pcm;
    int64_t ilc_count = 0;
    c_sink *adsc_sink = nullptr;
};

int64_t nanoseconds_of(clockid_t inp_clock)
{
    timespec dsl_time{};
    clock_gettime(inp_clock, &dsl_time);
    return dsl_time.tv_sec * int64_t{1'000'000'000} + dsl_time.tv_nsec;
}

int64_t side_by_side(const std::vector<std::unique_ptr<ca_work>> &dsp_copies)
{
    std::vector<int64_t> aill_counts(dsp_copies.size());
    {
        std::vector<std::jthread> dsl_threads;
        for (size_t ull_copy = 0; ull_copy < dsp_copies.size(); ++ull_copy)
            dsl_threads.emplace_back([&, ull_copy] { aill_counts[ull_copy] = dsp_copies[ull_copy]->run(nullptr); });
    }
    return std::accumulate(aill_counts.begin(), aill_counts.end(), int64_t{0});
}

void serve(const std::vector<std::unique_ptr<ca_work>> &dsp_copies)
{
    std::cout << "@ ready" << std::endl;
    for (std::string strl_command; std::cin >> strl_command;) {
        if (strl_command == "check") {
            std::string strl_numbers;
            std::string strl_image;
            std::cin >> strl_numbers >> strl_image;
            c_sink dsl_sink;
            const int64_t ill_count = dsp_copies[0]->run(&dsl_sink);
            dsl_sink.write(strl_numbers, strl_image);
            std::cout << "@ check " << ill_count << ' ' << dsl_sink.checksum() << std::endl;
            continue;
        }
        constexpr std::array ain_clocks{CLOCK_MONOTONIC, CLOCK_THREAD_CPUTIME_ID};
        std::array<int64_t, ain_clocks.size()> aill_times{};
        std::ranges::transform(ain_clocks, aill_times.begin(), nanoseconds_of);
        const int64_t ill_count = dsp_copies.size() == 1 ? dsp_copies[0]->run(nullptr) : side_by_side(dsp_copies);
        std::cout << "@ round";
        for (size_t ull_clock = 0; ull_clock < ain_clocks.size(); ++ull_clock)
            std::cout << ' ' << nanoseconds_of(ain_clocks[ull_clock]) - aill_times[ull_clock];
        std::cout << " 0 " << ill_count << std::endl;
    }
}

} // namespace

int main(int inp_count, char **astrp_arguments)
try {
    const std::vector<std::string> strl_arguments(astrp_arguments, astrp_arguments + inp_count);
    if (strl_arguments.size() != 8)
        throw std::runtime_error("usage: bench_baseline LIBRARIES KIND FILE THREADS WIDTH HEIGHT COPIES");
    load(strl_arguments[1]);
    av_log_set_level(-8); // nothing
    const dsd_task dsl_task{strl_arguments[2], strl_arguments[3], std::stoi(strl_arguments[4]),
                            std::stoi(strl_arguments[5]), std::stoi(strl_arguments[6])};
    std::vector<std::unique_ptr<ca_work>> dsl_copies;
    for (int inl_copy = std::stoi(strl_arguments[7]); inl_copy > 0; --inl_copy) {
        if (real_ffmpeg() != nullptr)
            dsl_copies.push_back(std::make_unique<c_work<c_new_line>>(dsl_task));
        else
            dsl_copies.push_back(std::make_unique<c_work<c_old_line>>(dsl_task));
    }
    serve(dsl_copies);
} catch (const std::exception &dsp_exception) {
    std::cerr << "bench_baseline: " << dsp_exception.what() << '\n';
    return 1;
}
