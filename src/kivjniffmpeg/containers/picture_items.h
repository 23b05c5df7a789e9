/** @file Keeps pictures without bytes from FFmpeg's reader of AVIF and HEIF. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <span>

/**
 * Follows the boxes "iloc", which states where the items of a file lie, and "iinf", which states what they are, as their bytes
 * pass in pieces of any size. FFmpeg 8.0 follows a null pointer when an item that is a picture has a length of 0 there, or
 * none at all, because "iloc" does not list it.
 *
 * So that FFmpeg never sees such an item, the bytes are changed: a length of 0 becomes 1, a picture that the boxes before do
 * not locate gets an unknown type, and where neither is possible any more, an item gets two extents, which FFmpeg refuses.
 * While one box is followed, another one of its kind loses its name. FFmpeg compares each item with all others, so it gets
 * a few thousand at most.
 */
class c_picture_items
{
public:
    /**
     * Changes the bytes on their way to FFmpeg.
     *
     * @param ilp_position where they begin in the file
     * @throws std::bad_alloc
     */
    void pass(std::span<uint8_t> utp_bytes, int64_t ilp_position);

private:
    /** What a field of a box states. */
    enum class ie_field : uint8_t
    {
        ie_head, /**< version and flags */
        ie_sizes,
        ie_count,
        ie_id,
        ie_place,
        ie_extents,
        ie_extent,
        ie_entry,
        ie_entry_head,
        ie_type,
    };

    /** The way through a box, field by field. */
    struct dsd_walk
    {
        bool at(int64_t ilp_position) const noexcept { return ilc_next >= ilp_position; }
        void begin(int64_t ilp_position) noexcept;
        void want(ie_field iep_field, uint32_t ump_bytes) noexcept;
        /** @return whether the byte completes the field */
        bool take(uint8_t utp_byte, int64_t ilp_position) noexcept;
        void end() noexcept { ilc_next = -1; }

        int64_t ilc_begin = -1;
        int64_t ilc_next = -1; // -1 outside of the box
        ie_field iec_field = ie_field::ie_head;
        uint32_t umc_left = 0;
        uint64_t ulc_value = 0;
        uint32_t umc_version = 0;
        uint64_t ulc_items = 0; // that still come
    };
    using c_ids = std::set<uint64_t>;

    void locate(uint8_t &utp_last);
    void locate_item(uint8_t &utp_last);
    void end_item();
    void describe(uint8_t &utp_last, int64_t ilp_position);
    void next_entry(int64_t ilp_position);

    int64_t ilc_position = 0; // of the next byte
    uint32_t umc_last = 0;    // the bytes before it
    dsd_walk dsc_locations;
    uint32_t umc_place_bytes = 0;
    uint32_t umc_offset_bytes = 0;
    uint32_t umc_length_bytes = 0;
    bool bc_refused = false; // FFmpeg must not read the box to its end
    c_ids dsc_ids;           // in this box
    c_ids dsc_located;       // in each of those before
    bool bc_located = false;
    dsd_walk dsc_descriptions;
    int64_t ilc_entry_end = 0;
    uint64_t ulc_id = 0;
    c_ids dsc_pictures;
};
