#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

namespace
{

std::string content_of(const std::filesystem::path &dsp_path)
{
    std::ifstream dsl_file(dsp_path);
    return {std::istreambuf_iterator<char>(dsl_file), {}};
}

// Callers and support know a message by its number. The list beside this file says which text, which function that
// refuses a zero handle, or which option that cannot be set has which number. It changes only when a message is new or
// gone.
TEST(exceptions, messages_keep_their_numbers)
{
    std::set<std::string> dsl_found;
    for (const char *strl_pattern :
         {R"re(throw_ffmpeg_exception\(\s*(\d+),\s*"([^"]*)")re", R"re((\w+_of)(?:<\w+>)?\([^()]*[,=]\s*(\d+)\))re",
          R"re("(ilp_\w+ == 0)",\s*(\d+)\))re", R"re(set_option\(\w+, "?(\w+)"?, \w+, (\d+)\))re",
          R"re(function=(\w+) line=(\d+))re"}) {
        const std::regex dsl_pattern(strl_pattern);
        for (const auto &dsl_entry : std::filesystem::recursive_directory_iterator(KIV_SOURCE_DIR)) {
            const std::string strl_source = dsl_entry.is_regular_file() ? content_of(dsl_entry.path()) : "";
            for (std::sregex_iterator dsl_at(strl_source.begin(), strl_source.end(), dsl_pattern), dsl_end;
                 dsl_at != dsl_end; ++dsl_at)
                dsl_found.insert(std::isdigit(*(*dsl_at)[1].first) ? dsl_at->format("$1 $2") : dsl_at->format("$2 $1"));
        }
    }
    std::string strl_messages;
    for (const std::string &strl_message : dsl_found)
        strl_messages += strl_message + "\n";
    EXPECT_EQ(strl_messages, content_of(KIV_SOURCE_DIR "/../tests/unit/jni/messages.txt"));
}

} // namespace
