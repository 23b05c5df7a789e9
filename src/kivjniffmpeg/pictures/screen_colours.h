/** @file The colours of an ordinary screen for pictures that were made for better ones. */
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

/**
 * Turns RGB of high dynamic range (PQ and HLG, ITU-R BT.2100) and of wide gamuts (BT.2020, P3) into sRGB.
 *
 * 1. Values become light: by the curve of PQ, or by that of HLG and its system gamma for a screen of 1000 cd/m². The light of
 *    other pictures is that of the sRGB curve, so that their greys do not change.
 * 2. The range is compressed by the curve of ITU-R BT.2390 (EETF), from the brightest light that a picture in PQ is made for,
 *    or else from 1000 cd/m², as most are, to 203 cd/m², the white of ITU-R BT.2408. It is applied to the largest of the three colours, and the others keep their
 *    ratio to it, and so the hue.
 * 3. Linear light gets the primaries of BT.709 (ITU-R BT.2087). A colour that these cannot show is mixed with the grey of
 *    the same luminance until they can.
 * 4. Light becomes values by the curve of sRGB (IEC 61966-2-1).
 *
 * Immutable.
 */
class c_screen_colours
{
public:
    /** Whether pictures of these colours need it, by FFmpeg's numbers, which are those of ITU-T H.273. */
    static bool are_needed(int32_t imp_primaries, int32_t imp_transfer) noexcept;

    /** What pictures have in common that become those of a screen by the same tables. */
    struct dsd_source
    {
        int32_t imc_primaries;
        int32_t imc_transfer;
        int32_t imc_peak;     /**< the brightest light, in cd/m²; 0 when unknown */
        int32_t imc_most_rgb; /**< the value of 16 bits that stands for the most light */

        bool operator==(const dsd_source &) const = default;
    };

    /** Computes the tables. @throws std::bad_alloc */
    explicit c_screen_colours(const dsd_source &dsp_source);

    const dsd_source &source() const noexcept { return dsc_source; }

    /**
     * Converts a row.
     *
     * @param utp_rgb red, green and blue of each pixel in 16 bits, low byte first, as libswscale makes them
     * @param autp_bgra as many pixels of blue, green, red and opacity
     * @param bp_keep_opacity false to make the pixels opaque
     */
    void convert(std::span<const uint8_t> utp_rgb, uint8_t *autp_bgra, bool bp_keep_opacity) const noexcept;

private:
    using colour = std::array<float, 3>;

    colour shown(const colour &aflp_light) const noexcept;
    float gain(float flp_light) const noexcept;

    dsd_source dsc_source;
    std::array<colour, 3> aflc_matrix;
    std::vector<float> flc_light;   // by value; 1 is the white of the screen, and of HLG that of the scene
    std::vector<float> flc_gain;    // of the compression, by the fourth root of light; empty when there is none
    std::vector<uint8_t> utc_value; // by light from 0 to 1
};
