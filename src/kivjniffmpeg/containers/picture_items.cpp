#include "kivjniffmpeg/containers/picture_items.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace
{

constexpr size_t ul_most_items = 4096;

constexpr uint32_t name(const char (&strp_name)[5])
{
    uint32_t uml_name = 0;
    for (size_t ull_at = 0; ull_at < 4; ++ull_at)
        uml_name = uml_name << 8U | static_cast<uint8_t>(strp_name[ull_at]);
    return uml_name;
}

/** Items of which FFmpeg makes streams, or may do so one day. */
constexpr std::array auml_pictures{name("av01"), name("hvc1"), name("jpeg"), name("avc1"), name("vvc1"), name("j2k1")};

} // namespace

void c_picture_items::dsd_walk::begin(int64_t ilp_position) noexcept
{
    *this = {};
    ilc_begin = ilc_next = ilp_position;
    want(ie_field::ie_head, 4);
}

void c_picture_items::dsd_walk::want(ie_field iep_field, uint32_t ump_bytes) noexcept
{
    iec_field = iep_field;
    umc_left = ump_bytes;
    ulc_value = 0;
}

bool c_picture_items::dsd_walk::take(uint8_t utp_byte, int64_t ilp_position) noexcept
{
    if (ilp_position != ilc_next)
        return false;
    ++ilc_next;
    ulc_value = ulc_value << 8U | utp_byte;
    return --umc_left == 0;
}

void c_picture_items::pass(std::span<uint8_t> utp_bytes, int64_t ilp_position)
{
    if (ilp_position != ilc_position) {
        umc_last = 0;
        for (dsd_walk *adsl_walk : {&dsc_locations, &dsc_descriptions})
            if (ilp_position <= adsl_walk->ilc_begin)
                adsl_walk->end(); // it is read again
    }
    ilc_position = ilp_position;
    for (uint8_t &utl_byte : utp_bytes) {
        umc_last = umc_last << 8U | utl_byte;
        if (umc_last == name("iloc") || umc_last == name("iinf")) {
            dsd_walk &dsl_walk = umc_last == name("iloc") ? dsc_locations : dsc_descriptions;
            if (dsl_walk.at(ilc_position))
                utl_byte = '-';
            else
                dsl_walk.begin(ilc_position + 1);
        }
        if (dsc_locations.take(utl_byte, ilc_position))
            locate(utl_byte);
        if (dsc_descriptions.take(utl_byte, ilc_position))
            describe(utl_byte, ilc_position);
        ++ilc_position;
    }
}

/** A field of "iloc" is complete. */
void c_picture_items::locate(uint8_t &utp_last)
{
    dsd_walk &dsl_walk = dsc_locations;
    switch (dsl_walk.iec_field) {
    case ie_field::ie_head:
        dsl_walk.umc_version = static_cast<uint32_t>(dsl_walk.ulc_value >> 24U);
        dsc_ids.clear();
        bc_refused = false;
        return dsl_walk.want(ie_field::ie_sizes, 2);
    case ie_field::ie_sizes: {
        const auto uml_sizes = static_cast<uint32_t>(dsl_walk.ulc_value);
        umc_offset_bytes = uml_sizes >> 12U;
        umc_length_bytes = uml_sizes >> 8U & 15U;
        // The way to find it from version 1 on, the file that it is in, the base of the offset.
        umc_place_bytes = (dsl_walk.umc_version > 0 ? 4 : 2) + (uml_sizes >> 4U & 15U);
        return dsl_walk.want(ie_field::ie_count, dsl_walk.umc_version < 2 ? 2 : 4);
    }
    case ie_field::ie_count:
        dsl_walk.ulc_items = dsl_walk.ulc_value;
        bc_refused = dsl_walk.ulc_items > ul_most_items;
        if (dsl_walk.ulc_items == 0 && !dsc_pictures.empty()) {
            bc_refused = true;
            dsl_walk.ulc_items = utp_last = 1;
        }
        ++dsl_walk.ulc_items;
        return end_item();
    default:
        return locate_item(utp_last);
    }
}

