#include "bridge/real/number_tables.h"

#include <iterator>

extern "C" const bridge::real::dsd_pixel_format av_pix_fmt_descriptors[] = {
#include "bridge/tables/pixel_formats.inc"
};

namespace bridge::real
{

namespace
{

constexpr dsd_codec_name s_codecs[] = {
#include "bridge/tables/codecs.inc"
};
/** Codecs that the 56 line does not tell from others: the newer one's name, and the number of what it takes them for. */
constexpr dsd_codec_name s_merged_codecs[] = {{"adpcm_ima_xbox", AV_CODEC_ID_ADPCM_IMA_WAV, -1}};
static_assert(std::ranges::is_sorted(s_codecs, {}, &dsd_codec_name::inc_number));

} // namespace

std::span<const dsd_pixel_format> pixel_formats() noexcept
{
    return av_pix_fmt_descriptors;
}

dsd_numbers match_numbers(const dsd_ffmpeg &dsp_ffmpeg)
{
    dsd_numbers dsl_numbers{.dsc_codecs = s_codecs, .dsc_formats = pixel_formats()};
    for (const dsd_codec_name &dsl_codec : s_codecs)
        if (const auto *adsl_real = dsp_ffmpeg.avcodec_descriptor_get_by_name(dsl_codec.strc_name);
            adsl_real != nullptr)
            dsl_numbers.dsc_codec_map.add(dsl_codec.inc_number, adsl_real->id);
    for (const dsd_codec_name &dsl_codec : s_merged_codecs)
        if (const auto *adsl_real = dsp_ffmpeg.avcodec_descriptor_get_by_name(dsl_codec.strc_name);
            adsl_real != nullptr)
            dsl_numbers.dsc_codec_map.rename(adsl_real->id, dsl_codec.inc_number);
    for (size_t ull_format = 0; ull_format < dsl_numbers.dsc_formats.size(); ++ull_format) {
        const char *strl_name = dsl_numbers.dsc_formats[ull_format].name;
        const int inl_real = strl_name == nullptr ? AV_PIX_FMT_NONE : dsp_ffmpeg.av_get_pix_fmt(strl_name);
        if (inl_real != AV_PIX_FMT_NONE)
            dsl_numbers.dsc_format_map.add(static_cast<int>(ull_format), inl_real);
    }
    return dsl_numbers;
}

} // namespace bridge::real
