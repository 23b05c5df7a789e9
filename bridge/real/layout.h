/**
 * @file
 * Where the fields of FFmpeg's structures lie that differ between the majors: `layout.frame.width.of(adsl_frame)`.
 */
#pragma once

#include "bridge/real/types.h"

#include <cstddef>
#include <cstdint>

namespace bridge::real
{

/** One field: its place in the structure, and whether this major has it. */
template <class OBJECT, class VALUE> struct dsd_field
{
    int16_t imc_offset;

    bool exists() const noexcept { return imc_offset >= 0; }
    VALUE &of(OBJECT *adsp_object) const noexcept
    {
        return *reinterpret_cast<VALUE *>(reinterpret_cast<std::byte *>(adsp_object) + imc_offset);
    }
    const VALUE &of(const OBJECT *adsp_object) const noexcept
    {
        return *reinterpret_cast<const VALUE *>(reinterpret_cast<const std::byte *>(adsp_object) + imc_offset);
    }
};

#include "bridge/tables/layout_fields.inc"

/** The layout of a major of libavcodec. @return null when the tables do not have it */
const dsd_layout *find_layout(int inp_avcodec_major) noexcept;

} // namespace bridge::real