void c_picture_items::locate_item(uint8_t &utp_last)
{
    dsd_walk &dsl_walk = dsc_locations;
    switch (dsl_walk.iec_field) {
    case ie_field::ie_id:
        if (dsc_ids.size() < ul_most_items)
            dsc_ids.insert(dsl_walk.ulc_value);
        bc_refused |= dsl_walk.ulc_items == 1 && !std::ranges::includes(dsc_ids, dsc_pictures);
        return dsl_walk.want(ie_field::ie_place, umc_place_bytes);
    case ie_field::ie_place:
        return dsl_walk.want(ie_field::ie_extents, 2);
    case ie_field::ie_extents:
        if (!bc_refused && umc_length_bytes > 0)
            return dsl_walk.want(ie_field::ie_extent, umc_offset_bytes + umc_length_bytes);
        utp_last = 2;
        return dsl_walk.end();
    default: {
        // FFmpeg keeps 32 bits.
        const uint32_t uml_bits = 8 * std::min(umc_length_bytes, 4U);
        if ((dsl_walk.ulc_value & ((uint64_t{1} << uml_bits) - 1)) == 0)
            utp_last = 1;
        return end_item();
    }
    }
}

void c_picture_items::end_item()
{
    if (--dsc_locations.ulc_items > 0)
        return dsc_locations.want(ie_field::ie_id, dsc_locations.umc_version < 2 ? 2 : 4);
    dsc_locations.end();
    if (bc_located)
        std::erase_if(dsc_located, [this](uint64_t ulp_id) { return !dsc_ids.contains(ulp_id); });
    else
        dsc_located = dsc_ids;
    bc_located = true;
}

/** A field of "iinf" is complete. */
void c_picture_items::describe(uint8_t &utp_last, int64_t ilp_position)
{
    dsd_walk &dsl_walk = dsc_descriptions;
    switch (dsl_walk.iec_field) {
    case ie_field::ie_head:
        return dsl_walk.want(ie_field::ie_count, dsl_walk.ulc_value >> 24U == 0 ? 2 : 4);
    case ie_field::ie_count:
        dsl_walk.ulc_items = dsl_walk.ulc_value + 1;
        return next_entry(ilp_position + 1);
    case ie_field::ie_entry:
        // The size counts its own 4 bytes and those of the name; FFmpeg takes a smaller one for a huge one.
        ilc_entry_end = ilp_position + 1 + static_cast<uint32_t>((dsl_walk.ulc_value >> 32U) - 8);
        return dsl_walk.want(ie_field::ie_entry_head, 4);
    case ie_field::ie_entry_head:
        dsl_walk.umc_version = static_cast<uint32_t>(dsl_walk.ulc_value >> 24U);
        if (dsl_walk.umc_version < 2)
            return next_entry(ilc_entry_end);
        return dsl_walk.want(ie_field::ie_id, dsl_walk.umc_version > 2 ? 4 : 2);
    case ie_field::ie_id:
        ulc_id = dsl_walk.ulc_value;
        return dsl_walk.want(ie_field::ie_type, 6); // behind the way in which it is protected
    default:
        if (std::ranges::find(auml_pictures, static_cast<uint32_t>(dsl_walk.ulc_value)) != auml_pictures.end()) {
            if (dsc_pictures.size() >= ul_most_items || (bc_located && !dsc_located.contains(ulc_id)))
                utp_last = '-';
            else
                dsc_pictures.insert(ulc_id);
        }
        return next_entry(ilc_entry_end);
    }
}

void c_picture_items::next_entry(int64_t ilp_position)
{
    if (--dsc_descriptions.ulc_items == 0)
        return dsc_descriptions.end();
    dsc_descriptions.ilc_next = ilp_position;
    dsc_descriptions.want(ie_field::ie_entry, 8);
}
