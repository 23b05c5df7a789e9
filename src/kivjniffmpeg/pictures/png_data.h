/** @file The compressed pixels of PNG files. */
#pragma once

#include <cstdint>
#include <span>
#include <vector>

/** The rows of an image as a PNG has them before compression: a filter's number, and what the filter makes of the pixels. */
class c_png_rows
{
public:
    /**
     * Takes the filter that leaves smaller numbers in a sample of the rows: the difference to the left or to above.
     *
     * @param aimp_pixels 0xAARRGGBB, row by row; their opacity is left out
     * @param imp_width at least 1; with @p imp_height no more than there are pixels
     * @throws std::bad_alloc
     */
    c_png_rows(std::span<const int32_t> aimp_pixels, int32_t imp_width, int32_t imp_height);

    /** @return the stream of zlib's format for the chunk IDAT. @throws c_ffmpeg_exception, std::bad_alloc */
    std::vector<uint8_t> compress() const;

private:
    std::vector<uint8_t> utc_rows;
};
