#include "support/fake_jnienv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace
{

constexpr size_t um_guard = 64;
constexpr uint8_t utl_guard_byte = 0xA5;

const JNINativeInterface_ &fake_functions();

size_t element_size(const fake_object &dsp_array)
{
    return dsp_array->strc_class == "[I" ? sizeof(jint) : 1;
}

/** A function's name as an argument of a template. */
template <size_t LENGTH> struct dsd_name
{
    consteval dsd_name(const char (&strp_text)[LENGTH]) { std::copy_n(strp_text, LENGTH, strc_text); }
    char strc_text[LENGTH];
};

} // namespace

c_fake_vm::~c_fake_vm()
{
    EXPECT_TRUE(dsc_pins.empty()) << "arrays are still accessed";
    EXPECT_TRUE(std::ranges::none_of(dsc_references, [](const auto &dsp_entry) { return dsp_entry.second->bc_global; }))
        << "global references are left";
}

c_fake_jnienv::c_fake_jnienv(c_fake_vm &dsp_vm) : JNIEnv_{&fake_functions()}, dsc_vm(dsp_vm) {}

jobject c_fake_jnienv::reference(const fake_object &dsp_object, bool bp_global)
{
    if (dsp_object == nullptr)
        return nullptr;
    if (!bp_global)
        ++umc_locals;
    std::unique_ptr<c_fake_vm::dsd_reference> dsl_reference(new c_fake_vm::dsd_reference{dsp_object, bp_global});
    const auto avol_key = reinterpret_cast<jobject>(dsl_reference.get());
    const std::lock_guard dsl_lock(dsc_vm.dsc_lock);
    dsc_vm.dsc_references.emplace(avol_key, std::move(dsl_reference));
    return avol_key;
}

void c_fake_jnienv::forget(jobject avop_reference, bool bp_global)
{
    const std::lock_guard dsl_lock(dsc_vm.dsc_lock);
    const auto dsl_at = dsc_vm.dsc_references.find(avop_reference);
    if (dsl_at == dsc_vm.dsc_references.end() || dsl_at->second->bc_global != bp_global) {
        ADD_FAILURE() << "deletes a reference of the other kind, or one that is dead";
        return;
    }
    dsc_vm.dsc_references.erase(dsl_at);
    if (!bp_global)
        --umc_locals;
}

jobject c_fake_jnienv::local(const std::string &strp_class, const std::string &strp_text)
{
    return reference(std::make_shared<dsd_fake_object>(dsd_fake_object{strp_class, strp_text, {}}), false);
}

jclass c_fake_jnienv::local_class(const std::string &strp_name)
{
    return static_cast<jclass>(local("java/lang/Class", strp_name));
}

jstring c_fake_jnienv::local_string(const std::string &strp_text)
{
    return static_cast<jstring>(local("java/lang/String", strp_text));
}

jintArray c_fake_jnienv::local_ints(const std::vector<jint> &aimp_values)
{
    const auto avol_array = static_cast<jintArray>(local("[I"));
    const auto *autl_values = reinterpret_cast<const uint8_t *>(aimp_values.data());
    object(avol_array)->utc_bytes.assign(autl_values, autl_values + aimp_values.size() * sizeof(jint));
    return avol_array;
}

jbyteArray c_fake_jnienv::local_bytes(size_t ump_length)
{
    const auto avol_array = static_cast<jbyteArray>(local("[B"));
    object(avol_array)->utc_bytes.resize(ump_length);
    return avol_array;
}

fake_object c_fake_jnienv::object(jobject avop_reference)
{
    const std::lock_guard dsl_lock(dsc_vm.dsc_lock);
    const auto dsl_at = dsc_vm.dsc_references.find(avop_reference);
    if (dsl_at != dsc_vm.dsc_references.end())
        return dsl_at->second->dsc_object;
    ADD_FAILURE() << "uses a reference that is dead or null";
    return std::make_shared<dsd_fake_object>();
}

