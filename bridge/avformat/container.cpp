#include "bridge/avformat/container.h"

#include "bridge/avformat/formats.h"
#include "bridge/old/contexts.h"
#include "bridge/old/entry.h"
#include "bridge/old/options.h"
#include "bridge/old/packets.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <span>
#include <string_view>

// Of libavcodec.so.56, which makes and frees the contexts of streams.
extern "C" AVCodecContext *avcodec_alloc_context3(const AVCodec *);
extern "C" void avcodec_free_context(AVCodecContext **);

namespace bridge::avformat
{

namespace
{

/** Flags that mean the same on both sides. */
constexpr int in_common_flags = 0x107FF;

constexpr old::dsd_field<AVFormatContext, c_container *> s_container{1328}; // the place of `internal`

int set_text(void *avp_context, const char *strp_name, const char *strp_value)
{
    return container_of(*static_cast<AVFormatContext *>(avp_context)).set_option(strp_name, strp_value);
}

int set_number(void *avp_context, const char *strp_name, int64_t ilp_value)
{
    return set_text(avp_context, strp_name, std::to_string(ilp_value).c_str());
}

constexpr old::dsd_option s_options[] = {old::option_of("fflags", offsetof(AVFormatContext, flags)), {}};
const old::dsd_option_class s_class{{"AVFormatContext", {}, old::table_of(s_options), {}}, &set_text, &set_number};

/** Some lists of options. */
class c_options
{
public:
    c_options(const real::dsd_ffmpeg &dsp_ffmpeg, size_t ulp_lists) : dsc_ffmpeg(dsp_ffmpeg), adsc_options(ulp_lists) {}
    ~c_options()
    {
        for (AVDictionary *&adsl_options : adsc_options)
            dsc_ffmpeg.av_dict_free(&adsl_options);
    }
    c_options(const c_options &) = delete;
    c_options &operator=(const c_options &) = delete;

