#include "bridge/real/layout.h"

#include <algorithm>
#include <iterator>

namespace bridge::real
{

namespace
{

constexpr dsd_layout s_layouts[] = {
#include "bridge/tables/layouts.inc"
};

} // namespace

const dsd_layout *find_layout(int inp_avcodec_major) noexcept
{
    const auto *adsl_found = std::ranges::find(s_layouts, inp_avcodec_major, &dsd_layout::inc_avcodec);
    return adsl_found == std::end(s_layouts) ? nullptr : adsl_found;
}

} // namespace bridge::real
