#include "worker/character_sets.h"

#include <cstdint>

namespace
{

/** Those of names in transport streams: ETSI EN 300 468, annex A. */
constexpr const char *s_names[] = {
    "ISO6937",     "ISO-8859-1", "ISO-8859-2", "ISO-8859-3",  "ISO-8859-4",  "ISO-8859-5",  "ISO-8859-6",
    "ISO-8859-7",  "ISO-8859-8", "ISO-8859-9", "ISO-8859-10", "ISO-8859-11", "ISO-8859-13", "ISO-8859-14",
    "ISO-8859-15", "UCS-2BE",    "KSC_5601",   "GB2312",      "UTF-16BE",    "BIG5",        "UTF-8"};

} // namespace

c_character_sets::c_character_sets()
{
    for (const char *strl_name : s_names)
        // A C library may lack some. FFmpeg then leaves such names out.
        if (iconv_t avl_converter = iconv_open("UTF-8", strl_name); reinterpret_cast<intptr_t>(avl_converter) != -1)
            dsc_converters.emplace_back(avl_converter);
}
