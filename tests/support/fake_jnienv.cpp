#include "support/fake_jnienv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <stdexcept>

namespace
{

constexpr size_t um_guard = 64;
constexpr uint8_t utl_guard_byte = 0xA5;

const JNINativeInterface_ &fake_functions();

} // namespace

size_t dsd_fake_object::element_size() const
{
    if (strc_class == "[B")
        return 1;
    return strc_class == "[S" ? 2 : strc_class == "[I" ? 4 : strc_class == "[J" ? 8 : 0;
}

c_fake_vm::~c_fake_vm()
{
    EXPECT_EQ(pins(), 0U) << "arrays are still accessed";
    EXPECT_EQ(global_references(), 0U) << "global references are left";
}

size_t c_fake_vm::pins()
{
    const std::lock_guard dsl_lock(dsc_lock);
    return dsc_pins.size();
}

size_t c_fake_vm::global_references()
{
    const std::lock_guard dsl_lock(dsc_lock);
    return static_cast<size_t>(
        std::ranges::count_if(dsc_references, [](const auto &dsp_entry) { return dsp_entry.second->bc_global; }));
}

c_fake_jnienv::c_fake_jnienv(c_fake_vm &dsp_vm) : JNIEnv_{&fake_functions()}, dsc_vm(dsp_vm) {}

c_fake_jnienv::~c_fake_jnienv()
{
    EXPECT_EQ(inc_critical, 0) << "a critical pin is left";
}

fake_object c_fake_jnienv::make(const std::string &strp_class, const std::string &strp_text)
{
    return std::make_shared<dsd_fake_object>(dsd_fake_object{strp_class, strp_text, {}, {}});
}

fake_object c_fake_jnienv::make_array(const std::string &strp_class, size_t ump_length)
{
    const fake_object dsl_array = make(strp_class);
    dsl_array->utc_bytes.resize(ump_length * dsl_array->element_size());
    if (dsl_array->element_size() == 0)
        dsl_array->dsc_elements.resize(ump_length);
    return dsl_array;
}

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

jobject c_fake_jnienv::local(const fake_object &dsp_object)
{
    return reference(dsp_object, false);
}

jclass c_fake_jnienv::local_class(const std::string &strp_name)
{
    return static_cast<jclass>(local(make("java/lang/Class", strp_name)));
}

jstring c_fake_jnienv::local_string(const std::string &strp_text)
{
    return static_cast<jstring>(local(make("java/lang/String", strp_text)));
}

jintArray c_fake_jnienv::local_ints(const std::vector<jint> &aimp_values)
{
    const fake_object dsl_array = make_array("[I", aimp_values.size());
    std::ranges::copy(std::as_bytes(std::span(aimp_values)),
                      reinterpret_cast<std::byte *>(dsl_array->utc_bytes.data()));
    return static_cast<jintArray>(local(dsl_array));
}

jbyteArray c_fake_jnienv::local_bytes(std::span<const uint8_t> utp_values)
{
    const fake_object dsl_array = make_array("[B", utp_values.size());
    std::ranges::copy(utp_values, dsl_array->utc_bytes.begin());
    return static_cast<jbyteArray>(local(dsl_array));
}

jobjectArray c_fake_jnienv::local_objects(std::vector<fake_object> dsp_elements)
{
    const fake_object dsl_array = make("[Ljava/lang/Object;");
    dsl_array->dsc_elements = std::move(dsp_elements);
    return static_cast<jobjectArray>(local(dsl_array));
}

fake_object c_fake_jnienv::object(jobject avop_reference)
{
    const std::lock_guard dsl_lock(dsc_vm.dsc_lock);
    const auto dsl_at = dsc_vm.dsc_references.find(avop_reference);
    if (dsl_at != dsc_vm.dsc_references.end())
        return dsl_at->second->dsc_object;
    ADD_FAILURE() << "uses a reference that is dead or null";
    return make_array("[B", 0);
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
    dsc_pending = make(strp_class, strp_message);
}

std::string c_fake_jnienv::take_pending()
{
    const fake_object dsl_pending = std::exchange(dsc_pending, nullptr);
    return dsl_pending == nullptr ? "" : dsl_pending->strc_class + ": " + dsl_pending->strc_text;
}

