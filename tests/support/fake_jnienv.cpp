#include "support/fake_jnienv.h"

#include <gmock/gmock.h>

#include <cstdarg>
#include <stdexcept>
#include <type_traits>

namespace
{

/** Makes a JNI function of a body; a failed one returns 0 or null, and so does one without a body. */
template <class BODY, class NAME, class RESULT, class... ARGUMENTS>
void define(RESULT (*&adsp_function)(JNIEnv *, ARGUMENTS...), BODY, NAME)
{
    adsp_function = [](JNIEnv *adsp_env, ARGUMENTS... dsp_arguments) -> RESULT {
        auto &dsl_env = static_cast<c_fake_jnienv &>(*adsp_env);
        const bool bl_succeeds = dsl_env.enter(NAME()());
        if constexpr (std::is_invocable_v<BODY, c_fake_jnienv &, ARGUMENTS...>)
            if (bl_succeeds)
                return static_cast<RESULT>(BODY()(dsl_env, dsp_arguments...));
        return RESULT();
    };
}

// clang-format off
#define FUNCTIONS_WITHOUT_BODY(X)                                                                                      \
    X(NewByteArray) X(NewLongArray) X(SetIntArrayRegion) X(SetByteArrayRegion) X(SetLongArrayRegion) X(GetMethodID)    \
    X(GetStaticMethodID) X(GetObjectArrayElement) X(SetObjectArrayElement) X(CallStaticBooleanMethodV)                 \
    X(CallStaticVoidMethodV) X(CallIntMethodV) X(CallLongMethodV) X(CallObjectMethodV) X(GetByteArrayElements)         \
    X(GetShortArrayElements) X(GetIntArrayElements) X(GetLongArrayRegion) X(GetByteArrayRegion) X(GetIntArrayRegion)   \
    X(NewDirectByteBuffer)
// clang-format on

} // namespace

c_fake_vm::~c_fake_vm()
{
    for (const auto &[avol_reference, dsl_object] : dsc_references)
        EXPECT_FALSE(dsl_object.second) << "a global reference is left to " << dsl_object.first->strc_class;
}

c_fake_jnienv::~c_fake_jnienv()
{
    EXPECT_TRUE(dsc_pins.empty()) << "arrays are still accessed";
}

jobject c_fake_jnienv::reference(const fake_object &dsp_object, bool bp_global)
{
    if (dsp_object == nullptr)
        return nullptr;
    umc_locals += bp_global ? 0 : 1;
    const std::lock_guard dsl_lock(dsc_vm.dsc_lock);
    const auto avol_reference = reinterpret_cast<jobject>(++dsc_vm.ulc_last_reference);
    dsc_vm.dsc_references[avol_reference] = {dsp_object, bp_global};
    return avol_reference;
}

void c_fake_jnienv::forget(jobject avop_reference, bool bp_global)
{
    const std::lock_guard dsl_lock(dsc_vm.dsc_lock);
    const auto dsl_at = dsc_vm.dsc_references.find(avop_reference);
    if (dsl_at == dsc_vm.dsc_references.end() || dsl_at->second.second != bp_global)
        return void(ADD_FAILURE() << "deletes a reference of the other kind, or one that is dead");
    dsc_vm.dsc_references.erase(dsl_at);
    umc_locals -= bp_global ? 0 : 1;
}

jintArray c_fake_jnienv::local_ints(const std::vector<jint> &aimp_values)
{
    const auto *autl_values = reinterpret_cast<const uint8_t *>(aimp_values.data());
    return local<jintArray>("[I", {}, {autl_values, autl_values + aimp_values.size() * sizeof(jint)});
}

