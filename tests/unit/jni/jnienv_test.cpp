#include "jni/jnienv.h"

#include "jni/array_holders.h"
#include "jni/java_arrays.h"
#include "jni/string_holder.h"
#include "support/fake_jnienv.h"

#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <tuple>

using namespace kiv::jni;
using namespace testing;

namespace
{

class jni : public testing::Test
{
protected:
    /** The modes of all releases of arrays since the last look. */
    std::string release_modes()
    {
        std::string strl_modes;
        for (const std::string &strl_call : dsc_env.take_calls())
            if (strl_call.starts_with("ReleasePrimitiveArrayCritical:"))
                strl_modes += strl_call.back();
        return strl_modes;
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
    const auto avol_longs = dsc_env.local<jlongArray>("[J");
    const auto avol_shorts = dsc_env.local<jshortArray>("[S");
    const auto avol_objects = dsc_env.local<jobjectArray>("[L");
    // The name that the operation throws, the function of JNI, and the operation's call.
#define OPERATION(called, name, call) std::pair(name, std::pair(#called, [&] { dsc_checked.call; }))
#define CALL(type, name) OPERATION(Call##type##MethodV, #name, name(avoc_class, dsc_method, 1, nullptr))
    const std::map<std::string, std::pair<std::string, std::function<void()>>> dsl_operations = {
        OPERATION(FindClass, "find_class", find_class("C")),
        OPERATION(GetMethodID, "get_method_id", get_method_id(avoc_class, "method", "()V")),
        OPERATION(GetStaticMethodID, "get_static_method_id", get_static_method_id(avoc_class, "method", "()V")),
        OPERATION(NewGlobalRef, "NewGlobalRef", NewGlobalRef(avoc_class)),
        OPERATION(NewIntArray, "new_jint_array", new_jint_array(1)),
        OPERATION(NewByteArray, "new_jbyte_array", new_jbyte_array(1)),
        OPERATION(NewLongArray, "new_jlong_array", new_jlong_array(1)),
        OPERATION(NewDirectByteBuffer, "new_direct_buffer", new_direct_buffer({})),
        OPERATION(NewObjectArray, "new_jobject_array", new_jobject_array(1, avoc_class, nullptr)),
        OPERATION(NewStringUTF, "new_jstring_utf", new_jstring_utf("")),
        OPERATION(SetIntArrayRegion, "set_array_region(jint)", set_array_region(avol_ints, 0, 0, nullptr)),
        OPERATION(SetByteArrayRegion, "set_array_region(jbyte)", set_array_region(avol_bytes, 0, 0, nullptr)),
        OPERATION(GetIntArrayRegion, "get_array_region(jint)", get_array_region(avol_ints, 0, 0, nullptr)),
        OPERATION(GetByteArrayRegion, "get_array_region(jbyte)", get_array_region(avol_bytes, 0, 0, nullptr)),
        OPERATION(GetLongArrayRegion, "get_array_region(jlong)", get_array_region(avol_longs, 0, 0, nullptr)),
        OPERATION(SetLongArrayRegion, "set_array_region(jlong)", set_array_region(avol_longs, 0, 0, nullptr)),
        OPERATION(GetObjectArrayElement, "get_jobject_array_element", get_jobject_array_element(avol_objects, 0)),
        OPERATION(SetObjectArrayElement, "set_jobject_array_element",
                  set_jobject_array_element(avol_objects, 0, avoc_class)),
        CALL(StaticBoolean, call_static_boolean_method),
        CALL(StaticVoid, call_static_void_method),
        CALL(Int, call_int_method),
        CALL(Long, call_long_method),
        CALL(Object, call_object_method),
        OPERATION(GetByteArrayElements, "get_array_elements(jbyte)", get_array_elements(avol_bytes, nullptr)),
        OPERATION(GetShortArrayElements, "get_array_elements(jshort)", get_array_elements(avol_shorts, nullptr)),
        OPERATION(GetIntArrayElements, "get_array_elements(jint)", get_array_elements(avol_ints, nullptr)),
        OPERATION(GetPrimitiveArrayCritical, "get_array_critical(jint)", get_array_critical(avol_ints, nullptr)),
        OPERATION(GetPrimitiveArrayCritical, "get_array_critical(jbyte)", get_array_critical(avol_bytes, nullptr)),
    };
    for (const auto &[strl_name, dsl_operation] : dsl_operations) {
        const auto &[strl_function, run] = dsl_operation;
        SCOPED_TRACE(strl_name);
        dsc_env.strc_failing = strl_function;
        EXPECT_THAT(run, ThrowsMessage<c_jniexception>(strl_name));
        EXPECT_THAT(dsc_env.take_calls(), Contains(strl_function));
        EXPECT_NE(dsc_env.take_pending(), "") << "Java sees what the virtual machine raised";
        dsc_env.strc_failing.clear();

        dsc_env.throw_java("E", "earlier");
        EXPECT_THAT(run, ThrowsMessage<c_jniexception>(strl_name)) << "with an exception pending from before";
        EXPECT_THAT(dsc_env.take_calls(), Not(Contains(strl_function)));
        EXPECT_EQ(dsc_env.take_pending(), "E: earlier");
    }
    // This one cannot fail by itself.
    dsc_env.throw_java("E", "earlier");
    EXPECT_THAT([&] { dsc_checked.get_array_length(avol_ints); }, ThrowsMessage<c_jniexception>("get_array_length"));
    dsc_env.take_pending();
    std::stringstream dsl_source; // of the class, which calls one of two functions in each operation
    for (const char *strl_file : {KIV_SOURCE_DIR "/jni/jnienv.h", KIV_SOURCE_DIR "/jni/jnienv.cpp"})
        dsl_source << std::ifstream(strl_file).rdbuf();
    const std::string strl_source = dsl_source.str();
    const std::regex dsl_call(R"re(\b(make|run)\((__func__|"))re");
    EXPECT_EQ(std::ssize(dsl_operations),
              std::distance(std::sregex_iterator(strl_source.begin(), strl_source.end(), dsl_call), {}));
}

TEST_F(jni, results_that_look_like_failures_are_none)
{
    const auto avol_objects = dsc_env.local<jobjectArray>("[L");
    EXPECT_EQ(dsc_checked.get_jobject_array_element(avol_objects, 0), nullptr);
    EXPECT_FALSE(dsc_checked.call_static_boolean_method(avoc_class, dsc_method, 1, avoc_class, jlong{2}));
    EXPECT_EQ(dsc_checked.call_int_method(avoc_class, dsc_method, 1, avoc_class, jlong{2}), 0);
    EXPECT_EQ(dsc_checked.NewGlobalRef(nullptr), nullptr);
    jobject avol_global = dsc_checked.NewGlobalRef(avoc_class);
    dsc_checked.delete_global_ref(avol_global);
    EXPECT_EQ(avol_global, nullptr);
    dsc_checked.delete_global_ref(avol_global);
}

// The fake machine always copies, so Java sees a write only if the release mode says so.
TEST_F(jni, array_is_written_back_only_after_a_write)
{
    const jintArray avol_array = dsc_env.local_ints({10, 20, 30, 40});
    {
        c_jintarray dsl_array(dsc_checked, avol_array, 2, 1);
        EXPECT_EQ(dsl_array[0], 0) << "not pinned yet";
        dsl_array.pin();
        dsl_array.pin(); // once is enough
        EXPECT_THAT(dsl_array.elements(), ElementsAre(20, 30));
        const_cast<jint &>(dsl_array.elements()[0]) = 99;
        dsl_array.release();
        dsl_array.release();
        dsl_array.pin(); // released by the destructor
    }
    EXPECT_EQ(release_modes(), "22");
    {
        c_jintarray_rw dsl_array(dsc_checked, avol_array, 2, 1);
        dsl_array.pin();
        for (const int32_t iml_beyond : {2, -1}) {
            dsl_array.set(iml_beyond, 99);
            EXPECT_EQ(dsl_array[iml_beyond], 0);
        }
        dsl_array.release();
        dsl_array.pin();
        dsl_array.set(0, 21);
        dsl_array.release();
        dsl_array.pin(); // unwritten again
    }
    EXPECT_EQ(release_modes(), "202");
    c_jintarray dsl_after(dsc_checked, avol_array, 4);
    dsl_after.pin();
    EXPECT_THAT(dsl_after.elements(), ElementsAre(10, 21, 30, 40));
}

TEST_F(jni, arrays_that_are_null_or_shorter_than_declared)
{
    c_jbytearray dsl_null(dsc_checked, nullptr, 100);
    dsl_null.pin();
    EXPECT_TRUE(dsl_null.elements().empty());
    EXPECT_THAT(dsc_env.take_calls(), Not(Contains(StartsWith("GetPrimitiveArrayCritical"))));
    c_jbytearray dsl_short(dsc_checked, dsc_env.local_bytes(2), INT32_MAX);
    EXPECT_THAT(from_java(dsl_short, 2), ElementsAre(0, 0));
    EXPECT_THROW(from_java(dsl_short, 3), c_ffmpeg_exception);
    EXPECT_THROW(from_java(dsl_null, 1), c_ffmpeg_exception);
    EXPECT_THROW(from_java(dsl_short, -1), std::bad_alloc);
    EXPECT_EQ(release_modes(), "2");
    const jintArray avol_array = dsc_env.local_ints({1, 2});
    const std::tuple<int32_t, int32_t, size_t> dsl_views[] = {{18, 0, 2}, {5, 2, 0},  {5, 9, 0},        {-3, 0, 0},
                                                              {5, -1, 2}, {18, 1, 1}, {INT32_MAX, 1, 1}};
    for (const auto &[iml_count, iml_start, ull_size] : dsl_views) {
        c_jintarray_rw dsl_array(dsc_checked, avol_array, iml_count, iml_start);
        dsl_array.pin();
        dsl_array.set(17, 1);
        EXPECT_EQ(dsl_array[17], 0);
        EXPECT_EQ(dsl_array.writable_elements().size(), ull_size);
        dsl_array.release();
        EXPECT_EQ(release_modes(), ull_size == 0 ? "2" : "0") << "an empty view has no writes";
    }
}

TEST_F(jni, string_characters_are_released_only_when_copied)
{
    for (const bool bl_copies : {true, false}) {
        dsc_vm.bc_copies_strings = bl_copies;
        EXPECT_STREQ(c_jstring(dsc_checked, dsc_env.local<jstring>("String", "text")).characters(), "text");
        const auto dsl_calls = dsc_env.take_calls();
        EXPECT_EQ(std::ranges::count(dsl_calls, "ReleaseStringUTFChars"), bl_copies ? 1 : 0);
    }
    EXPECT_EQ(c_jstring(dsc_checked, nullptr).characters(), nullptr);
    dsc_env.strc_failing = "GetStringUTFChars";
    EXPECT_THAT([&] { const c_jstring dsl_string(dsc_checked, dsc_env.local<jstring>("String")); },
                ThrowsMessage<c_jniexception>("GetStringUTFChars"));
    dsc_env.take_pending();
}

} // namespace