/** The JNI functions; what is not here the library must not call. */
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

    static jobject make_local(c_fake_jnienv &dsp_env, const fake_object &dsp_object)
    {
        return fails(dsp_env) ? nullptr : dsp_env.local(dsp_object);
    }

    static jmethodID find_method(c_fake_jnienv &dsp_env, const char *strp_name, const char *strp_signature)
    {
        c_fake_vm &dsl_vm = dsp_env.dsc_vm;
        const auto dsl_at = dsl_vm.dsc_methods.find(strp_name);
        if (fails(dsp_env))
            return nullptr;
        if (dsl_at == dsl_vm.dsc_methods.end()) {
            dsp_env.throw_java("java/lang/NoSuchMethodError", strp_name);
            return nullptr;
        }
        const std::lock_guard dsl_lock(dsl_vm.dsc_lock);
        dsl_vm.dsc_looked_up.emplace_back(new c_fake_vm::dsd_method{&dsl_at->second, strp_signature});
        return reinterpret_cast<jmethodID>(dsl_vm.dsc_looked_up.back().get());
    }

    static jvalue call(c_fake_jnienv &dsp_env, jmethodID adsp_method, va_list dsp_arguments)
    {
        if (fails(dsp_env))
            return {};
        const auto &dsl_method = *reinterpret_cast<c_fake_vm::dsd_method *>(adsp_method);
        std::vector<jvalue> dsl_values;
        for (const char *strl_at = dsl_method.strc_signature.c_str() + 1; *strl_at != ')'; ++strl_at) {
            jvalue dsl_value{};
            if (*strl_at == 'I')
                dsl_value.i = va_arg(dsp_arguments, jint);
            else if (*strl_at == 'J')
                dsl_value.j = va_arg(dsp_arguments, jlong);
            else
                dsl_value.l = va_arg(dsp_arguments, jobject);
            dsl_values.push_back(dsl_value);
            while (*strl_at == '[')
                ++strl_at;
            if (*strl_at == 'L')
                strl_at = std::strchr(strl_at, ';');
        }
        return (*dsl_method.adsc_method)(dsp_env, dsl_values);
    }

    static uint8_t *pin(c_fake_jnienv &dsp_env, jobject avop_array)
    {
        if (fails(dsp_env))
            return nullptr;
        const fake_object dsl_array = dsp_env.object(avop_array);
        const size_t uml_size = dsl_array->utc_bytes.size();
        // Uninitialised on purpose beyond the guards: a decoder may not rely on what it finds.
        std::unique_ptr<uint8_t[]> autl_copy(new uint8_t[uml_size + 2 * um_guard]);
        uint8_t *autl_elements = autl_copy.get() + um_guard;
        std::memset(autl_copy.get(), utl_guard_byte, um_guard);
        std::memset(autl_elements + uml_size, utl_guard_byte, um_guard);
        std::ranges::copy(dsl_array->utc_bytes, autl_elements);
        const std::lock_guard dsl_lock(dsp_env.dsc_vm.dsc_lock);
        dsp_env.dsc_vm.dsc_pins.emplace(autl_elements, c_fake_vm::dsd_pin{dsl_array, std::move(autl_copy)});
        return autl_elements;
    }

    static void unpin(c_fake_jnienv &dsp_env, jobject avop_array, void *avp_elements, jint imp_mode)
    {
        const fake_object dsl_array = dsp_env.object(avop_array);
        const std::lock_guard dsl_lock(dsp_env.dsc_vm.dsc_lock);
        const auto dsl_at = dsp_env.dsc_vm.dsc_pins.find(avp_elements);
        if (dsl_at == dsp_env.dsc_vm.dsc_pins.end() || dsl_at->second.dsc_array != dsl_array) {
            ADD_FAILURE() << "releases elements that this array does not have";
            return;
        }
        const auto *autl_elements = static_cast<const uint8_t *>(avp_elements);
        const size_t uml_size = dsl_array->utc_bytes.size();
        for (size_t uml_at = 1; uml_at <= um_guard; ++uml_at)
            if (autl_elements[-static_cast<std::ptrdiff_t>(uml_at)] != utl_guard_byte ||
                autl_elements[uml_size + uml_at - 1] != utl_guard_byte) {
                ADD_FAILURE() << "something was written outside of the array";
                break;
            }
        if (imp_mode != JNI_ABORT)
            std::copy_n(autl_elements, uml_size, dsl_array->utc_bytes.begin());
        if (imp_mode != JNI_COMMIT)
            dsp_env.dsc_vm.dsc_pins.erase(dsl_at);
    }

    template <class ELEMENT, class ARRAY> static ELEMENT *get_elements(JNIEnv *adsp_env, ARRAY avop_array, jboolean *)
    {
        return reinterpret_cast<ELEMENT *>(pin(enter(adsp_env, "GetElements"), avop_array));
    }

    template <class ELEMENT, class ARRAY>
    static void release_elements(JNIEnv *adsp_env, ARRAY avop_array, ELEMENT *avp_elements, jint imp_mode)
    {
        unpin(enter(adsp_env, "ReleaseElements:" + std::to_string(imp_mode), ie_permission::always), avop_array,
              avp_elements, imp_mode);
    }

    template <class ELEMENT, class ARRAY>
    static void set_region(JNIEnv *adsp_env, ARRAY avop_array, jsize imp_start, jsize imp_length,
                           const ELEMENT *avp_from)
    {
        c_fake_jnienv &dsl_env = enter(adsp_env, "SetArrayRegion");
        const fake_object dsl_array = dsl_env.object(avop_array);
        const size_t uml_end = (static_cast<size_t>(imp_start) + static_cast<size_t>(imp_length)) * sizeof(ELEMENT);
        if (fails(dsl_env))
            return;
        if (uml_end > dsl_array->utc_bytes.size())
            return dsl_env.throw_java("java/lang/ArrayIndexOutOfBoundsException", "");
        std::memcpy(dsl_array->utc_bytes.data() + static_cast<size_t>(imp_start) * sizeof(ELEMENT), avp_from,
                    static_cast<size_t>(imp_length) * sizeof(ELEMENT));
    }

    template <class ARRAY, char TYPE> static ARRAY new_array(JNIEnv *adsp_env, jsize imp_length)
    {
        return static_cast<ARRAY>(
            make_local(enter(adsp_env, "NewArray"),
                       c_fake_jnienv::make_array(std::string("[") + TYPE, static_cast<size_t>(imp_length))));
    }

    static JNINativeInterface_ table();
};