    void set(size_t ulp_list, const char *strp_name, const char *strp_value)
    {
        dsc_ffmpeg.av_dict_set(&adsc_options[ulp_list], strp_name, strp_value, 0);
    }
    AVDictionary **get() noexcept { return adsc_options.empty() ? nullptr : adsc_options.data(); }

private:
    const real::dsd_ffmpeg &dsc_ffmpeg;
    std::vector<AVDictionary *> adsc_options;
};

} // namespace

c_container &container_of(AVFormatContext &dsp_context) noexcept
{
    return *s_container.of(&dsp_context);
}

dsd_stream::dsd_stream(const real::dsd_ffmpeg &dsp_ffmpeg) : dsc_ffmpeg(dsp_ffmpeg)
{
    dsc_old.codec = avcodec_alloc_context3(nullptr);
    if (dsc_old.codec == nullptr)
        throw std::bad_alloc();
    dsc_old.time_base = {0, 90000};
    dsc_old.sample_aspect_ratio = {0, 1};
    dsc_old.start_time = AV_NOPTS_VALUE;
    dsc_old.duration = AV_NOPTS_VALUE;
}

dsd_stream::~dsd_stream()
{
    avcodec_free_context(&dsc_old.codec);
}

std::span<uint8_t> dsd_stream::side_data(int inp_type) const noexcept
{
    if (adsc_real == nullptr)
        return {};
    const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
    // It moved from the streams to the parameters of their codecs. Where both have it, it is the same.
    const real::parameters *adsl_parameters = dsl_layout.stream.codecpar.of(adsc_real);
    const bool bl_of_stream = dsl_layout.stream.side_data.exists();
    const std::span dsl_all(bl_of_stream ? dsl_layout.stream.side_data.of(adsc_real)
                                         : dsl_layout.parameters.coded_side_data.of(adsl_parameters),
                            static_cast<size_t>(bl_of_stream
                                                    ? dsl_layout.stream.nb_side_data.of(adsc_real)
                                                    : dsl_layout.parameters.nb_coded_side_data.of(adsl_parameters)));
    const auto dsl_found =
        std::ranges::find(dsl_all, old::side_data_type_to_real(inp_type), &real::packet_side_data::type);
    return dsl_found == dsl_all.end() ? std::span<uint8_t>() : std::span(dsl_found->data, dsl_found->size);
}

dsd_chapter::dsd_chapter(const real::dsd_ffmpeg &dsp_ffmpeg, const real::chapter &dsp_real)
    : ilc_id(dsp_real.id), dsc_ffmpeg(dsp_ffmpeg)
{
    dsc_old.id = static_cast<int>(dsp_real.id);
    dsc_old.time_base = dsp_real.time_base;
    dsc_old.start = dsp_real.start;
    dsc_old.end = dsp_real.end;
    dsc_ffmpeg.av_dict_copy(&dsc_old.metadata, dsp_real.metadata, 0);
}

dsd_chapter::~dsd_chapter()
{
    dsc_ffmpeg.av_dict_free(&dsc_old.metadata);
}

AVRational dsd_stream::frame_rate() const noexcept
{
    return adsc_real == nullptr ? AVRational{0, 1} : dsc_ffmpeg.adsc_layout->stream.r_frame_rate.of(adsc_real);
}

c_container::c_container(const real::dsd_ffmpeg &dsp_ffmpeg) : dsc_ffmpeg(dsp_ffmpeg)
{
    *reinterpret_cast<const AVClass **>(&dsc_context) = &s_class.dsc_class;
    s_container.of(&dsc_context.dsc_old) = this;
    dsc_context.dsc_old.start_time = AV_NOPTS_VALUE;
    dsc_context.dsc_old.duration = AV_NOPTS_VALUE;
}

c_container::~c_container()
{
    if (adsc_real != nullptr && bc_output)
        dsc_ffmpeg.avformat_free_context(adsc_real);
    else if (adsc_real != nullptr)
        dsc_ffmpeg.avformat_close_input(&adsc_real);
}

int c_container::open(const char *strp_name, const real::input_format *adsp_format, AVDictionary **aadsp_options)
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->format_context;
    adsc_real = dsc_ffmpeg.avformat_alloc_context();
    if (adsc_real == nullptr)
        return AVERROR(ENOMEM);
    dsl_layout.flags.of(adsc_real) |= context().flags & in_common_flags;
    dsl_layout.interrupt_callback.of(adsc_real) = {&c_container::is_interrupted, this};
    if (context().pb != nullptr) {
        dsc_source = std::make_unique<c_real_source>(dsc_ffmpeg, *reinterpret_cast<old::dsd_source *>(context().pb),
                                                     [this] { show_new_streams(); });
        dsl_layout.pb.of(adsc_real) = dsc_source->get();
    }
    c_options dsl_defaults(dsc_ffmpeg, 1);
    if (context().pb != nullptr)
        dsl_defaults.set(0, "protocol_whitelist", "none"); // whatever the bytes say, nothing else is opened
    dsl_defaults.set(0, "max_size", "4096");               // of the packets of WAV, as in the 56 line
    const int inl_result = dsc_ffmpeg.avformat_open_input(
        &adsc_real, strp_name, adsp_format, aadsp_options != nullptr ? aadsp_options : dsl_defaults.get());
    if (inl_result < 0) { // FFmpeg has freed it
        dsc_source.reset();
        return inl_result;
    }
    context().iformat = old_format(dsl_layout.iformat.of(adsc_real));
    show();
    show_chapters();
    return 0;
}

int c_container::examine_streams()
{
    if (adsc_real == nullptr)
        return AVERROR(EINVAL);
    c_options dsl_options(dsc_ffmpeg, dsc_streams.size());
    for (size_t ull_stream = 0; ull_stream < dsc_streams.size(); ++ull_stream)
        if ((dsc_streams[ull_stream]->dsc_old.codec->flags2 & CODEC_FLAG2_SKIP_MANUAL) != 0)
            dsl_options.set(ull_stream, "flags2", "+skip_manual");
    bc_examining = true;
    const int inl_result = dsc_ffmpeg.avformat_find_stream_info(adsc_real, dsl_options.get());
    bc_examining = false;
    show();
    show_chapters();
    return inl_result;
}

