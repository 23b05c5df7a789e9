// The loader works once per process, so each situation has a process of its own, with stand-ins for the libraries.

#include "kivjniffmpeg/ffmpeg/loader.h"

#include "jni/exceptions.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

using namespace testing;

namespace
{

/** Loads and prints the result on standard error, and which tables are filled: two whole ones, two entries of one. */
void load_and_report(const char *strp_directory)
{
    std::string strl_result = "loaded";
    try {
        ffmpeg_loader::load(strp_directory);
    } catch (const kiv::jni::c_jniexception &dsl_exception) {
        strl_result = dsl_exception.what();
    }
    std::fprintf(stderr, "<%s %d%d %d%d>", strl_result.c_str(), g_avformat.av_register_all != nullptr,
                 g_avutil.avc_handle != nullptr, g_avcodec.av_free_packet != nullptr,
                 g_avcodec.av_init_packet != nullptr);
}

class ffmpeg_loader_test : public Test
{
protected:
    ffmpeg_loader_test() { GTEST_FLAG_SET(death_test_style, "threadsafe"); } // a new process, not a fork of this one
    ~ffmpeg_loader_test() override { std::filesystem::remove_all(dsc_root); }

    /** A directory of stand-ins: all five, but another or none ("") for one of them. */
    std::string make_directory(const std::string &strp_replaced = {}, const std::string &strp_stub = {})
    {
        const char *strl_stubs = std::getenv("KIV_STUB_DIR");
        EXPECT_NE(strl_stubs, nullptr) << "KIV_STUB_DIR must name the directory with the stand-ins";
        const std::filesystem::path dsl_directory = dsc_root / ("without_" + strp_replaced + strp_stub);
        std::filesystem::create_directories(dsl_directory);
        for (const std::string strl_file :
             {"avcodec.so.56", "avformat.so.56", "swresample.so.1", "avutil.so.54", "swscale.so.3"}) {
            const std::string strl_library = strl_file.substr(0, strl_file.find('.'));
            const std::string strl_stub = strl_library == strp_replaced ? strp_stub : strl_library;
            const std::filesystem::path dsl_link = dsl_directory / ("lib" + strl_file);
            if (!strl_stub.empty() && !std::filesystem::exists(dsl_link))
                std::filesystem::create_symlink(std::string(strl_stubs) + "/libstub_" + strl_stub + ".so", dsl_link);
        }
        return dsl_directory;
    }

    // The child runs through the same lines, so the name must be the same for it.
    std::filesystem::path dsc_root =
        std::filesystem::temp_directory_path() /
        (std::string("kivjniffmpeg_") + UnitTest::GetInstance()->current_test_info()->name());
    std::string strc_whole = make_directory();
};

TEST_F(ffmpeg_loader_test, null_directory_means_the_dynamic_linkers_search)
{
    setenv("LD_LIBRARY_PATH", strc_whole.c_str(), 1); // for the child; this process has read it already
    EXPECT_EXIT((load_and_report(nullptr), std::_Exit(0)), ExitedWithCode(0), Eq("<loaded 11 11>"));
}

TEST_F(ffmpeg_loader_test, first_result_stays_whatever_is_named_later)
{
    const std::string strl_empty = make_directory("avcodec");
    const std::string strl_long = "/" + std::string(4085, 'd'); // the file's name is cut after "/libavcod"
    // The directory, how the message begins, what is in it later, and the tables afterwards.
    const std::array<std::string, 4> strl_cases[] = {
        {strc_whole, "<", "", "loaded 11 11"},
        {strl_empty, "error loading libavcodec in " + strl_empty + "/libavcodec.so.56: ", "No such file",
         "failed to initialize ffmpeg 00 00"},
        {strl_long, "error loading libavcodec in " + strl_long + "/libavcod: ", "File name too long",
         "failed to initialize ffmpeg 00 00"},
        {make_directory("swresample"), "error loading libswresample: ", "No such file",
         "failed to initialize ffmpeg 10 11"},
        {make_directory("avcodec", "avcodec_incomplete"), "error searching for libavcodec symbols: ",
         "undefined symbol: av_init_packet", "failed to initialize ffmpeg 00 10"}};
    for (const auto &[strl_directory, strl_message, strl_reason, strl_tables] : strl_cases) {
        const char *strl_later = strl_directory == strc_whole ? "/nowhere" : strc_whole.c_str();
        const std::string strl_result = "<" + strl_tables + ">";
        EXPECT_EXIT((load_and_report(strl_directory.c_str()), load_and_report(strl_later), std::_Exit(0)),
                    ExitedWithCode(0),
                    AllOf(StartsWith(strl_message), HasSubstr(strl_reason), EndsWith(strl_result + strl_result)));
    }
}

} // namespace
