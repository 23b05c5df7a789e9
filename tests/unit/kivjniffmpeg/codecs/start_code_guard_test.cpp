#include "kivjniffmpeg/codecs/start_code_guard.h"

#include <gmock/gmock.h>

using namespace testing;

namespace
{

using bytes = std::vector<uint8_t>;

/** What the decoder gets of a packet; its padding is checked. */
bytes guarded(c_start_code_guard &dsp_guard, const bytes &utp_packet)
{
    const auto utl_bytes = dsp_guard.guard(utp_packet);
    EXPECT_THAT(std::span<const uint8_t>(utl_bytes.data() + utl_bytes.size(), FF_INPUT_BUFFER_PADDING_SIZE), Each(0));
    return {utl_bytes.begin(), utl_bytes.end()};
}

TEST(start_code_guard, withholds_what_may_become_a_start_code)
{
    const std::pair<bytes, ptrdiff_t> dsl_cases[] = {
        {{9, 0}, 1},
        {{9, 0, 0}, 2},
        {{9, 0, 0, 1}, 3},
        {{9, 0, 0, 1, 0xB3}, 0}, // whole
        {{9, 0, 0, 1, 0}, 4},    // whole, but shares its last byte with one that begins
        {{9, 0, 0, 1, 0, 0, 1}, 6},
        {{9, 0, 0, 0x7F}, 0},
        {{9, 0, 0, 0x80}, 3}, // H.263: its third byte has two more bits of the picture's number
        {{9, 0, 0, 0x83}, 3},
        {{9, 0, 0, 0x84}, 0},
        {{9, 0, 0, 2}, 0},
        {{9, 0, 1}, 0},
        {{9, 0, 0, 0}, 2}, // of a run of zeroes the last two
        {{0, 0, 0, 0, 0, 0, 1}, 3},
        {{9, 8, 7}, 0},
    };
    for (const auto &[utl_packet, ull_withheld] : dsl_cases) {
        SCOPED_TRACE(PrintToString(utl_packet));
        c_start_code_guard dsl_guard;
        const auto utl_kept = utl_packet.end() - ull_withheld;
        bytes utl_second(utl_kept, utl_packet.end());
        utl_second.push_back(0xB8);
        EXPECT_EQ(guarded(dsl_guard, utl_packet), bytes(utl_packet.begin(), utl_kept));
        EXPECT_EQ(guarded(dsl_guard, {0xB8}), utl_second) << "what was withheld comes first";
        EXPECT_EQ(guarded(dsl_guard, {7}), bytes{7}) << "and comes once";
    }
}

TEST(start_code_guard, completes_a_start_code_over_many_packets_but_drops_what_no_stream_holds)
{
    c_start_code_guard dsl_guard;
    for (const uint8_t utl_byte : bytes{0, 0, 1})
        EXPECT_THAT(guarded(dsl_guard, {utl_byte}), IsEmpty());
    EXPECT_THAT(guarded(dsl_guard, {0xB3, 5}), ElementsAre(0, 0, 1, 0xB3, 5));
    bytes utl_chain;
    while (utl_chain.size() < c_start_code_guard::ul_longest_start_codes)
        utl_chain.push_back(utl_chain.size() % 3 == 2 ? 1 : 0);
    EXPECT_THAT(guarded(dsl_guard, utl_chain), IsEmpty());
    EXPECT_EQ(guarded(dsl_guard, {9}).size(), 64U + 1);
    utl_chain.push_back(0);
    EXPECT_THAT(guarded(dsl_guard, utl_chain), IsEmpty());
    EXPECT_EQ(guarded(dsl_guard, {9}).size(), 1U) << "too long to be true";
    guarded(dsl_guard, {9, 0, 0, 1});
    dsl_guard.clear();
    EXPECT_EQ(guarded(dsl_guard, {9}), bytes{9});
}

} // namespace