int c_container::read(AVPacket &dsp_packet)
{
    old::set_packet_defaults(dsp_packet);
    dsp_packet.data = nullptr;
    dsp_packet.size = 0;
    if (adsc_real == nullptr)
        return AVERROR(EINVAL);
    const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
    real::stream **aadsl_streams = dsl_layout.format_context.streams.of(adsc_real);
    for (size_t ull_stream = 0; ull_stream < dsc_streams.size(); ++ull_stream)
        dsl_layout.stream.discard.of(aadsl_streams[ull_stream]) = dsc_streams[ull_stream]->dsc_old.discard;
    if (dsc_source != nullptr)
        dsc_source->forget_error();
    const old::real_packet dsl_packet = old::make_packet(dsc_ffmpeg);
    const int inl_result = dsc_ffmpeg.av_read_frame(adsc_real, dsl_packet.get());
    if (dsl_layout.format_context.nb_streams.of(adsc_real) != ulc_shown)
        show();
    show_metadata();
    if (inl_result < 0)
        return inl_result;
    old::move_packet(dsc_ffmpeg, *dsl_packet, dsp_packet);
    if ((context().flags & AVFMT_FLAG_KEEP_SIDE_DATA) == 0)
        old::merge_side_data(dsc_ffmpeg, dsp_packet);
    return inl_result;
}

int c_container::seek(int inp_stream, int64_t ilp_time, int inp_flags)
{
    if (adsc_real == nullptr)
        return AVERROR(EINVAL);
    const int inl_result = dsc_ffmpeg.av_seek_frame(adsc_real, inp_stream, ilp_time, inp_flags);
    show_metadata();
    return inl_result;
}

int c_container::set_option(const char *strp_name, const char *strp_value)
{
    return adsc_real == nullptr ? AVERROR(EINVAL) : dsc_ffmpeg.av_opt_set(adsc_real, strp_name, strp_value, 0);
}

AVStream &c_container::add_stream()
{
    dsc_streams.push_back(std::make_unique<dsd_stream>(dsc_ffmpeg));
    AVStream &dsl_stream = dsc_streams.back()->dsc_old;
    dsl_stream.index = static_cast<int>(dsc_streams.size()) - 1;
    adsc_shown.push_back(&dsl_stream);
    context().streams = adsc_shown.data();
    context().nb_streams = static_cast<uint32_t>(adsc_shown.size());
    return dsl_stream;
}

int c_container::is_interrupted(void *avp_container) noexcept
{
    try {
        auto &dsl_container = *static_cast<c_container *>(avp_container);
        dsl_container.show_new_streams();
        if (dsl_container.bc_examining)
            dsl_container.announce();
        const AVIOInterruptCB &dsl_callback = dsl_container.context().interrupt_callback;
        return dsl_callback.callback == nullptr ? 0 : dsl_callback.callback(dsl_callback.opaque);
    } catch (...) {
        return 1;
    }
}

/** Calls a function that the caller has put into the format: FFmpeg examines another packet. */
void c_container::announce()
{
    AVPacket dsl_packet{};
    if (context().iformat->read_packet(&context(), &dsl_packet) >= 0)
        old::free_packet(dsc_ffmpeg, dsl_packet);
}

/** While FFmpeg works, callers see how many streams there are, and how long their indexes. */
void c_container::show_new_streams()
{
    if (adsc_real == nullptr)
        return;
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->format_context;
    const std::span aadsl_streams(dsl_layout.streams.of(adsc_real), dsl_layout.nb_streams.of(adsc_real));
    while (dsc_streams.size() < aadsl_streams.size())
        add_stream();
    for (size_t ull_stream = 0; ull_stream < aadsl_streams.size(); ++ull_stream) {
        dsc_streams[ull_stream]->adsc_real = aadsl_streams[ull_stream];
        dsc_streams[ull_stream]->dsc_old.nb_index_entries =
            dsc_ffmpeg.avformat_index_get_entries_count(aadsl_streams[ull_stream]);
    }
}

/** Copies what FFmpeg knows of the container. Streams that callers know stay where they are. */
void c_container::show()
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->format_context;
    context().start_time = dsl_layout.start_time.of(adsc_real);
    context().duration = dsl_layout.duration.of(adsc_real);
    context().bit_rate = static_cast<int>(std::clamp<int64_t>(dsl_layout.bit_rate.of(adsc_real), INT32_MIN, INT32_MAX));
    const std::span aadsl_streams(dsl_layout.streams.of(adsc_real), dsl_layout.nb_streams.of(adsc_real));
    show_new_streams();
    ulc_shown = aadsl_streams.size();
    for (size_t ull_stream = 0; ull_stream < aadsl_streams.size(); ++ull_stream)
        show_stream(aadsl_streams[ull_stream], dsc_streams[ull_stream]->dsc_old);
    show_metadata();
}