std::vector<jint> c_fake_jnienv::ints(jobject avop_array)
{
    const fake_object dsl_array = object(avop_array);
    std::vector<jint> aiml_values(dsl_array->utc_bytes.size() / sizeof(jint));
    std::memcpy(aiml_values.data(), dsl_array->utc_bytes.data(), dsl_array->utc_bytes.size());
    return aiml_values;
}

void c_fake_jnienv::throw_java(const std::string &strp_class, const std::string &strp_message)
{
    dsc_pending = std::make_shared<dsd_fake_object>(dsd_fake_object{strp_class, strp_message, {}});
}

std::string c_fake_jnienv::take_pending()
{
    const fake_object dsl_pending = std::exchange(dsc_pending, nullptr);
    return dsl_pending == nullptr ? "" : dsl_pending->strc_class + ": " + dsl_pending->strc_text;
}

/** The JNI functions; what is not here the tests do not reach. */
struct dsd_fake_functions
{
    enum class ie_permission
    {
        never_while_pending,
        always
    };

    static c_fake_jnienv &enter(JNIEnv *adsp_env, const std::string &strp_call,
                                ie_permission dsp_permission = ie_permission::never_while_pending)
    {
        auto &dsl_env = static_cast<c_fake_jnienv &>(*adsp_env);
        dsl_env.dsc_calls.push_back(strp_call);
        if (dsl_env.dsc_pending != nullptr && dsp_permission == ie_permission::never_while_pending)
            ADD_FAILURE() << strp_call << " while an exception is pending";
        if (dsl_env.inc_critical > 0 && strp_call.find("PrimitiveArrayCritical") == std::string::npos)
            ADD_FAILURE() << strp_call << " while an array is pinned";
        return dsl_env;
    }

    static bool fails(c_fake_jnienv &dsp_env)
    {
        if (dsp_env.strc_failing.empty() || dsp_env.dsc_calls.back() != dsp_env.strc_failing)
            return false;
        dsp_env.throw_java("java/lang/OutOfMemoryError", dsp_env.strc_failing);
        return true;
    }

    /** A function that does nothing but fail when it is told to; its result is 0 or null in any case. */
    template <dsd_name NAME, class RESULT, class... ARGUMENTS> static RESULT may_fail(JNIEnv *adsp_env, ARGUMENTS...)
    {
        fails(enter(adsp_env, NAME.strc_text));
        return RESULT();
    }

    static jobject make_local(c_fake_jnienv &dsp_env, const char *strp_class, const char *strp_text)
    {
        return fails(dsp_env) ? nullptr : dsp_env.local(strp_class, strp_text);
    }

    static void *pin(JNIEnv *adsp_env, jarray avop_array, jboolean *)
    {
        c_fake_jnienv &dsl_env = enter(adsp_env, "GetPrimitiveArrayCritical");
        if (fails(dsl_env))
            return nullptr;
        ++dsl_env.inc_critical;
        const fake_object dsl_array = dsl_env.object(avop_array);
        const size_t uml_size = dsl_array->utc_bytes.size();
        std::unique_ptr<uint8_t[]> autl_copy(new uint8_t[uml_size + 2 * um_guard]);
        uint8_t *autl_elements = autl_copy.get() + um_guard;
        std::fill_n(autl_copy.get(), uml_size + 2 * um_guard, utl_guard_byte);
        std::ranges::copy(dsl_array->utc_bytes, autl_elements);
        const std::lock_guard dsl_lock(dsl_env.dsc_vm.dsc_lock);
        dsl_env.dsc_vm.dsc_pins.emplace(autl_elements, c_fake_vm::dsd_pin{dsl_array, std::move(autl_copy)});
        return autl_elements;
    }

