/** @file The conversions of texts that FFmpeg asks the C library for. */
#pragma once

#include <iconv.h>

#include <memory>
#include <type_traits>
#include <vector>

/**
 * Keeps the C library's converters loaded while it lives, in this process and in those that are forked from it. Readers of
 * transport streams convert the names of services; the C library reads files for the first converter of a kind, which a
 * worker may not.
 */
class c_character_sets
{
public:
    c_character_sets();

private:
    struct dsd_close
    {
        void operator()(iconv_t avp_converter) const noexcept { iconv_close(avp_converter); }
    };

    std::vector<std::unique_ptr<std::remove_pointer_t<iconv_t>, dsd_close>> dsc_converters;
};