/** Copies the chapters, which do not change any more for callers. */
void c_container::show_chapters()
{
    const auto &dsl_layout = dsc_ffmpeg.adsc_layout->format_context;
    const std::span aadsl_chapters(dsl_layout.chapters.of(adsc_real), dsl_layout.nb_chapters.of(adsc_real));
    adsc_shown_chapters.clear();
    dsc_chapters.clear();
    for (const real::chapter *adsl_chapter : aadsl_chapters) {
        dsc_chapters.push_back(std::make_unique<dsd_chapter>(dsc_ffmpeg, *adsl_chapter));
        adsc_shown_chapters.push_back(&dsc_chapters.back()->dsc_old);
    }
    context().chapters = adsc_shown_chapters.data();
    context().nb_chapters = static_cast<unsigned int>(adsc_shown_chapters.size());
}

/** Tags, programs and attached pictures are FFmpeg's own, which every call of FFmpeg may replace. */
void c_container::show_metadata()
{
    const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
    context().metadata = dsl_layout.format_context.metadata.of(adsc_real);
    context().programs = dsl_layout.format_context.programs.of(adsc_real);
    context().nb_programs = dsl_layout.format_context.nb_programs.of(adsc_real);
    for (const auto &dsl_stream : dsc_streams) {
        if (dsl_stream->adsc_real == nullptr)
            continue;
        dsl_stream->dsc_old.metadata = dsl_layout.stream.metadata.of(dsl_stream->adsc_real);
        const real::packet &dsl_picture = dsl_layout.stream.attached_pic.of(dsl_stream->adsc_real);
        dsl_stream->dsc_old.attached_pic.data = dsl_picture.data;
        dsl_stream->dsc_old.attached_pic.size = dsl_picture.size;
    }
}

void c_container::show_stream(real::stream *adsp_from, AVStream &dsp_to)
{
    const auto &dsl_layout = *dsc_ffmpeg.adsc_layout;
    dsp_to.index = dsl_layout.stream.index.of(adsp_from);
    dsp_to.id = dsl_layout.stream.id.of(adsp_from);
    dsp_to.time_base = dsl_layout.stream.time_base.of(adsp_from);
    dsp_to.start_time = dsl_layout.stream.start_time.of(adsp_from);
    dsp_to.duration = dsl_layout.stream.duration.of(adsp_from);
    dsp_to.nb_frames = dsl_layout.stream.nb_frames.of(adsp_from);
    dsp_to.disposition = dsl_layout.stream.disposition.of(adsp_from);
    dsp_to.discard = dsl_layout.stream.discard.of(adsp_from);
    dsp_to.sample_aspect_ratio = dsl_layout.stream.sample_aspect_ratio.of(adsp_from);
    dsp_to.avg_frame_rate = dsl_layout.stream.avg_frame_rate.of(adsp_from);
    // The AVI reader's own structure: callers compare its unit of time with the stream's before they seek.
    if (std::string_view(context().iformat->name) == "avi")
        dsp_to.priv_data = dsl_layout.stream.priv_data.of(adsp_from);

    const real::parameters *adsl_parameters = dsl_layout.stream.codecpar.of(adsp_from);
    real::context *adsl_described = dsc_ffmpeg.avcodec_alloc_context3(nullptr);
    if (adsl_described == nullptr)
        throw std::bad_alloc();
    const auto free_context = [this](real::context *adsp_context) { dsc_ffmpeg.avcodec_free_context(&adsp_context); };
    const std::unique_ptr<real::context, decltype(free_context)> dsl_described(adsl_described, free_context);
    if (dsc_ffmpeg.avcodec_parameters_to_context(adsl_described, adsl_parameters) < 0)
        throw std::bad_alloc();
    AVCodecContext &dsl_codec = *dsp_to.codec;
    dsl_codec.codec_type = static_cast<AVMediaType>(dsl_layout.parameters.codec_type.of(adsl_parameters));
    dsl_codec.codec_id = dsc_ffmpeg.dsc_numbers.old_codec(dsl_layout.parameters.codec_id.of(adsl_parameters));
    dsl_codec.codec_tag = dsl_layout.parameters.codec_tag.of(adsl_parameters);
    old::describe_to_old(dsc_ffmpeg, adsl_described, dsl_codec);
    old::copy_extradata_to_old(dsc_ffmpeg, adsl_described, dsl_codec);
}

} // namespace bridge::avformat

BRIDGE_ENTRY const AVClass *avformat_get_class(void)
{
    return &bridge::avformat::s_class.dsc_class;
}