    static void unpin(JNIEnv *adsp_env, jarray avop_array, void *avp_elements, jint imp_mode)
    {
        c_fake_jnienv &dsl_env =
            enter(adsp_env, "ReleasePrimitiveArrayCritical:" + std::to_string(imp_mode), ie_permission::always);
        --dsl_env.inc_critical;
        const fake_object dsl_array = dsl_env.object(avop_array);
        const std::lock_guard dsl_lock(dsl_env.dsc_vm.dsc_lock);
        const auto dsl_at = dsl_env.dsc_vm.dsc_pins.find(avp_elements);
        if (dsl_at == dsl_env.dsc_vm.dsc_pins.end() || dsl_at->second.dsc_array != dsl_array) {
            ADD_FAILURE() << "releases elements that this array does not have";
            return;
        }
        const auto *autl_elements = static_cast<const uint8_t *>(avp_elements);
        const size_t uml_size = dsl_array->utc_bytes.size();
        const auto is_guard = [](uint8_t utp_byte) { return utp_byte == utl_guard_byte; };
        EXPECT_TRUE(std::all_of(autl_elements - um_guard, autl_elements, is_guard) &&
                    std::all_of(autl_elements + uml_size, autl_elements + uml_size + um_guard, is_guard))
            << "something was written outside of the array";
        if (imp_mode != JNI_ABORT)
            std::copy_n(autl_elements, uml_size, dsl_array->utc_bytes.begin());
        dsl_env.dsc_vm.dsc_pins.erase(dsl_at);
    }

    static JNINativeInterface_ table();
};

