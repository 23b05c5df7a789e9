#include "kivjniffmpeg/entries/native_call.h"

#include "support/fake_jnienv.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <thread>
#include <tuple>

TEST(native_call, every_exception_becomes_its_java_exception)
{
    c_ffmpeg::static_init();
    c_fake_vm dsl_vm;
    c_fake_jnienv dsl_env(dsl_vm);
    // What is thrown, what Java gets, and whether it yields to an exception that is pending already.
    const std::tuple<std::function<void()>, const char *, bool> dsl_cases[] = {
        {[] { throw kiv::jni::c_jniexception("find_class"); }, "java/lang/Error: find_class", true},
        {[] { throw_ffmpeg_exception(1304, "dst"); }, "java/lang/RuntimeException: dst in line 1304", true},
        {[] { throw std::bad_alloc(); }, "java/lang/OutOfMemoryError: thrown from native code", false},
        {[] { throw std::bad_array_new_length(); }, "java/lang/OutOfMemoryError: thrown from native code", false},
        {[] { throw std::invalid_argument("imp_lendata"); }, "java/lang/Error: imp_lendata", false},
        {[] { throw 5; }, "java/lang/Error: (null)", false},
    };
    for (const auto &[fail, strl_java, bl_yields] : dsl_cases) {
        for (const bool bl_pending : {false, true}) {
            const jint iml_result = enter_library(&dsl_env, [&](kiv::jni::c_jnienv &) -> jint {
                EXPECT_EQ(c_ffmpeg::get_thread_env(), &dsl_env);
                if (bl_pending)
                    dsl_env.throw_java("E", "earlier");
                fail();
                return 7;
            });
            EXPECT_EQ(iml_result, 0);
            EXPECT_EQ(dsl_env.take_pending(), bl_pending && bl_yields ? "E: earlier" : strl_java);
            EXPECT_EQ(c_ffmpeg::get_thread_env(), nullptr);
        }
    }
    EXPECT_EQ(dsl_env.umc_locals, 0U);
    EXPECT_EQ(enter_library(&dsl_env, [](kiv::jni::c_jnienv &) -> jint { return 7; }), 7);
}

TEST(native_call, registrations_nest_and_belong_to_their_thread)
{
    c_ffmpeg::static_init();
    c_fake_vm dsl_vm;
    c_fake_jnienv dsl_outer(dsl_vm);
    c_fake_jnienv dsl_inner(dsl_vm);
    enter_library(&dsl_outer, [&](kiv::jni::c_jnienv &) {
        std::thread([] { EXPECT_EQ(c_ffmpeg::get_thread_env(), nullptr); }).join();
        enter_library(&dsl_inner, [](kiv::jni::c_jnienv &) {}); // Java called us from a callback
        EXPECT_EQ(c_ffmpeg::get_thread_env(), &dsl_outer);
    });
}
