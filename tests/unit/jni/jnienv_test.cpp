#include "jni/jnienv.h"

#include "jni/array_holders.h"
#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "support/fake_jnienv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <set>

using namespace kiv::jni;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

namespace
{

class jni : public testing::Test
{
protected:
    std::string failure_of(const std::function<void()> &dsp_operation)
    {
        try {
            dsp_operation();
        } catch (const c_jniexception &dsl_exception) {
            return dsl_exception.what();
        }
        return "";
    }

    /** The names that the operations throw, as the class's two files have them: their own, or a literal. */
    static std::set<std::string> names_of_operations()
    {
        const std::regex dsl_checked(R"re((\w+)\([^(){}]*\) const\s*\{[^{}]*\b(?:make|run)\((?:__func__|"([^"]+)"))re");
        std::set<std::string> dsl_names;
        for (const char *strl_name : {"/jni/jnienv.h", "/jni/jnienv.cpp"}) {
            std::ifstream dsl_file(std::string(KIV_SOURCE_DIR) + strl_name);
            const std::string strl_source{std::istreambuf_iterator<char>(dsl_file), {}};
            for (std::sregex_iterator dsl_at(strl_source.begin(), strl_source.end(), dsl_checked);
                 dsl_at != std::sregex_iterator(); ++dsl_at)
                dsl_names.insert((*dsl_at)[2].matched ? (*dsl_at)[2] : (*dsl_at)[1]);
        }
        return dsl_names;
    }

    c_fake_vm dsc_vm;
    c_fake_jnienv dsc_env{dsc_vm};
    c_jnienv dsc_checked{&dsc_env};
    jclass avoc_class = dsc_env.local_class("C");
    jmethodID dsc_method = nullptr; // the fake machine calls none
};

TEST_F(jni, every_operation_reports_its_failure_under_its_own_name)
{
    const jintArray avol_ints = dsc_env.local_ints({1, 2});
    const jbyteArray avol_bytes = dsc_env.local_bytes(2);
    const auto avol_longs = static_cast<jlongArray>(dsc_env.local("[J"));
    const auto avol_shorts = static_cast<jshortArray>(dsc_env.local("[S"));
    const auto avol_objects = static_cast<jobjectArray>(dsc_env.local("[Ljava/lang/Object;"));
    constexpr jint aiml_values[2] = {};
    constexpr jbyte autl_values[2] = {};
    constexpr jlong aill_values[2] = {};
    const jobject avol_null = nullptr;
    struct
    {
        const char *strc_function; // of JNI
        const char *strc_name;
        std::function<void()> run;
    } const dsl_operations[] = {
        {"FindClass", "find_class", [&] { dsc_checked.find_class("C"); }},
        {"GetMethodID", "get_method_id", [&] { dsc_checked.get_method_id(avoc_class, "method", "()V"); }},
        {"GetStaticMethodID", "get_static_method_id",
         [&] { dsc_checked.get_static_method_id(avoc_class, "method", "()V"); }},
        {"NewGlobalRef", "NewGlobalRef", [&] { dsc_checked.NewGlobalRef(avoc_class); }},
        {"NewIntArray", "new_jint_array", [&] { dsc_checked.new_jint_array(1); }},
        {"NewByteArray", "new_jbyte_array", [&] { dsc_checked.new_jbyte_array(1); }},
        {"NewLongArray", "new_jlong_array", [&] { dsc_checked.new_jlong_array(1); }},
        {"NewObjectArray", "new_jobject_array", [&] { dsc_checked.new_jobject_array(1, avoc_class, nullptr); }},
        {"NewStringUTF", "new_jstring_utf", [&] { dsc_checked.new_jstring_utf(""); }},
        {"SetIntArrayRegion", "set_array_region(jint)",
         [&] { dsc_checked.set_array_region(avol_ints, 0, 2, aiml_values); }},
        {"SetByteArrayRegion", "set_array_region(jbyte)",
         [&] { dsc_checked.set_array_region(avol_bytes, 0, 2, autl_values); }},
        {"SetLongArrayRegion", "set_array_region(jlong)",
         [&] { dsc_checked.set_array_region(avol_longs, 0, 2, aill_values); }},
        {"GetArrayLength", "get_array_length", [&] { dsc_checked.get_array_length(avol_ints); }},
        {"GetObjectArrayElement", "get_jobject_array_element",
         [&] { dsc_checked.get_jobject_array_element(avol_objects, 0); }},
        {"SetObjectArrayElement", "set_jobject_array_element",
         [&] { dsc_checked.set_jobject_array_element(avol_objects, 0, avoc_class); }},
        {"CallStaticBooleanMethodV", "call_static_boolean_method",
         [&] { dsc_checked.call_static_boolean_method(avoc_class, dsc_method, 1, avol_null, jlong{2}); }},
        {"CallStaticVoidMethodV", "call_static_void_method",
         [&] { dsc_checked.call_static_void_method(avoc_class, dsc_method, 1, avol_null, jlong{2}); }},
        {"CallIntMethodV", "call_int_method",
         [&] { dsc_checked.call_int_method(avoc_class, dsc_method, 1, avol_null, jlong{2}); }},
        {"CallLongMethodV", "call_long_method",
         [&] { dsc_checked.call_long_method(avoc_class, dsc_method, 1, avol_null, jlong{2}); }},
        {"CallObjectMethodV", "call_object_method",
         [&] { dsc_checked.call_object_method(avoc_class, dsc_method, 1, avol_null, jlong{2}); }},
        {"GetByteArrayElements", "get_array_elements(jbyte)",
         [&] { dsc_checked.get_array_elements(avol_bytes, nullptr); }},
        {"GetShortArrayElements", "get_array_elements(jshort)",
         [&] { dsc_checked.get_array_elements(avol_shorts, nullptr); }},
        {"GetIntArrayElements", "get_array_elements(jint)",
         [&] { dsc_checked.get_array_elements(avol_ints, nullptr); }},
        {"GetPrimitiveArrayCritical", "get_array_critical(jint)",
         [&] { dsc_checked.get_array_critical(avol_ints, nullptr); }},
        {"GetPrimitiveArrayCritical", "get_array_critical(jbyte)",
         [&] { dsc_checked.get_array_critical(avol_bytes, nullptr); }},
    };
    for (const auto &dsl_operation : dsl_operations) {
        SCOPED_TRACE(dsl_operation.strc_name);
        dsc_env.strc_failing = dsl_operation.strc_function;
        EXPECT_EQ(failure_of(dsl_operation.run), dsl_operation.strc_name);
        EXPECT_THAT(dsc_env.take_calls(), Contains(dsl_operation.strc_function));
        EXPECT_NE(dsc_env.take_pending(), "") << "Java sees what the virtual machine raised";
        dsc_env.strc_failing.clear();

        dsc_env.throw_java("E", "earlier");
        EXPECT_EQ(failure_of(dsl_operation.run), dsl_operation.strc_name) << "with an exception pending from before";
        EXPECT_THAT(dsc_env.take_calls(), Not(Contains(dsl_operation.strc_function)));
        EXPECT_EQ(dsc_env.take_pending(), "E: earlier");
    }
    std::set<std::string> dsl_tested;
    for (const auto &dsl_operation : dsl_operations)
        dsl_tested.insert(dsl_operation.strc_name);
    EXPECT_EQ(dsl_tested, names_of_operations());
}

TEST_F(jni, results_that_look_like_failures_are_none)
{
    const auto avol_objects = static_cast<jobjectArray>(dsc_env.local("[Ljava/lang/Object;"));
    EXPECT_EQ(dsc_checked.get_jobject_array_element(avol_objects, 0), nullptr);
    EXPECT_FALSE(dsc_checked.call_static_boolean_method(avoc_class, dsc_method, 1, avoc_class, jlong{2}));
    EXPECT_EQ(dsc_checked.call_int_method(avoc_class, dsc_method, 1, avoc_class, jlong{2}), 0);
    EXPECT_EQ(dsc_checked.NewGlobalRef(nullptr), nullptr);
    jobject avol_global = dsc_checked.NewGlobalRef(avoc_class);
    dsc_checked.delete_global_ref(avol_global);
    EXPECT_EQ(avol_global, nullptr);
    dsc_checked.delete_global_ref(avol_global);
}

// What the machine hands out is a copy, so that Java sees a write only if the release mode says so.
TEST_F(jni, read_only_array_is_never_written_back)
{
    const jintArray avol_array = dsc_env.local_ints({10, 20, 30, 40});
    c_jintarray dsl_array(dsc_checked, avol_array, 3, 1);
    EXPECT_EQ(dsl_array[0], 0) << "not pinned yet";
    dsl_array.pin();
    EXPECT_THAT(dsl_array.elements(), ElementsAre(20, 30, 40));
    EXPECT_EQ(dsl_array[3], 0);
    EXPECT_EQ(dsl_array[-1], 0);
    const_cast<jint &>(dsl_array.elements()[0]) = 99;
    dsc_env.take_calls();
    dsl_array.release();
    dsl_array.release();
    EXPECT_THAT(dsc_env.take_calls(), ElementsAre("ReleasePrimitiveArrayCritical:2"));
    EXPECT_THAT(dsc_env.ints(avol_array), ElementsAre(10, 20, 30, 40));
    dsl_array.pin(); // and is given back by the destructor
}

TEST_F(jni, writable_array_is_written_back_only_after_a_write)
{
    const jintArray avol_array = dsc_env.local_ints({10, 20, 30});
    {
        c_jintarray_rw dsl_array(dsc_checked, avol_array, 2, 1);
        dsl_array.pin();
        dsl_array.set(2, 99); // beyond the view
        dsl_array.set(-1, 99);
        EXPECT_EQ(dsl_array[1], 30);
    }
    EXPECT_THAT(dsc_env.take_calls(), Contains("ReleasePrimitiveArrayCritical:2"));
    {
        c_jintarray_rw dsl_array(dsc_checked, avol_array, 2, 1);
        dsl_array.pin();
        dsl_array.set(0, 21);
        dsl_array.release();
        dsl_array.pin(); // unwritten again
    }
    EXPECT_THAT(dsc_env.take_calls(),
                ElementsAre("ExceptionCheck", "GetArrayLength", "ExceptionCheck", "ExceptionCheck",
                            "GetPrimitiveArrayCritical", "ReleasePrimitiveArrayCritical:0", "ExceptionCheck",
                            "GetPrimitiveArrayCritical", "ReleasePrimitiveArrayCritical:2"));
    const jbyteArray avol_bytes = dsc_env.local_bytes(4);
    {
        c_jbytearray_rw dsl_array(dsc_checked, avol_bytes, 0);
        dsl_array.pin();
        EXPECT_TRUE(dsl_array.writable_elements().empty());
    }
    EXPECT_THAT(dsc_env.take_calls(), Contains("ReleasePrimitiveArrayCritical:2")) << "an empty view has no writes";
    EXPECT_THAT(dsc_env.ints(avol_array), ElementsAre(10, 21, 30));
}

TEST_F(jni, arrays_that_are_null_or_shorter_than_declared)
{
    c_jbytearray dsl_null(dsc_checked, nullptr, 100);
    dsl_null.pin();
    EXPECT_TRUE(dsl_null.elements().empty());
    EXPECT_THAT(dsc_env.take_calls(), Not(Contains(StartsWith("GetPrimitiveArrayCritical"))));
    c_jbytearray dsl_short(dsc_checked, dsc_env.local_bytes(2), INT32_MAX);
    EXPECT_THAT(from_java(dsl_short, 4), ElementsAre(0, 0, 0, 0));
    EXPECT_THROW(from_java(dsl_short, -1), std::bad_alloc);
    const jintArray avol_array = dsc_env.local_ints({1, 2});
    const std::pair<int32_t, int32_t> aiml_views[] = {{18, 0}, {5, 2}, {5, 9}, {-3, 0}, {5, -1}, {INT32_MAX, 1}};
    for (const auto &[iml_count, iml_start] : aiml_views) {
        c_jintarray_rw dsl_array(dsc_checked, avol_array, iml_count, iml_start);
        dsl_array.pin();
        EXPECT_LE(dsl_array.writable_elements().size(), 2U);
        EXPECT_EQ(dsl_array[17], 0);
        dsl_array.set(17, 1); // the guards of the fake machine see it
    }
}

TEST_F(jni, string_characters_are_given_back_only_when_copied)
{
    for (const bool bl_copies : {true, false}) {
        dsc_vm.bc_copies_strings = bl_copies;
        dsc_env.take_calls();
        {
            const c_jstring dsl_string(dsc_checked, dsc_env.local_string("text"));
            EXPECT_STREQ(dsl_string.characters(), "text");
        }
        const auto dsl_calls = dsc_env.take_calls();
        EXPECT_EQ(std::ranges::count(dsl_calls, "ReleaseStringUTFChars"), bl_copies ? 1 : 0);
    }
    EXPECT_EQ(c_jstring(dsc_checked, nullptr).characters(), nullptr);
    dsc_env.strc_failing = "GetStringUTFChars";
    EXPECT_EQ(failure_of([&] { const c_jstring dsl_string(dsc_checked, dsc_env.local_string("")); }),
              "GetStringUTFChars");
    dsc_env.take_pending();
}

} // namespace
