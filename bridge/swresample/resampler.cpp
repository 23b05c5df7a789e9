// libswresample.so.1: the caller's SwrContext is the bridge's own, because the options for channels have changed.

#include "bridge/old/entry.h"
#include "bridge/old/options.h"

#include <cerrno>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

using bridge::enter;
using bridge::old::dsd_option_class;
using bridge::real::dsd_ffmpeg;

/** The channels of one side as the caller described them. */
struct dsd_channels
{
    uint64_t ulc_layout = 0;
    int inc_count = 0;
};

/** The first field is the class, as for every object with options. Lies in memory of av_malloc. */
struct SwrContext
{
    const dsd_option_class *adsc_class;
    bridge::real::resampler *adsc_resampler;
    dsd_channels dsc_in;
    dsd_channels dsc_out;
};

namespace
{

int set_number(void *avp_resampler, const char *strp_name, int64_t ilp_value)
{
    return enter(AVERROR(ENOSYS), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        auto &dsl_resampler = *static_cast<SwrContext *>(avp_resampler);
        const std::string_view strl_name(strp_name);
        dsd_channels &dsl_side = strl_name.starts_with("in_") ? dsl_resampler.dsc_in : dsl_resampler.dsc_out;
        if (strl_name.ends_with("_channel_layout"))
            dsl_side.ulc_layout = static_cast<uint64_t>(ilp_value);
        else if (strl_name.ends_with("_channel_count"))
            dsl_side.inc_count = static_cast<int>(ilp_value);
        else
            return dsp_ffmpeg.av_opt_set_int(dsl_resampler.adsc_resampler, strp_name, ilp_value, 0);
        return 0;
    });
}

int set_text(void *avp_resampler, const char *strp_name, const char *strp_value)
{
    return enter(AVERROR(ENOSYS), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.av_opt_set(static_cast<SwrContext *>(avp_resampler)->adsc_resampler, strp_name, strp_value,
                                     0);
    });
}

constexpr dsd_option_class s_class{{"SWResampler", {}, nullptr, {}}, &set_text, &set_number};

/** @return 0 or an FFmpeg error */
int set_channels(const dsd_ffmpeg &dsp_ffmpeg, SwrContext &dsp_resampler, const char *strp_option,
                 const dsd_channels &dsp_channels)
{
    bridge::real::channel_layout dsl_layout{};
    if (dsp_channels.ulc_layout == 0)
        dsp_ffmpeg.av_channel_layout_default(&dsl_layout, dsp_channels.inc_count);
    else if (dsp_ffmpeg.av_channel_layout_from_mask(&dsl_layout, dsp_channels.ulc_layout) < 0)
        return AVERROR(EINVAL);
    const int inl_result = dsl_layout.nb_channels <= 0 ? AVERROR(EINVAL)
                                                       : dsp_ffmpeg.av_opt_set_chlayout(dsp_resampler.adsc_resampler,
                                                                                        strp_option, &dsl_layout, 0);
    dsp_ffmpeg.av_channel_layout_uninit(&dsl_layout);
    return inl_result;
}

} // namespace

BRIDGE_ENTRY void swr_free(SwrContext **aadsp_resampler)
{
    if (aadsp_resampler == nullptr || *aadsp_resampler == nullptr)
        return;
    enter([&](const dsd_ffmpeg &dsp_ffmpeg) {
        dsp_ffmpeg.swr_free(&(*aadsp_resampler)->adsc_resampler);
        dsp_ffmpeg.av_freep(aadsp_resampler);
    });
}

BRIDGE_ENTRY SwrContext *swr_alloc(void)
{
    return enter<SwrContext *>(nullptr, [](const dsd_ffmpeg &dsp_ffmpeg) {
        void *avl_memory = dsp_ffmpeg.av_malloc(sizeof(SwrContext));
        if (avl_memory == nullptr)
            throw std::bad_alloc();
        auto *adsl_resampler = std::construct_at(static_cast<SwrContext *>(avl_memory),
                                                 SwrContext{&s_class, dsp_ffmpeg.swr_alloc(), {}, {}});
        if (adsl_resampler->adsc_resampler == nullptr)
            dsp_ffmpeg.av_freep(&adsl_resampler);
        return adsl_resampler;
    });
}

BRIDGE_ENTRY int swr_init(SwrContext *adsp_resampler)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        for (const auto &[strl_option, adsl_channels] :
             {std::pair("in_chlayout", &adsp_resampler->dsc_in), std::pair("out_chlayout", &adsp_resampler->dsc_out)})
            if (const int inl_result = set_channels(dsp_ffmpeg, *adsp_resampler, strl_option, *adsl_channels);
                inl_result < 0)
                return inl_result;
        return dsp_ffmpeg.swr_init(adsp_resampler->adsc_resampler);
    });
}

BRIDGE_ENTRY int64_t swr_get_delay(SwrContext *adsp_resampler, int64_t ilp_base)
{
    return enter<int64_t>(0, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.swr_get_delay(adsp_resampler->adsc_resampler, ilp_base);
    });
}

BRIDGE_ENTRY int swr_convert(SwrContext *adsp_resampler, uint8_t **aautp_out, int inp_room, const uint8_t **aautp_in,
                             int inp_samples)
{
    return enter(AVERROR(EINVAL), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return dsp_ffmpeg.swr_convert(adsp_resampler->adsc_resampler, aautp_out, inp_room, aautp_in, inp_samples);
    });
}
