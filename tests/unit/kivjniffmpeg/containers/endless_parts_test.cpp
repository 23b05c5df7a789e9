#include "kivjniffmpeg/containers/endless_parts.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

TEST(endless_parts, are_renamed_however_their_names_are_cut)
{
    using namespace std::string_literals;
    const std::string strl_markers = "\x01\xCD\x87\xF4\x51\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65"s;
    for (const std::string &strl_name : {"LIST\x01\x02\x03\x04ncdt"s, strl_markers})
        for (size_t ull_cut = 0; ull_cut <= strl_name.size(); ++ull_cut) {
            c_endless_parts dsl_parts;
            std::string strl_before = "LIST" + strl_name.substr(0, ull_cut);
            std::string strl_rest = strl_name.substr(ull_cut) + "nctg";
            const auto dsl_rename = [&](std::string &strp_bytes) {
                dsl_parts.rename({reinterpret_cast<uint8_t *>(strp_bytes.data()), strp_bytes.size()});
            };
            dsl_rename(strl_before);
            dsl_rename(strl_rest);
            std::string strl_expected = strl_name;
            strl_expected.back() = '-';
            EXPECT_EQ(strl_before + strl_rest, "LIST" + strl_expected + "nctg") << ull_cut;

            // Bytes of two places are no name.
            strl_before = strl_name.substr(0, 1);
            strl_rest = strl_name.substr(1);
            dsl_rename(strl_before);
            dsl_parts.jump();
            dsl_rename(strl_rest);
            EXPECT_EQ(strl_before + strl_rest, strl_name);
        }
}

} // namespace
