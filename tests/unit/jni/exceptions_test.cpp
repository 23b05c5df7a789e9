#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>

namespace
{

// The numbers are how a message is found in the source: one number, one text.
TEST(exceptions, line_numbers_are_unique_to_their_messages)
{
    std::map<std::string, std::set<std::string>> dsl_texts;
    const std::regex dsl_throw(R"re(throw_ffmpeg_exception\(\s*(\d+),\s*"([^"]*)")re");
    const std::regex dsl_handle(R"re((\w+_of(?:<\w+>)?|from_handle<\w+>)\([^()]*,\s*(\d+)\))re");
    for (const auto &dsl_entry : std::filesystem::recursive_directory_iterator(KIV_SOURCE_DIR)) {
        if (!dsl_entry.is_regular_file())
            continue;
        std::ifstream dsl_file(dsl_entry.path());
        const std::string strl_source{std::istreambuf_iterator<char>(dsl_file), {}};
        for (std::sregex_iterator dsl_at(strl_source.begin(), strl_source.end(), dsl_throw), dsl_end; dsl_at != dsl_end;
             ++dsl_at)
            dsl_texts[(*dsl_at)[1]].insert((*dsl_at)[2]);
        for (std::sregex_iterator dsl_at(strl_source.begin(), strl_source.end(), dsl_handle), dsl_end;
             dsl_at != dsl_end; ++dsl_at)
            dsl_texts[(*dsl_at)[2]].insert((*dsl_at)[1]);
    }
    EXPECT_GT(dsl_texts.size(), 30U) << "the pattern does not find the throws any more";
    for (const auto &[strl_number, dsl_messages] : dsl_texts)
        EXPECT_EQ(dsl_messages.size(), 1U)
            << strl_number << " stands for \"" << *dsl_messages.begin() << "\" and \"" << *dsl_messages.rbegin() << '"';
}

} // namespace
