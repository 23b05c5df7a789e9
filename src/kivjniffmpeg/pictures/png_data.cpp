#include "kivjniffmpeg/pictures/png_data.h"

#include "jni/exceptions.h"

#include <libdeflate.h>
#include <libyuv.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace
{

constexpr size_t ul_pixel = 3;
constexpr int32_t im_sampled_rows = 32;
/** Twice as fast as zlib's quickest level, and smaller. The next level takes half as long again for a twentieth less. */
constexpr int in_level = 1;

/** PNG's numbers. */
enum ie_filter : uint8_t
{
    ie_left = 1,
    ie_above = 2
};

struct dsd_compressor_deleter
{
    void operator()(libdeflate_compressor *adsp_compressor) const noexcept
    {
        libdeflate_free_compressor(adsp_compressor);
    }
};

/** Two rows of red, green and blue, behind a pixel of zeros. */
class c_two_rows
{
public:
    c_two_rows(std::span<const int32_t> aimp_pixels, int32_t imp_width)
        : aimc_pixels(aimp_pixels), imc_width(imp_width), ulc_bytes(ul_pixel * static_cast<size_t>(imp_width))
    {
        for (auto &utl_row : autc_rows)
            utl_row.resize(ul_pixel + ulc_bytes);
    }

    /** Reads a row; the one before it was read before. */
    void read(int32_t imp_row)
    {
        autc_rows[0].swap(autc_rows[1]);
        const auto *autl_pixels = reinterpret_cast<const uint8_t *>(
            aimc_pixels.subspan(static_cast<size_t>(imp_row) * static_cast<size_t>(imc_width)).data());
        libyuv::ARGBToRAW(autl_pixels, 0, autc_rows[1].data() + ul_pixel, 0, imc_width, 1);
    }

    size_t size() const noexcept { return ulc_bytes; }
    const uint8_t *bytes() const noexcept { return autc_rows[1].data() + ul_pixel; }
    /** What a filter takes away from bytes(). */
    const uint8_t *reference(ie_filter iep_filter) const noexcept
    {
        return iep_filter == ie_left ? autc_rows[1].data() : autc_rows[0].data() + ul_pixel;
    }

private:
    std::span<const int32_t> aimc_pixels;
    int32_t imc_width;
    size_t ulc_bytes;
    std::array<std::vector<uint8_t>, 2> autc_rows;
};

/** @return how far the filtered bytes are from 0 */
size_t size_of_filtered(const c_two_rows &dsp_rows, ie_filter iep_filter)
{
    const uint8_t *autl_bytes = dsp_rows.bytes();
    const uint8_t *autl_reference = dsp_rows.reference(iep_filter);
    size_t ull_sum = 0;
    for (size_t ull_at = 0; ull_at < dsp_rows.size(); ++ull_at)
        ull_sum += static_cast<size_t>(std::abs(static_cast<int8_t>(autl_bytes[ull_at] - autl_reference[ull_at])));
    return ull_sum;
}

ie_filter choose_filter(std::span<const int32_t> aimp_pixels, int32_t imp_width, int32_t imp_height)
{
    c_two_rows dsl_rows(aimp_pixels, imp_width);
    size_t ull_left = 0;
    size_t ull_above = 0;
    for (int32_t iml_row = 1; iml_row < imp_height; iml_row += std::max(1, imp_height / im_sampled_rows)) {
        dsl_rows.read(iml_row - 1);
        dsl_rows.read(iml_row);
        ull_left += size_of_filtered(dsl_rows, ie_left);
        ull_above += size_of_filtered(dsl_rows, ie_above);
    }
    return ull_left < ull_above ? ie_left : ie_above;
}

} // namespace

c_png_rows::c_png_rows(std::span<const int32_t> aimp_pixels, int32_t imp_width, int32_t imp_height)
{
    const ie_filter iel_filter = choose_filter(aimp_pixels, imp_width, imp_height);
    c_two_rows dsl_rows(aimp_pixels, imp_width);
    utc_rows.resize((1 + dsl_rows.size()) * static_cast<size_t>(imp_height));
    uint8_t *autl_to = utc_rows.data();
    for (int32_t iml_row = 0; iml_row < imp_height; ++iml_row) {
        dsl_rows.read(iml_row);
        *autl_to++ = iel_filter;
        std::transform(
            dsl_rows.bytes(), dsl_rows.bytes() + dsl_rows.size(), dsl_rows.reference(iel_filter), autl_to,
            [](uint8_t utp_byte, uint8_t utp_reference) { return static_cast<uint8_t>(utp_byte - utp_reference); });
        autl_to += dsl_rows.size();
    }
}

std::vector<uint8_t> c_png_rows::compress() const
{
    const std::unique_ptr<libdeflate_compressor, dsd_compressor_deleter> dsl_compressor(
        libdeflate_alloc_compressor(in_level));
    if (dsl_compressor == nullptr)
        throw std::bad_alloc();
    std::vector<uint8_t> utl_data(libdeflate_zlib_compress_bound(dsl_compressor.get(), utc_rows.size()));
    utl_data.resize(libdeflate_zlib_compress(dsl_compressor.get(), utc_rows.data(), utc_rows.size(), utl_data.data(),
                                             utl_data.size()));
    if (utl_data.size() > INT_MAX)
        throw_ffmpeg_exception(1991, "no array holds the compressed image");
    return utl_data;
}
