/**
 * @file
 * Trace lines say what the library does. During a Java call they go to Java, otherwise to standard output.
 *
 * Every function opens a c_trace, which supplies the prefix of its lines. Nothing is written when it enters or leaves.
 * A line without a receiver is not formatted.
 */
#pragma once

#include <jni.h>
#include <natives/LogLevel.h>

#include <cstdint>

/** Levels of lines, as Java's print_info gets them. Lines of all levels are written. */
inline constexpr int32_t im_level_error = natives::LogLevel::ERROR;
inline constexpr int32_t im_level_debug = natives::LogLevel::DEBUG;
inline constexpr int32_t im_level_verbose = natives::LogLevel::VERBOSE;

/** The scope of one function: its name, and its depth below the Java call. */
class c_trace
{
public:
    /**
     * @param strp_name a literal: the function's short name; of an exported function the whole exported name
     * @param imp_depth 1 for exported functions, 3 for members, 4 for small accessors
     */
    constexpr c_trace(const char *strp_name, int32_t imp_depth) noexcept : strc_name(strp_name), imc_depth(imp_depth) {}

    const char *name() const noexcept { return strc_name; }

    /** Four blanks for each level of depth. */
    const char *indent() const noexcept { return &s_blanks[im_blanks - imc_depth * 4]; }

private:
    static constexpr int32_t im_blanks = 16;
    static constexpr char s_blanks[im_blanks + 1] = "                ";

    const char *strc_name;
    int32_t imc_depth;
};

/** Opens the trace scope of a function: its lines carry the function's own name. */
#define TRACE_FUNCTION(depth) TRACE_SCOPE(__func__, depth)

/** Opens a trace scope whose lines carry another name than the function's own. */
#define TRACE_SCOPE(name, depth) [[maybe_unused]] const c_trace dsl_trace(name, depth)

/**
 * Writes a line in the scope opened above: a level, a format that begins "%s#%s(): " (the scope gives indent and name)
 * and the arguments, which are evaluated only if the line is written.
 */
#define TRACE_LINE(level, format, ...) TRACE_LINE_IN(dsl_trace, level, format __VA_OPT__(, ) __VA_ARGS__)

/** Writes a line in a scope that the caller opened. */
#define TRACE_LINE_IN(scope, level, format, ...)                                                                       \
    do {                                                                                                               \
        if (JNIEnv *const adsl_trace_env = trace_environment(); adsl_trace_env == nullptr) {                           \
            if (!trace_is_silent())                                                                                    \
                trace_to_output(format, (scope).indent(), (scope).name() __VA_OPT__(, ) __VA_ARGS__);                  \
        } else if (trace_has_receiver())                                                                               \
            trace_print(adsl_trace_env, level, format, (scope).indent(), (scope).name() __VA_OPT__(, ) __VA_ARGS__);   \
    } while (false)

/** Installs the function that returns the calling thread's environment. Before, every line goes to standard output. */
void trace_set_environment_hook(JNIEnv *(*adsp_hook)());

/** The environment of the Java call that this thread is in, or null. */
JNIEnv *trace_environment() noexcept;

/** Whether a Java object receives the lines. */
bool trace_has_receiver() noexcept;

/** Whether lines outside of Java calls are dropped. */
bool trace_is_silent() noexcept;

/** Whether a line would be written now: for work that only a line needs. */
inline bool trace_is_wanted() noexcept
{
    return trace_environment() == nullptr ? !trace_is_silent() : trace_has_receiver();
}

/**
 * Sends every line of a Java call to @p avop_receiver from now on; null drops these lines.
 *
 * @param avop_receiver a global reference, which the caller keeps until trace_forget_receiver
 * @param adsp_method the receiver's method "(ILjava/lang/String;)V"
 */
void trace_set_receiver(jobject avop_receiver, jmethodID adsp_method);

/** Removes the receiver. When this returns, no thread uses its global reference any more. */
void trace_forget_receiver();

/** From now on nothing is written to standard output: in a process that has none. */
void trace_silence() noexcept;

/** Writes a line to standard output, without a line end, and flushes. */
void trace_to_output(const char *strp_format, ...) __attribute__((format(printf, 1, 2)));

/**
 * Formats a line, cuts it to 511 bytes and calls the receiver with it.
 *
 * A Java exception that was pending before is pending again afterwards. Otherwise one that the receiver throws stays
 * pending. No lock is held while Java runs.
 */
void trace_print(JNIEnv *adsp_env, int32_t imp_level, const char *strp_format, ...)
    __attribute__((format(printf, 3, 4)));
