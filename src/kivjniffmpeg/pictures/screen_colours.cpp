#include "kivjniffmpeg/pictures/screen_colours.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace
{

// Numbers of ITU-T H.273.
constexpr int32_t im_primaries_bt2020 = 9;
constexpr int32_t im_primaries_p3_d65 = 12;
constexpr int32_t im_transfer_pq = 16;
constexpr int32_t im_transfer_hlg = 18;

// cd/m²
constexpr double fl_pq_peak = 10000;
constexpr double fl_usual_peak = 1000;
constexpr double fl_screen_white = 203;

constexpr double fl_hlg_gamma = 1.2; // of the system, for a peak of 1000 cd/m²
constexpr int32_t im_most_value = 65535;
constexpr size_t ul_gains = 4096;

using dsd_matrix = std::array<std::array<float, 3>, 3>;

// From linear light of these primaries to that of BT.709, all with the white D65.
constexpr dsd_matrix s_from_bt2020 = {
    {{1.660491F, -0.587641F, -0.072850F}, {-0.124550F, 1.132900F, -0.008349F}, {-0.018151F, -0.100579F, 1.118730F}}};
constexpr dsd_matrix s_from_p3 = {
    {{1.224940F, -0.224940F, 0.0F}, {-0.042057F, 1.042057F, 0.0F}, {-0.019638F, -0.078636F, 1.098274F}}};

constexpr std::array<float, 3> afl_luminance_bt2020 = {0.2627F, 0.6780F, 0.0593F};
constexpr std::array<float, 3> afl_luminance_bt709 = {0.2126F, 0.7152F, 0.0722F};

float luminance(const std::array<float, 3> &aflp_weights, const std::array<float, 3> &aflp_light) noexcept
{
    return aflp_weights[0] * aflp_light[0] + aflp_weights[1] * aflp_light[1] + aflp_weights[2] * aflp_light[2];
}

// The curve of PQ, SMPTE ST 2084.
constexpr double fl_m1 = 1305.0 / 8192;
constexpr double fl_m2 = 2523.0 / 32;
constexpr double fl_c1 = 107.0 / 128;
constexpr double fl_c2 = 2413.0 / 128;
constexpr double fl_c3 = 2392.0 / 128;

double pq_light(double flp_value) noexcept
{
    const double fll_power = std::pow(flp_value, 1 / fl_m2);
    return fl_pq_peak * std::pow(std::max(fll_power - fl_c1, 0.0) / (fl_c2 - fl_c3 * fll_power), 1 / fl_m1);
}

double pq_value(double flp_light) noexcept
{
    const double fll_power = std::pow(flp_light / fl_pq_peak, fl_m1);
    return std::pow((fl_c1 + fl_c2 * fll_power) / (1 + fl_c3 * fll_power), fl_m2);
}

/** Light of the scene from 0 to 1. */
double hlg_light(double flp_value) noexcept
{
    constexpr double fl_a = 0.17883277;
    constexpr double fl_b = 1 - 4 * fl_a;
    const double fll_c = 0.5 - fl_a * std::log(4 * fl_a);
    return flp_value <= 0.5 ? flp_value * flp_value / 3 : (std::exp((flp_value - fll_c) / fl_a) + fl_b) / 12;
}

double srgb_light(double flp_value) noexcept
{
    return flp_value <= 0.04045 ? flp_value / 12.92 : std::pow((flp_value + 0.055) / 1.055, 2.4);
}

double srgb_value(double flp_light) noexcept
{
    return flp_light <= 0.0031308 ? flp_light * 12.92 : 1.055 * std::pow(flp_light, 1 / 2.4) - 0.055;
}

/** The EETF of ITU-R BT.2390 for a black of 0, in cd/m². */
double compressed(double flp_light, double flp_source_peak) noexcept
{
    if (flp_source_peak <= fl_screen_white)
        return std::min(flp_light, fl_screen_white);
    const double fll_peak = pq_value(flp_source_peak);
    const double fll_most = pq_value(fl_screen_white) / fll_peak;
    const double fll_knee = 1.5 * fll_most - 0.5;
    const double fll_value = std::min(pq_value(flp_light) / fll_peak, 1.0);
    if (fll_value < fll_knee)
        return flp_light;
    const double fll_t = (fll_value - fll_knee) / (1 - fll_knee);
    const double fll_t2 = fll_t * fll_t;
    const double fll_t3 = fll_t2 * fll_t;
    const double fll_spline = (2 * fll_t3 - 3 * fll_t2 + 1) * fll_knee +
                              (fll_t3 - 2 * fll_t2 + fll_t) * (1 - fll_knee) + (3 * fll_t2 - 2 * fll_t3) * fll_most;
    return pq_light(fll_spline * fll_peak);
}

double light_of(int32_t imp_transfer, double flp_value) noexcept
{
    if (imp_transfer == im_transfer_pq)
        return pq_light(flp_value) / fl_screen_white;
    return imp_transfer == im_transfer_hlg ? hlg_light(flp_value) : srgb_light(flp_value);
}

uint16_t value_at(const uint8_t *autp_bytes) noexcept
{
    return static_cast<uint16_t>(autp_bytes[0] | autp_bytes[1] << 8);
}

} // namespace

