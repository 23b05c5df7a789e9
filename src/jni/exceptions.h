/** @file The exceptions that native code throws, and the Java exceptions that they become. */
#pragma once

#include <jni.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <sstream>
#include <string>

namespace kiv::jni
{

/**
 * A failure of a call into the virtual machine. Java sees the exception that the call left pending, or a
 * java.lang.Error.
 *
 * Creating and throwing one makes no JNI call, so it is safe while arrays are pinned.
 */
class c_jniexception : public std::exception
{
public:
    /** @param strp_message copied; of a failed operation of c_jnienv the operation's name */
    explicit c_jniexception(const char *strp_message) noexcept;
    c_jniexception(const c_jniexception &dsp_other) noexcept;
    c_jniexception &operator=(const c_jniexception &) = delete;
    ~c_jniexception() override = default;

    /** The message; empty if there was no memory for its copy. */
    const char *what() const noexcept override;

    /** Throws the matching Java class with what(), unless a Java exception is pending already. */
    virtual void throw_java_exception(JNIEnv *adsp_env) const;

protected:
    /** Throws @p strp_class with what() unless a Java exception is pending already. */
    void throw_unless_pending(JNIEnv *adsp_env, const char *strp_class, const char *strp_not_found) const;

private:
    struct dsd_free
    {
        void operator()(char *strp_text) const noexcept { std::free(strp_text); }
    };
    std::unique_ptr<char, dsd_free> strc_message;
};

/**
 * Throws java.lang.Error with @p strp_message (null for none) and replaces an exception that is pending.
 *
 * @param strp_class slash form of another class to throw instead
 * @param strp_not_found text of the fatal error that ends the virtual machine when the class cannot be found
 */
void throw_java_error(JNIEnv *adsp_env, const char *strp_message, const char *strp_class = "java/lang/Error",
                      const char *strp_not_found = "could not find class java/lang/Error");

} // namespace kiv::jni

/** A failure of the codec layer; Java sees a java.lang.RuntimeException. Thrown through throw_ffmpeg_exception. */
class c_ffmpeg_exception : public kiv::jni::c_jniexception
{
public:
    explicit c_ffmpeg_exception(const std::string &strp_message) noexcept : c_jniexception(strp_message.c_str()) {}

    void throw_java_exception(JNIEnv *adsp_env) const override;
};

/**
 * Throws a c_ffmpeg_exception. Its message is the parts joined, then " in line " and the number.
 *
 * The number is part of a text that Java programs may compare: it stays the same when the source moves.
 */
template <class... T> [[noreturn]] void throw_ffmpeg_exception(int inp_line, const T &...dsp_parts)
{
    std::ostringstream dsl_message;
    (dsl_message << ... << dsp_parts);
    dsl_message << " in line " << inp_line;
    throw c_ffmpeg_exception(dsl_message.str());
}