JNINativeInterface_ dsd_fake_functions::table()
{
    using enum ie_permission;
    JNINativeInterface_ dsl_table{};
    dsl_table.FindClass = [](JNIEnv *adsp_env, const char *strp_name) {
        return static_cast<jclass>(
            make_local(enter(adsp_env, "FindClass"), c_fake_jnienv::make("java/lang/Class", strp_name)));
    };
    dsl_table.GetMethodID = [](JNIEnv *adsp_env, jclass, const char *strp_name, const char *strp_signature) {
        return find_method(enter(adsp_env, "GetMethodID"), strp_name, strp_signature);
    };
    dsl_table.GetStaticMethodID = [](JNIEnv *adsp_env, jclass, const char *strp_name, const char *strp_signature) {
        return find_method(enter(adsp_env, "GetStaticMethodID"), strp_name, strp_signature);
    };
    dsl_table.IsInstanceOf = [](JNIEnv *adsp_env, jobject avop_object, jclass avop_class) -> jboolean {
        c_fake_jnienv &dsl_env = enter(adsp_env, "IsInstanceOf");
        return dsl_env.object(avop_object)->strc_class == dsl_env.object(avop_class)->strc_text;
    };
    dsl_table.NewGlobalRef = [](JNIEnv *adsp_env, jobject avop_object) -> jobject {
        c_fake_jnienv &dsl_env = enter(adsp_env, "NewGlobalRef");
        return fails(dsl_env) ? nullptr : dsl_env.reference(dsl_env.object(avop_object), true);
    };
    dsl_table.DeleteGlobalRef = [](JNIEnv *adsp_env, jobject avop_object) {
        enter(adsp_env, "DeleteGlobalRef", always).forget(avop_object, true);
    };
    dsl_table.NewLocalRef = [](JNIEnv *adsp_env, jobject avop_object) -> jobject {
        c_fake_jnienv &dsl_env = enter(adsp_env, "NewLocalRef");
        return make_local(dsl_env, dsl_env.object(avop_object));
    };
    dsl_table.DeleteLocalRef = [](JNIEnv *adsp_env, jobject avop_object) {
        enter(adsp_env, "DeleteLocalRef", always).forget(avop_object, false);
    };
    dsl_table.NewIntArray = &new_array<jintArray, 'I'>;
    dsl_table.NewByteArray = &new_array<jbyteArray, 'B'>;
    dsl_table.NewLongArray = &new_array<jlongArray, 'J'>;
    dsl_table.NewObjectArray = [](JNIEnv *adsp_env, jsize imp_length, jclass, jobject) {
        return static_cast<jobjectArray>(
            make_local(enter(adsp_env, "NewArray"),
                       c_fake_jnienv::make_array("[Ljava/lang/Object;", static_cast<size_t>(imp_length))));
    };
    dsl_table.NewStringUTF = [](JNIEnv *adsp_env, const char *strp_text) {
        return static_cast<jstring>(
            make_local(enter(adsp_env, "NewStringUTF"), c_fake_jnienv::make("java/lang/String", strp_text)));
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
    dsl_table.SetIntArrayRegion = &set_region<jint, jintArray>;
    dsl_table.SetByteArrayRegion = &set_region<jbyte, jbyteArray>;
    dsl_table.SetLongArrayRegion = &set_region<jlong, jlongArray>;
    dsl_table.GetArrayLength = [](JNIEnv *adsp_env, jarray avop_array) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "GetArrayLength");
        const fake_object dsl_array = dsl_env.object(avop_array);
        fails(dsl_env);
        return static_cast<jsize>(dsl_array->element_size() == 0
                                      ? dsl_array->dsc_elements.size()
                                      : dsl_array->utc_bytes.size() / dsl_array->element_size());
    };
    dsl_table.GetObjectArrayElement = [](JNIEnv *adsp_env, jobjectArray avop_array, jsize imp_index) -> jobject {
        c_fake_jnienv &dsl_env = enter(adsp_env, "GetObjectArrayElement");
        return make_local(dsl_env, dsl_env.object(avop_array)->dsc_elements.at(static_cast<size_t>(imp_index)));
    };
    dsl_table.SetObjectArrayElement = [](JNIEnv *adsp_env, jobjectArray avop_array, jsize imp_index,
                                         jobject avop_value) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "SetObjectArrayElement");
        const fake_object dsl_value = avop_value == nullptr ? nullptr : dsl_env.object(avop_value);
        if (!fails(dsl_env))
            dsl_env.object(avop_array)->dsc_elements.at(static_cast<size_t>(imp_index)) = dsl_value;
    };
    dsl_table.CallStaticBooleanMethodV = [](JNIEnv *adsp_env, jclass, jmethodID adsp_method, va_list dsp_arguments) {
        return call(enter(adsp_env, "CallMethod"), adsp_method, dsp_arguments).z;
    };
    dsl_table.CallStaticVoidMethodV = [](JNIEnv *adsp_env, jclass, jmethodID adsp_method, va_list dsp_arguments) {
        call(enter(adsp_env, "CallMethod"), adsp_method, dsp_arguments);
    };
    dsl_table.CallVoidMethodV = [](JNIEnv *adsp_env, jobject avop_receiver, jmethodID adsp_method,
                                   va_list dsp_arguments) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "CallMethod");
        dsl_env.object(avop_receiver);
        call(dsl_env, adsp_method, dsp_arguments);
    };
    dsl_table.CallIntMethodV = [](JNIEnv *adsp_env, jobject, jmethodID adsp_method, va_list dsp_arguments) {
        return call(enter(adsp_env, "CallMethod"), adsp_method, dsp_arguments).i;
    };
    dsl_table.GetByteArrayElements = &get_elements<jbyte, jbyteArray>;
    dsl_table.GetShortArrayElements = &get_elements<jshort, jshortArray>;
    dsl_table.GetIntArrayElements = &get_elements<jint, jintArray>;
    dsl_table.ReleaseByteArrayElements = &release_elements<jbyte, jbyteArray>;
    dsl_table.ReleaseShortArrayElements = &release_elements<jshort, jshortArray>;
    dsl_table.ReleaseIntArrayElements = &release_elements<jint, jintArray>;
    dsl_table.GetPrimitiveArrayCritical = [](JNIEnv *adsp_env, jarray avop_array, jboolean *) -> void * {
        c_fake_jnienv &dsl_env = enter(adsp_env, "GetPrimitiveArrayCritical");
        uint8_t *autl_elements = pin(dsl_env, avop_array);
        dsl_env.inc_critical += autl_elements != nullptr;
        return autl_elements;
    };
    dsl_table.ReleasePrimitiveArrayCritical = [](JNIEnv *adsp_env, jarray avop_array, void *avp_elements,
                                                 jint imp_mode) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "ReleasePrimitiveArrayCritical:" + std::to_string(imp_mode), always);
        --dsl_env.inc_critical;
        unpin(dsl_env, avop_array, avp_elements, imp_mode);
    };
    dsl_table.ExceptionCheck = [](JNIEnv *adsp_env) -> jboolean {
        return enter(adsp_env, "ExceptionCheck", always).dsc_pending != nullptr;
    };
    dsl_table.ExceptionOccurred = [](JNIEnv *adsp_env) {
        c_fake_jnienv &dsl_env = enter(adsp_env, "ExceptionOccurred", always);
        return static_cast<jthrowable>(dsl_env.local(dsl_env.dsc_pending));
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