bool c_screen_colours::are_needed(int32_t imp_primaries, int32_t imp_transfer) noexcept
{
    return imp_primaries == im_primaries_bt2020 || imp_primaries == im_primaries_p3_d65 ||
           imp_transfer == im_transfer_pq || imp_transfer == im_transfer_hlg;
}

c_screen_colours::c_screen_colours(const dsd_source &dsp_source)
    : dsc_source(dsp_source),
      aflc_matrix(dsp_source.imc_primaries == im_primaries_p3_d65 ? s_from_p3 : s_from_bt2020),
      flc_light(im_most_value + 1),
      utc_value(im_most_value + 1)
{
    for (int32_t iml_value = 0; iml_value <= im_most_value; ++iml_value) {
        const double fll_value = std::min(static_cast<double>(iml_value) / dsp_source.imc_most_rgb, 1.0);
        flc_light[static_cast<size_t>(iml_value)] = static_cast<float>(light_of(dsp_source.imc_transfer, fll_value));
        const double fll_light = static_cast<double>(iml_value) / im_most_value;
        utc_value[static_cast<size_t>(iml_value)] = static_cast<uint8_t>(std::lround(255 * srgb_value(fll_light)));
    }
    const bool bl_pq = dsp_source.imc_transfer == im_transfer_pq;
    if (!bl_pq && dsp_source.imc_transfer != im_transfer_hlg)
        return;
    // The system gamma of HLG has made the light that of a screen of the usual peak.
    const double fll_peak = bl_pq && dsp_source.imc_peak > 0
                                ? std::clamp<double>(dsp_source.imc_peak, fl_screen_white, fl_pq_peak)
                                : fl_usual_peak;
    flc_gain.resize(ul_gains + 1);
    for (size_t ull_index = 0; ull_index <= ul_gains; ++ull_index) {
        const double fll_light = fl_pq_peak * std::pow(static_cast<double>(ull_index) / ul_gains, 4);
        flc_gain[ull_index] = static_cast<float>(fll_light == 0 ? 1 : compressed(fll_light, fll_peak) / fll_light);
    }
}

float c_screen_colours::gain(float flp_light) const noexcept
{
    constexpr auto fl_white = static_cast<float>(fl_screen_white / fl_pq_peak);
    const float fll_place = std::sqrt(std::sqrt(std::min(flp_light * fl_white, 1.0F))) * float{ul_gains};
    const auto ull_index = std::min(static_cast<size_t>(fll_place), ul_gains - 1);
    const float fll_part = fll_place - static_cast<float>(ull_index);
    return flc_gain[ull_index] + fll_part * (flc_gain[ull_index + 1] - flc_gain[ull_index]);
}

/** The light of BT.709, from 0 to 1, that stands for that of the picture. */
c_screen_colours::colour c_screen_colours::shown(const colour &aflp_light) const noexcept
{
    float fll_factor = 1;
    if (dsc_source.imc_transfer == im_transfer_hlg) {
        constexpr auto fl_peak = static_cast<float>(fl_usual_peak / fl_screen_white);
        const float fll_luminance = luminance(afl_luminance_bt2020, aflp_light);
        fll_factor = fl_peak * std::pow(fll_luminance, static_cast<float>(fl_hlg_gamma - 1));
    }
    if (!flc_gain.empty())
        fll_factor *= gain(fll_factor * std::ranges::max(aflp_light));
    colour afll_shown{};
    for (size_t ull_row = 0; ull_row < afll_shown.size(); ++ull_row)
        afll_shown[ull_row] = fll_factor * luminance(aflc_matrix[ull_row], aflp_light);
    const float fll_grey = std::min(luminance(afl_luminance_bt709, afll_shown), 1.0F);
    float fll_saturation = 1;
    for (const float fll_colour : afll_shown) {
        if (fll_colour < 0)
            fll_saturation = std::min(fll_saturation, fll_grey / (fll_grey - fll_colour));
        else if (fll_colour > 1)
            fll_saturation = std::min(fll_saturation, (1 - fll_grey) / (fll_colour - fll_grey));
    }
    for (float &fll_colour : afll_shown)
        fll_colour = std::clamp(fll_grey + fll_saturation * (fll_colour - fll_grey), 0.0F, 1.0F);
    return afll_shown;
}

void c_screen_colours::convert(std::span<const uint8_t> utp_rgb, uint8_t *autp_bgra,
                               bool bp_keep_opacity) const noexcept
{
    constexpr size_t ul_pixel = 6;
    constexpr auto fl_most = static_cast<float>(im_most_value);
    constexpr float fl_half = 0.5F; // values are not negative, so cutting them off then rounds them
    for (size_t ull_at = 0; ull_at + ul_pixel <= utp_rgb.size(); ull_at += ul_pixel, autp_bgra += 4) {
        const uint8_t *autl_rgb = utp_rgb.data() + ull_at;
        const colour afll_shown = shown(
            {flc_light[value_at(autl_rgb)], flc_light[value_at(autl_rgb + 2)], flc_light[value_at(autl_rgb + 4)]});
        for (size_t ull_colour = 0; ull_colour < afll_shown.size(); ++ull_colour)
            autp_bgra[2 - ull_colour] = utc_value[static_cast<size_t>(afll_shown[ull_colour] * fl_most + fl_half)];
        if (!bp_keep_opacity)
            autp_bgra[3] = 255;
    }
}
