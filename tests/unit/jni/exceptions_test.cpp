#include "jni/exceptions.h"

#include "support/fake_jnienv.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>

namespace
{

TEST(exceptions, become_java_exceptions_unless_one_is_pending)
{
    c_fake_vm dsl_vm;
    c_fake_jnienv dsl_env(dsl_vm);
    const kiv::jni::c_jniexception dsl_jni("find_class");
    const c_ffmpeg_exception dsl_ffmpeg("dst buffer == NULL in line 1304");
    dsl_jni.throw_java_exception(&dsl_env);
    EXPECT_EQ(dsl_env.take_pending(), "java/lang/Error: find_class");
    dsl_ffmpeg.throw_java_exception(&dsl_env);
    EXPECT_EQ(dsl_env.take_pending(), "java/lang/RuntimeException: dst buffer == NULL in line 1304");
    for (const kiv::jni::c_jniexception *adsl_exception : {&dsl_jni, static_cast<decltype(&dsl_jni)>(&dsl_ffmpeg)}) {
        dsl_env.throw_java("java/lang/NoClassDefFoundError", "x");
        adsl_exception->throw_java_exception(&dsl_env);
        EXPECT_EQ(dsl_env.take_pending(), "java/lang/NoClassDefFoundError: x");
    }
    EXPECT_EQ(dsl_env.umc_locals, 0U);
    EXPECT_STREQ(kiv::jni::c_jniexception(nullptr).what(), "");

    dsl_env.strc_failing = "FindClass";
    const auto fatal_error_of = [&](const kiv::jni::c_jniexception &dsp_exception) -> std::string {
        try {
            dsp_exception.throw_java_exception(&dsl_env);
        } catch (const std::runtime_error &dsl_fatal) {
            dsl_env.take_pending();
            return dsl_fatal.what();
        }
        return "";
    };
    EXPECT_EQ(fatal_error_of(dsl_jni), "could not find class java/lang/Error");
    EXPECT_EQ(fatal_error_of(dsl_ffmpeg), "could not find class java.lang.RuntimeException");
}

// The numbers are how a message is found in the source: one number, one text.
TEST(exceptions, line_numbers_are_unique_to_their_messages)
{
    std::map<std::string, std::set<std::string>> dsl_texts;
    const std::regex dsl_throw(R"re(throw_ffmpeg_exception\(\s*(\d+),\s*"([^"]*)")re");
    const std::regex dsl_handle(R"re(from_handle<\w+>\([^,]*,\s*"([^"]*)",\s*(\d+)\))re");
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
