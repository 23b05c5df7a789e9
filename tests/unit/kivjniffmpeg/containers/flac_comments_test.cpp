#include "kivjniffmpeg/containers/flac_comments.h"

#include <gmock/gmock.h>

#include <natives/c_metadata_ffmpeg.h>

#include <string>

namespace
{

using namespace std::string_literals;

/** A block of as many comments of three letters. */
std::string comments(size_t ulp_count)
{
    std::string strl_text = "\2\0\0\0me????"s;
    for (size_t ull_comment = 0; ull_comment < ulp_count; ++ull_comment)
        strl_text += "\3\0\0\0a=b"s;
    const auto by_at = [&](unsigned int unp_shift) { return static_cast<char>(strl_text.size() >> unp_shift); };
    return "\4"s + by_at(16) + by_at(8) + by_at(0) + strl_text;
}

TEST(flac_comments, end_behind_the_last_one_that_ffmpeg_may_have)
{
    constexpr size_t ul_most = natives::c_metadata_ffmpeg::MOST_TAGS;
    const std::string strl_head = "fLaC\0\0\0\3abc"s;
    const std::string strl_film = strl_head + comments(ul_most) + comments(2) + "\x81\0\0\1z"s;
    for (const size_t ull_piece : {1U, 5U, 4096U}) {
        c_flac_comments dsl_comments;
        std::string strl_passed;
        for (size_t ull_at = 0; ull_at < strl_film.size(); ull_at += ull_piece) {
            std::string strl_bytes = strl_film.substr(ull_at, ull_piece);
            dsl_comments.pass({reinterpret_cast<uint8_t *>(strl_bytes.data()), strl_bytes.size()},
                              static_cast<int64_t>(ull_at));
            strl_passed += strl_bytes;
        }
        std::string strl_expected = strl_film;
        strl_expected[strl_head.size() + comments(ul_most).size() + 4 + 10 + 3] = 0x7F; // a length in the second block
        EXPECT_TRUE(strl_passed == strl_expected) << ull_piece;
    }
}

} // namespace