JNINativeInterface_ dsd_fake_functions::table()
{
    using enum ie_permission;
    JNINativeInterface_ dsl_table{};
#define MAY_FAIL(name) dsl_table.name = &may_fail<#name>
    MAY_FAIL(NewByteArray);
    MAY_FAIL(NewLongArray);
    MAY_FAIL(SetIntArrayRegion);
    MAY_FAIL(SetByteArrayRegion);
    MAY_FAIL(SetLongArrayRegion);
    MAY_FAIL(GetObjectArrayElement);
    MAY_FAIL(SetObjectArrayElement);
    MAY_FAIL(CallStaticBooleanMethodV);
    MAY_FAIL(CallStaticVoidMethodV);
    MAY_FAIL(CallIntMethodV);
    MAY_FAIL(CallLongMethodV);
    MAY_FAIL(CallObjectMethodV);
    MAY_FAIL(GetByteArrayElements);
    MAY_FAIL(GetShortArrayElements);
    MAY_FAIL(GetIntArrayElements);
    MAY_FAIL(GetMethodID);
    MAY_FAIL(GetStaticMethodID);
#undef MAY_FAIL
    dsl_table.NewIntArray = [](JNIEnv *adsp_env, jsize) {
        return static_cast<jintArray>(make_local(enter(adsp_env, "NewIntArray"), "[I", ""));
    };
    dsl_table.NewObjectArray = [](JNIEnv *adsp_env, jsize, jclass, jobject) {
        return static_cast<jobjectArray>(make_local(enter(adsp_env, "NewObjectArray"), "[Ljava/lang/Object;", ""));
    };
    dsl_table.FindClass = [](JNIEnv *adsp_env, const char *strp_name) {
        return static_cast<jclass>(make_local(enter(adsp_env, "FindClass"), "java/lang/Class", strp_name));
    };
    dsl_table.NewStringUTF = [](JNIEnv *adsp_env, const char *strp_text) {
        return static_cast<jstring>(make_local(enter(adsp_env, "NewStringUTF"), "java/lang/String", strp_text));
    };
    dsl_table.NewGlobalRef = [](JNIEnv *adsp_env, jobject avop_object) -> jobject {
        c_fake_jnienv &dsl_env = enter(adsp_env, "NewGlobalRef");
        return fails(dsl_env) ? nullptr : dsl_env.reference(dsl_env.object(avop_object), true);
    };
    dsl_table.DeleteGlobalRef = [](JNIEnv *adsp_env, jobject avop_object) {
        enter(adsp_env, "DeleteGlobalRef", always).forget(avop_object, true);
    };
    dsl_table.NewLocalRef = [](JNIEnv *adsp_env, jobject avop_object) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "NewLocalRef");
        return dsl_env.reference(dsl_env.object(avop_object), false);
    };
    dsl_table.DeleteLocalRef = [](JNIEnv *adsp_env, jobject avop_object) {
        enter(adsp_env, "DeleteLocalRef", always).forget(avop_object, false);
    };
    dsl_table.GetStringUTFChars = [](JNIEnv *adsp_env, jstring avop_string, jboolean *abp_is_copy) -> const char * {
        c_fake_jnienv &dsl_env = enter(adsp_env, "GetStringUTFChars");
        *abp_is_copy = dsl_env.dsc_vm.bc_copies_strings;
        return fails(dsl_env) ? nullptr : dsl_env.object(avop_string)->strc_text.c_str();
    };
    dsl_table.ReleaseStringUTFChars = [](JNIEnv *adsp_env, jstring avop_string, const char *strp_text) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "ReleaseStringUTFChars", always);
        EXPECT_EQ(dsl_env.object(avop_string)->strc_text.c_str(), strp_text);
    };
    dsl_table.GetArrayLength = [](JNIEnv *adsp_env, jarray avop_array) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "GetArrayLength");
        const fake_object dsl_array = dsl_env.object(avop_array);
        fails(dsl_env);
        return static_cast<jsize>(dsl_array->utc_bytes.size() / element_size(dsl_array));
    };
    dsl_table.GetPrimitiveArrayCritical = &pin;
    dsl_table.ReleasePrimitiveArrayCritical = &unpin;
    dsl_table.CallVoidMethodV = [](JNIEnv *adsp_env, jobject avop_receiver, jmethodID, va_list dsp_arguments) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "CallVoidMethod");
        dsl_env.object(avop_receiver);
        const jint iml_level = va_arg(dsp_arguments, jint);
        dsl_env.dsc_vm.dsc_print_info(dsl_env, iml_level, dsl_env.object(va_arg(dsp_arguments, jobject))->strc_text);
    };
    dsl_table.ExceptionCheck = [](JNIEnv *adsp_env) -> jboolean {
        return enter(adsp_env, "ExceptionCheck", always).dsc_pending != nullptr;
    };
    dsl_table.ExceptionOccurred = [](JNIEnv *adsp_env) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "ExceptionOccurred", always);
        return static_cast<jthrowable>(dsl_env.reference(dsl_env.dsc_pending, false));
    };
    dsl_table.ExceptionClear = [](JNIEnv *adsp_env) {
        enter(adsp_env, "ExceptionClear", always).dsc_pending = nullptr;
    };
    dsl_table.Throw = [](JNIEnv *adsp_env, jthrowable avop_exception) -> jint {
        c_fake_jnienv &dsl_env = enter(adsp_env, "Throw");
        dsl_env.dsc_pending = dsl_env.object(avop_exception);
        return 0;
    };
    dsl_table.ThrowNew = [](JNIEnv *adsp_env, jclass avop_class, const char *strp_message) -> jint {
        c_fake_jnienv &dsl_env = enter(adsp_env, "ThrowNew");
        dsl_env.throw_java(dsl_env.object(avop_class)->strc_text, strp_message == nullptr ? "(null)" : strp_message);
        return 0;
    };
    dsl_table.FatalError = [](JNIEnv *adsp_env, const char *strp_message) {
        enter(adsp_env, "FatalError", always);
        throw std::runtime_error(strp_message); // a real machine never returns
    };
    return dsl_table;
}

namespace
{

const JNINativeInterface_ &fake_functions()
{
    static const JNINativeInterface_ dsl_table = dsd_fake_functions::table();
    return dsl_table;
}

} // namespace
