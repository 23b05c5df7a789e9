#include "trace/trace.h"

#include "support/fake_jnienv.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <thread>

using namespace testing;

namespace
{

thread_local JNIEnv *g_env = nullptr; // what the hook returns for the thread

/** A receiver that keeps its lines. */
class trace : public Test
{
protected:
    trace()
    {
        dsc_vm.dsc_print_info = [this](c_fake_jnienv &dsp_env, jint imp_level, const std::string &strp_line) {
            dsc_lines.emplace_back(imp_level, strp_line);
            if (bc_throws)
                dsp_env.throw_java("java/lang/IllegalStateException", "receiver");
        };
        avoc_receiver = dsc_env.NewGlobalRef(dsc_env.local("Receiver"));
        trace_set_environment_hook([] { return g_env; });
        trace_set_receiver(avoc_receiver, dsc_method);
        g_env = &dsc_env;
    }
    ~trace() override
    {
        trace_forget_receiver();
        trace_set_environment_hook(nullptr);
        g_env = nullptr;
        dsc_env.DeleteGlobalRef(avoc_receiver);
    }

    std::string last_line(const std::string &strp_text)
    {
        trace_print(&dsc_env, 5, "%s", strp_text.c_str());
        return dsc_lines.back().second;
    }

    c_fake_vm dsc_vm;
    c_fake_jnienv dsc_env{dsc_vm};
    jobject avoc_receiver;
    jmethodID dsc_method = reinterpret_cast<jmethodID>(this); // the fake machine knows one
    std::vector<std::pair<jint, std::string>> dsc_lines;
    bool bc_throws = false;
};

TEST_F(trace, line_has_level_indent_and_name)
{
    TRACE_LINE_IN(c_trace("outer", 1), im_level_error, "%s#%s(): n=%d", 7);
    TRACE_LINE_IN(c_trace("accessor", 4), im_level_verbose, "%s#%s(): no values");
    EXPECT_THAT(dsc_lines,
                ElementsAre(Pair(1, "    #outer(): n=7"), Pair(6, "                #accessor(): no values")));
    EXPECT_EQ(dsc_env.umc_locals, 1U) << "a line leaves no local reference behind";
}

TEST_F(trace, line_is_cut_and_well_formed)
{
    const std::string strl_long(510, 'x');
    EXPECT_EQ(last_line(strl_long + "x"), strl_long + "x");
    EXPECT_EQ(last_line(strl_long + strl_long), strl_long + "x");
    EXPECT_EQ(last_line(strl_long + "\xC3\xA9"), strl_long + "?") << "cut in two";
    EXPECT_EQ(last_line("\xC3\xA9 \xE2\x82\xAC"), "\xC3\xA9 \xE2\x82\xAC");
    EXPECT_EQ(last_line("\x80 \xC3( \xE2\x82 \xFF \xC0\xAF \xF0\x9F\x98\x80"), "? ?( ?? ? ?? ????");
}

TEST_F(trace, silence_drops_lines_outside_of_calls_before_they_are_formatted)
{
    g_env = nullptr;
    int inl_evaluated = 0;
    const auto dsl_trace = [&] {
        TRACE_LINE_IN(c_trace("silent", 1), im_level_error, "%s#%s(): n=%d", ++inl_evaluated);
    };
    const auto dsl_silent = [&] {
        trace_silence();
        dsl_trace();
        return inl_evaluated == 0 && !trace_is_wanted();
    };
    const auto dsl_of_a_call = [&] {
        g_env = &dsc_env;
        dsl_trace();
        return dsc_lines.size() == 1;
    };
    // In a process of its own, because silence stays.
    EXPECT_EXIT(std::_Exit(dsl_silent() && dsl_of_a_call() ? 0 : 1), ExitedWithCode(0), "");
}

TEST_F(trace, outside_a_call_lines_go_to_standard_output_without_line_end)
{
    TRACE_SCOPE("outside", 3);
    g_env = nullptr;
    int inl_evaluated = 0;
    internal::CaptureStdout();
    TRACE_LINE(im_level_debug, "%s#%s(): a=%d", ++inl_evaluated);
    TRACE_LINE(im_level_debug, "%s#%s(): %s", "b");
    g_env = &dsc_env;
    trace_forget_receiver();
    TRACE_LINE(im_level_debug, "%s#%s(): a=%d", ++inl_evaluated);
    trace_print(&dsc_env, im_level_debug, "%s", "direct");
    EXPECT_EQ(internal::GetCapturedStdout(), "            #outside(): a=1            #outside(): b");
    EXPECT_EQ(inl_evaluated, 1) << "without a receiver a line costs nothing";
    EXPECT_THAT(dsc_lines, IsEmpty());
}

TEST_F(trace, exception_that_is_pending_stays_and_one_of_the_receiver_becomes_pending)
{
    for (const bool bl_throws : {false, true}) {
        bc_throws = bl_throws;
        dsc_env.throw_java("java/lang/RuntimeException", "first");
        trace_print(&dsc_env, 1, "line");
        EXPECT_EQ(dsc_env.take_pending(), "java/lang/RuntimeException: first");
    }
    trace_print(&dsc_env, 1, "line");
    EXPECT_EQ(dsc_env.take_pending(), "java/lang/IllegalStateException: receiver");
    dsc_env.strc_failing = "NewStringUTF";
    trace_print(&dsc_env, 1, "no memory");
    EXPECT_EQ(dsc_env.take_pending(), "java/lang/OutOfMemoryError: NewStringUTF");
    EXPECT_EQ(dsc_lines.size(), 3U);
    EXPECT_EQ(dsc_env.umc_locals, 1U);
}

// A global reference is deleted as soon as forgetting it returned: no thread may be about to use it then, which the fake
// machine notices.
TEST_F(trace, receiver_is_replaced_while_threads_print)
{
    dsc_vm.dsc_print_info = [](c_fake_jnienv &, jint, const std::string &) {};
    std::vector<std::jthread> dsl_threads;
    for (int inl_thread = 0; inl_thread < 3; ++inl_thread)
        dsl_threads.emplace_back([&](const std::stop_token &dsp_end) {
            c_fake_jnienv dsl_env(dsc_vm);
            g_env = &dsl_env;
            TRACE_SCOPE("thread", 1);
            while (!dsp_end.stop_requested())
                TRACE_LINE(im_level_debug, "%s#%s(): line");
            EXPECT_EQ(dsl_env.umc_locals, 0U);
        });
    for (int inl_round = 0; inl_round < 300; ++inl_round) {
        const jobject avol_next = dsc_env.NewGlobalRef(dsc_env.local("Receiver"));
        trace_set_receiver(avol_next, dsc_method);
        dsc_env.DeleteGlobalRef(std::exchange(avoc_receiver, avol_next));
    }
}

} // namespace
