#include "kivjniffmpeg/codecs/resampler.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <algorithm>
#include <climits>

namespace
{

/** The largest ratio of two rates. The filter of a larger one takes seconds and hundreds of megabytes. */
constexpr int32_t im_most_ratio = 64;
/** The highest rate that is changed. */
constexpr int32_t im_most_rate = 1'000'000;

void check_samples(const c_aformat &dsp_format)
{
    if (dsp_format.sample_format() == AV_SAMPLE_FMT_NONE)
        throw_ffmpeg_exception(735, "no sample format of tag ", dsp_format.format_tag(), " has ",
                               dsp_format.bits_per_sample(), " bits");
    if (dsp_format.sample_rate() <= 0)
        throw_ffmpeg_exception(737, "no conversion at a sample rate of ", dsp_format.sample_rate());
}

/** Sets one option; @p inp_line is the number of the message. */
void set_option(SwrContext *adsp_swr, const char *strp_option, int64_t ilp_value, int inp_line)
{
    if (g_avutil.av_opt_set_int(adsp_swr, strp_option, ilp_value, 0) != 0)
        throw_ffmpeg_exception(inp_line, "set ", strp_option, " failed");
}

} // namespace

c_swr_ctx::c_swr_ctx() : adsc_swr(g_swresample.swr_alloc())
{
    TRACE_FUNCTION(3);
    if (adsc_swr == nullptr)
        throw_ffmpeg_exception(729, "swr_alloc() failed");
}

c_swr_ctx::~c_swr_ctx()
{
    TRACE_FUNCTION(3);
    g_swresample.swr_free(&adsc_swr);
}

void c_swr_ctx::set_src_format(const c_aformat &dsp_format)
{
    TRACE_FUNCTION(3);
    check_samples(dsp_format);
    imc_in_rate = dsp_format.sample_rate();
    const auto ill_layout = static_cast<int64_t>(dsp_format.channel_layout());
    set_option(adsc_swr, "in_channel_layout", ill_layout, 743);
    set_option(adsc_swr, "in_sample_rate", imc_in_rate, 745);
    if (g_avutil.av_opt_set_sample_fmt(adsc_swr, "in_sample_fmt", dsp_format.sample_format(), 0) != 0)
        throw_ffmpeg_exception(747, "av_opt_set_sample_fmt failed");
    set_channel_count("in_channel_count", dsp_format);
}

void c_swr_ctx::set_dst_format(const c_aformat &dsp_format)
{
    TRACE_FUNCTION(3);
    check_samples(dsp_format);
    imc_out_channels = dsp_format.channels();
    imc_out_sample_size = dsp_format.bits_per_sample() / 8;
    imc_out_rate = dsp_format.sample_rate();
    const auto ill_layout = static_cast<int64_t>(dsp_format.channel_layout());
    set_option(adsc_swr, "out_channel_layout", ill_layout, 770);
    set_option(adsc_swr, "out_sample_rate", imc_out_rate, 772);
    if (g_avutil.av_opt_set_sample_fmt(adsc_swr, "out_sample_fmt", dsp_format.sample_format(), 0) != 0)
        throw_ffmpeg_exception(774, "av_opt_set_sample_fmt failed");
    set_channel_count("out_channel_count", dsp_format);
}

void c_swr_ctx::set_channel_count(const char *strp_option, const c_aformat &dsp_format)
{
    // Three, five and seven channels have no layout here, and libswresample needs one of the two.
    const int32_t iml_count = dsp_format.channels();
    if (dsp_format.channel_layout() == 0)
        set_option(adsc_swr, strp_option, iml_count, 752);
}

int c_swr_ctx::init()
{
    TRACE_FUNCTION(3);
    const auto [iml_low, iml_high] = std::minmax(imc_in_rate, imc_out_rate);
    if (iml_low != iml_high && (iml_high > im_most_rate || iml_high / iml_low >= im_most_ratio))
        throw_ffmpeg_exception(811, "no conversion from ", imc_in_rate, " to ", imc_out_rate, " samples per second");
    const int inl_err = g_swresample.swr_init(adsc_swr);
    if (inl_err < 0)
        throw_ffmpeg_exception(814, "swr_init failed err=", inl_err);
    return inl_err;
}

int32_t c_swr_ctx::most_out(int32_t imp_in)
{
    const int64_t ill_delay = g_swresample.swr_get_delay(adsc_swr, imc_in_rate);
    const int64_t ill_most = g_avutil.av_rescale_rnd(ill_delay + imp_in, imc_out_rate, imc_in_rate, AV_ROUND_UP);
    return static_cast<int32_t>(std::clamp<int64_t>(ill_most, 0, INT_MAX));
}

void c_swr_ctx::convert(c_avframe &dsp_in, ca_ffmpeg_buffer &dsp_out)
{
    TRACE_FUNCTION(3);
    // extended_data has all planes, also when there are more than data can hold.
    uint8_t **aautl_planes = dsp_in->extended_data != nullptr ? dsp_in->extended_data : dsp_in->data;
    convert(const_cast<const uint8_t **>(aautl_planes), dsp_in->nb_samples, dsp_out);
}

void c_swr_ctx::flush(ca_ffmpeg_buffer &dsp_out)
{
    TRACE_FUNCTION(3);
    convert(nullptr, 0, dsp_out);
}

void c_swr_ctx::convert(const uint8_t **aautp_planes, int32_t imp_nb_samples, ca_ffmpeg_buffer &dsp_out)
{
    const int64_t ill_sample_bytes = int64_t{imc_out_sample_size} * imc_out_channels;
    const auto iml_room = static_cast<int32_t>(ill_sample_bytes <= 0 ? 0 : dsp_out.capacity() / ill_sample_bytes);
    uint8_t *autl_out = dsp_out.data();
    const int inl_samples = g_swresample.swr_convert(adsc_swr, &autl_out, std::min(most_out(imp_nb_samples), iml_room),
                                                     aautp_planes, imp_nb_samples);
    if (inl_samples < 0)
        throw_ffmpeg_exception(796, "sample rate conversion failed. err=", inl_samples);
    dsp_out.set_data_size(imc_out_channels * inl_samples * imc_out_sample_size);
}

void c_swr_ctx::convert(const uint8_t *autp_in, uint32_t ump_nb_samples, c_avframe &dsp_out)
{
    TRACE_FUNCTION(3);
    const auto iml_in = static_cast<int32_t>(std::min<uint32_t>(ump_nb_samples, INT_MAX));
    const int inl_samples = g_swresample.swr_convert(adsc_swr, dsp_out->data,
                                                     std::min(dsp_out->nb_samples, most_out(iml_in)), &autp_in, iml_in);
    if (inl_samples < 0)
        throw_ffmpeg_exception(805, "sample rate conversion failed. err=", inl_samples);
    dsp_out->nb_samples = inl_samples;
}
