// The loader works once per process, so each situation has a process of its own, with stand-ins for the libraries.

#include "kivjniffmpeg/ffmpeg/loader.h"

#include "jni/exceptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <unistd.h>

using testing::AllOf;
using testing::EndsWith;
using testing::Eq;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

const std::string strg_refused = "<failed to initialize ffmpeg>";

/** Loads and tells on standard error what came of it, among the loader's own messages. */
void load_and_tell(const char *strp_directory)
{
    try {
        ffmpeg_loader::load(strp_directory);
        std::fputs("<loaded>", stderr);
    } catch (const kiv::jni::c_jniexception &dsl_exception) {
        std::fprintf(stderr, "<%s>", dsl_exception.what());
    }
}

[[noreturn]] void load_twice(const std::string &strp_first, const std::string &strp_second)
{
    load_and_tell(strp_first.c_str());
    load_and_tell(strp_second.c_str());
    _exit(0);
}

class ffmpeg_loader_test : public testing::Test
{
protected:
    ffmpeg_loader_test()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe"); // a new process, not a fork of this one
        std::filesystem::create_directories(dsc_root);
        strc_whole = make_directory("whole");
    }
    ~ffmpeg_loader_test() override { std::filesystem::remove_all(dsc_root); }

    /** A directory of stand-ins: all five but for those that are replaced by another, or left out ("" for the name). */
    std::string make_directory(const std::string &strp_name, std::map<std::string, std::string> dsp_instead = {})
    {
        const char *strl_stubs = std::getenv("KIV_STUB_DIR");
        EXPECT_NE(strl_stubs, nullptr) << "KIV_STUB_DIR must name the directory with the stand-ins";
        const std::pair<std::string, std::string> strl_files[] = {
            {"avcodec", ".56"}, {"avformat", ".56"}, {"swresample", ".1"}, {"avutil", ".54"}, {"swscale", ".3"}};
        std::filesystem::create_directories(dsc_root / strp_name);
        for (const auto &[strl_library, strl_version] : strl_files) {
            const auto dsl_other = dsp_instead.find(strl_library);
            const std::string strl_stub = dsl_other == dsp_instead.end() ? strl_library : dsl_other->second;
            const auto dsl_link = dsc_root / strp_name / ("lib" + strl_library + ".so" + strl_version);
            if (!strl_stub.empty() && !std::filesystem::exists(dsl_link))
                std::filesystem::create_symlink(std::string(strl_stubs) + "/libstub_" + strl_stub + ".so", dsl_link);
        }
        return dsc_root / strp_name;
    }

    // The child runs through the same lines, so the name must be the same for it.
    std::filesystem::path dsc_root =
        std::filesystem::temp_directory_path() /
        (std::string("kivjniffmpeg_") + testing::UnitTest::GetInstance()->current_test_info()->name());
    std::string strc_whole;
};

TEST_F(ffmpeg_loader_test, loads_once_whatever_is_named_later)
{
    EXPECT_EXIT(load_twice(strc_whole, "/nowhere"), ExitedWithCode(0), Eq("<loaded><loaded>"));
}

TEST_F(ffmpeg_loader_test, null_directory_means_the_dynamic_linkers_search)
{
    const char *strl_before = std::getenv("LD_LIBRARY_PATH");
    setenv("LD_LIBRARY_PATH", strc_whole.c_str(), 1); // for the child
    EXPECT_EXIT((load_and_tell(nullptr), _exit(0)), ExitedWithCode(0), Eq("<loaded>"));
    strl_before == nullptr ? unsetenv("LD_LIBRARY_PATH") : setenv("LD_LIBRARY_PATH", strl_before, 1);
}

TEST_F(ffmpeg_loader_test, first_library_missing_is_told_once_with_its_file)
{
    const std::string strl_empty = make_directory("empty", {{"avcodec", ""}});
    EXPECT_EXIT(load_twice(strl_empty, strc_whole), ExitedWithCode(0),
                AllOf(StartsWith("error loading libavcodec in " + strl_empty + "/libavcodec.so.56: "),
                      HasSubstr("No such file"), EndsWith("\n" + strg_refused + strg_refused)));
}

TEST_F(ffmpeg_loader_test, middle_library_missing_is_told_once_and_never_tried_again)
{
    const std::string strl_without = make_directory("without", {{"swresample", ""}});
    EXPECT_EXIT(load_twice(strl_without, strc_whole), ExitedWithCode(0),
                AllOf(StartsWith("error loading libswresample: "), EndsWith("\n" + strg_refused + strg_refused)));
    EXPECT_EXIT(
        {
            load_and_tell(strl_without.c_str());
            const bool bl_kept = g_avformat.av_register_all != nullptr && g_swresample.avc_handle == nullptr &&
                                 g_avutil.avc_handle == nullptr;
            _exit(bl_kept ? 0 : 1);
        },
        ExitedWithCode(0), HasSubstr(strg_refused));
}

TEST_F(ffmpeg_loader_test, library_that_lacks_a_function_fails_now_and_later)
{
    const std::string strl_incomplete = make_directory("incomplete", {{"avcodec", "avcodec_incomplete"}});
    EXPECT_EXIT(load_twice(strl_incomplete, strc_whole), ExitedWithCode(0),
                AllOf(StartsWith("error searching for libavcodec symbols: "), HasSubstr("av_init_packet"),
                      EndsWith("\n" + strg_refused + strg_refused)));
    EXPECT_EXIT(
        {
            load_and_tell(strl_incomplete.c_str());
            const bool bl_kept = g_avcodec.avc_handle != nullptr && g_avcodec.av_free_packet != nullptr &&
                                 g_avcodec.av_init_packet == nullptr && g_avcodec.avcodec_decode_audio4 == nullptr;
            _exit(bl_kept ? 0 : 1);
        },
        ExitedWithCode(0), HasSubstr(strg_refused));
}

TEST_F(ffmpeg_loader_test, too_long_a_path_is_cut)
{
    const std::string strl_long = "/" + std::string(4085, 'd'); // the file's name is cut after "/libavcod"
    const std::string strl_tried = (strl_long + "/libavcodec.so.56").substr(0, 4095);
    EXPECT_EXIT(load_twice(strl_long, strc_whole), ExitedWithCode(0),
                AllOf(StartsWith("error loading libavcodec in " + strl_tried + ": "), Not(HasSubstr("libavcodec.so")),
                      EndsWith("\n" + strg_refused + strg_refused)));
}

} // namespace
