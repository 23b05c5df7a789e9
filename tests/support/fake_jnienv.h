/**
 * @file
 * A Java virtual machine made of records, for what a real one does not show: calls that fail, and what is called when.
 *
 * It copies on every access to array elements, so that only the release mode decides what Java sees, and fails the
 * running test when JNI is called while an array is pinned, while an exception is pending that forbids the call, or with
 * a reference that is not alive. Whatever is pinned or global at its end fails the test.
 */
#pragma once

#include <jni.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class c_fake_jnienv;

/** One Java object: of each class only what the tests look at. */
struct dsd_fake_object
{
    std::string strc_class;         /**< "java/lang/String", "[I" */
    std::string strc_text;          /**< characters, name of a class, message of a throwable */
    std::vector<uint8_t> utc_bytes; /**< elements of a primitive array */
};
using fake_object = std::shared_ptr<dsd_fake_object>;

/** What all threads share. */
struct c_fake_vm
{
    ~c_fake_vm();

    /** The one void method that objects have; set before any thread calls. */
    std::function<void(c_fake_jnienv &, jint, const std::string &)> dsc_print_info;
    bool bc_copies_strings = true; /**< for native code */

    std::mutex dsc_lock;                                            // of what follows
    std::map<jobject, std::pair<fake_object, bool>> dsc_references; // true for a global one
    uintptr_t ulc_last_reference = 0;                               // a dead reference never lives again
};

/** One thread's door to the machine. */
class c_fake_jnienv : public JNIEnv_
{
public:
    explicit c_fake_jnienv(c_fake_vm &dsp_vm) : JNIEnv_{&functions()}, dsc_vm(dsp_vm) {}
    ~c_fake_jnienv();

    /** A local reference to a new object. */
    template <class REFERENCE = jobject>
    REFERENCE local(const std::string &strp_class, const std::string &strp_text = {},
                    const std::vector<uint8_t> &utp_bytes = {})
    {
        const dsd_fake_object dsl_object{strp_class, strp_text, utp_bytes};
        return static_cast<REFERENCE>(reference(std::make_shared<dsd_fake_object>(dsl_object), false));
    }
    jclass local_class(const std::string &strp_name) { return local<jclass>("java/lang/Class", strp_name); }
    jintArray local_ints(const std::vector<jint> &aimp_values);
    jbyteArray local_bytes(size_t ump_length) { return local<jbyteArray>("[B", {}, std::vector<uint8_t>(ump_length)); }

    /** The object behind a living reference. */
    fake_object object(jobject avop_reference);

    void throw_java(const std::string &strp_class, const std::string &strp_message);
    /** The pending exception as "class: message", "" for none; no longer pending afterwards. */
    std::string take_pending();

    /** Names of the JNI functions called since the last look, releases with their mode. */
    std::vector<std::string> take_calls() { return std::exchange(dsc_calls, {}); }

    /** Notes the call of a JNI function and checks that it is allowed. @return false when it has to fail */
    bool enter(const std::string &strp_function);

    std::string strc_failing; /**< the JNI function that fails from now on, with an OutOfMemoryError */
    size_t umc_locals = 0;

private:
    static const JNINativeInterface_ &functions();

    /** Null for no object. */
    jobject reference(const fake_object &dsp_object, bool bp_global);
    void forget(jobject avop_reference, bool bp_global);
    void *pin(jobject avop_array);
    void unpin(jobject avop_array, void *avp_elements, jint imp_mode);

    c_fake_vm &dsc_vm;
    fake_object dsc_pending;
    std::vector<std::string> dsc_calls;
    std::map<void *, std::pair<fake_object, std::vector<uint8_t>>> dsc_pins; // copies of the elements
};
