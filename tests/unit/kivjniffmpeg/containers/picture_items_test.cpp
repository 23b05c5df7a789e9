#include "kivjniffmpeg/containers/picture_items.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

using namespace std::string_literals;

/** "iloc" of items of two extents' bytes: number, length. */
std::string located(const std::string &strp_items)
{
    std::string strl_box = "iloc\0\0\0\0\x44\0\0"s + static_cast<char>(strp_items.size() / 2);
    for (size_t ull_item = 0; ull_item < strp_items.size(); ull_item += 2)
        strl_box += "\0"s + strp_items[ull_item] + "\0\0\0\1\0\0\1\7\0\0\0"s + strp_items[ull_item + 1];
    return strl_box;
}

/** "iinf" of pictures, with an old entry before. */
std::string described(const std::string &strp_items)
{
    std::string strl_box = "iinf\0\0\0\0\0"s + static_cast<char>(strp_items.size() + 1) + "\0\0\0\x0Einfe\1\0\0\0??"s;
    for (const char by_item : strp_items)
        strl_box += "\0\0\0\x16infe\2\0\0\0\0"s + by_item + "\0\0av01?\0"s;
    return strl_box;
}

/** What FFmpeg gets, the bytes that were changed in brackets. */
std::string passed(const std::string &strp_bytes, size_t ulp_piece)
{
    c_picture_items dsl_items;
    std::string strl_result;
    for (size_t ull_at = 0; ull_at < strp_bytes.size(); ull_at += ulp_piece) {
        std::string strl_piece = strp_bytes.substr(ull_at, ulp_piece);
        dsl_items.pass({reinterpret_cast<uint8_t *>(strl_piece.data()), strl_piece.size()},
                       static_cast<int64_t>(ull_at));
        for (size_t ull_byte = 0; ull_byte < strl_piece.size(); ++ull_byte)
            if (strl_piece[ull_byte] != strp_bytes[ull_at + ull_byte])
                strl_result += std::to_string(ull_at + ull_byte) + "=" + std::to_string(strl_piece[ull_byte]) + " ";
    }
    return strl_result;
}

TEST(picture_items, without_bytes_are_changed_however_they_are_cut)
{
    std::string strl_no_lengths = located("\1\5");
    strl_no_lengths[8] = 0x40;
    const std::string strl_nested = "iloc\0\0\0\0\x44\0\0\1iloc"s; // the number of an item is a name
    for (const size_t ull_piece : {1U, 3U, 1000U}) {
        EXPECT_EQ(passed(located("\1\5\2\6") + described("\1\2"), ull_piece), "");
        EXPECT_EQ(passed(described("\1\2") + located("\1\5\2\6"), ull_piece), "");
        EXPECT_EQ(passed(located("\1\5\2\0"s), ull_piece), "39=1 ") << "a length of 0";
        EXPECT_EQ(passed(located("\1\5") + described("\1\2"), ull_piece), "91=45 ")
            << "no place, known before its kind";
        EXPECT_EQ(passed(described("\1\2") + located("\1\5"), ull_piece), "85=2 ") << "no place, known afterwards";
        EXPECT_EQ(passed(described("\1") + located(""), ull_piece), "57=1 ") << "no places";
        EXPECT_EQ(passed(described("\1") + located("") + std::string(14, 9), ull_piece), "57=1 63=2 ") << "of no item";
        EXPECT_EQ(passed(strl_no_lengths, ull_piece), "17=2 ") << "no lengths";
        EXPECT_EQ(passed(strl_nested, ull_piece), "15=45 ") << "a box in a box";
    }
}

} // namespace