fake_object c_fake_jnienv::object(jobject avop_reference)
{
    const std::lock_guard dsl_lock(dsc_vm.dsc_lock);
    const auto dsl_at = dsc_vm.dsc_references.find(avop_reference);
    if (dsl_at != dsc_vm.dsc_references.end())
        return dsl_at->second.first;
    ADD_FAILURE() << "uses a reference that is dead or null";
    return std::make_shared<dsd_fake_object>();
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

bool c_fake_jnienv::enter(const std::string &strp_function)
{
    dsc_calls.push_back(strp_function);
    bool bl_always_allowed = strp_function == "FatalError";
    for (const char *strl_prefix : {"Exception", "Delete", "Release"})
        bl_always_allowed |= strp_function.starts_with(strl_prefix);
    EXPECT_TRUE(dsc_pending == nullptr || bl_always_allowed) << strp_function << " while an exception is pending";
    EXPECT_TRUE(dsc_pins.empty() || strp_function.ends_with("PrimitiveArrayCritical"))
        << strp_function << " while an array is pinned";
    if (strp_function != strc_failing)
        return true;
    throw_java("java/lang/OutOfMemoryError", strc_failing);
    return false;
}

void *c_fake_jnienv::pin(jobject avop_array)
{
    const fake_object dsl_array = object(avop_array);
    std::vector<uint8_t> utl_copy(dsl_array->utc_bytes);
    utl_copy.reserve(1); // not null for an empty array
    uint8_t *autl_elements = utl_copy.data();
    dsc_pins.emplace(autl_elements, std::pair(dsl_array, std::move(utl_copy)));
    return autl_elements;
}

void c_fake_jnienv::unpin(jobject avop_array, void *avp_elements, jint imp_mode)
{
    dsc_calls.back() += ":" + std::to_string(imp_mode);
    const auto dsl_pin = dsc_pins.extract(avp_elements);
    if (dsl_pin.empty() || dsl_pin.mapped().first != object(avop_array))
        return void(ADD_FAILURE() << "releases elements that this array does not have");
    if (imp_mode != JNI_ABORT)
        dsl_pin.mapped().first->utc_bytes = dsl_pin.mapped().second;
}

/** The table of functions; what is not here the tests do not reach. */
const JNINativeInterface_ &c_fake_jnienv::functions()
{
    using env = c_fake_jnienv;
    static const JNINativeInterface_ dsl_functions = [] {
        JNINativeInterface_ dsl_table{};
#define FUNCTION(name, ...) define(dsl_table.name, __VA_ARGS__, [] { return #name; })
#define WITHOUT_BODY(name) FUNCTION(name, nullptr);
        FUNCTIONS_WITHOUT_BODY(WITHOUT_BODY)
        FUNCTION(NewIntArray, [](env &dsp, jsize) { return dsp.local("[I"); });
        FUNCTION(NewObjectArray, [](env &dsp, jsize, jclass, jobject) { return dsp.local("[L"); });
        FUNCTION(FindClass, [](env &dsp, const char *strp_name) { return dsp.local_class(strp_name); });
        FUNCTION(NewStringUTF, [](env &dsp, const char *strp_text) { return dsp.local("String", strp_text); });
        FUNCTION(NewGlobalRef, [](env &dsp, jobject avop) { return dsp.reference(dsp.object(avop), true); });
        FUNCTION(NewLocalRef, [](env &dsp, jobject avop) { return dsp.reference(dsp.object(avop), false); });
        FUNCTION(DeleteGlobalRef, [](env &dsp, jobject avop) { dsp.forget(avop, true); });
        FUNCTION(DeleteLocalRef, [](env &dsp, jobject avop) { dsp.forget(avop, false); });
        FUNCTION(GetStringUTFChars, [](env &dsp, jstring avop_string, jboolean *abp_is_copy) {
            *abp_is_copy = dsp.dsc_vm.bc_copies_strings;
            return dsp.object(avop_string)->strc_text.c_str();
        });
        FUNCTION(ReleaseStringUTFChars, [](env &dsp, jstring avop_string, const char *strp_text) {
            EXPECT_EQ(dsp.object(avop_string)->strc_text.c_str(), strp_text);
        });
        FUNCTION(GetArrayLength, [](env &dsp, jarray avop_array) {
            const fake_object dsl_array = dsp.object(avop_array);
            return dsl_array->utc_bytes.size() / (dsl_array->strc_class == "[I" ? sizeof(jint) : 1);
        });
        FUNCTION(GetPrimitiveArrayCritical,
                 [](env &dsp, jarray avop_array, jboolean *) { return dsp.pin(avop_array); });
        FUNCTION(ReleasePrimitiveArrayCritical, [](env &dsp, jarray avop_array, void *avp_elements, jint imp_mode) {
            dsp.unpin(avop_array, avp_elements, imp_mode);
        });
        FUNCTION(CallVoidMethodV, [](env &dsp, jobject avop_receiver, jmethodID, va_list dsp_arguments) {
            dsp.object(avop_receiver);
            const jint iml_level = va_arg(dsp_arguments, jint);
            dsp.dsc_vm.dsc_print_info(dsp, iml_level, dsp.object(va_arg(dsp_arguments, jobject))->strc_text);
        });
        FUNCTION(ExceptionCheck, [](env &dsp) { return dsp.dsc_pending != nullptr; });
        FUNCTION(ExceptionOccurred, [](env &dsp) { return dsp.reference(dsp.dsc_pending, false); });
        FUNCTION(ExceptionClear, [](env &dsp) { dsp.dsc_pending = nullptr; });
        FUNCTION(Throw, [](env &dsp, jthrowable avop_thrown) {
            dsp.dsc_pending = dsp.object(avop_thrown);
            return 0;
        });
        FUNCTION(ThrowNew, [](env &dsp, jclass avop_class, const char *strp_message) {
            dsp.throw_java(dsp.object(avop_class)->strc_text, strp_message == nullptr ? "(null)" : strp_message);
            return 0;
        });
        // A real machine never returns.
        FUNCTION(FatalError, [](env &, const char *strp_message) { throw std::runtime_error(strp_message); });
        return dsl_table;
    }();
    return dsl_functions;
}
