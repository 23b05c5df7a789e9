/**
 * @file
 * Views of Java's int[] and byte[], for the time that it takes to copy a few values in or out.
 *
 * Making a view may call the virtual machine, so make it first and pin it afterwards. A pin may stop the garbage
 * collector: while anything is pinned make no JNI call, take no lock and wait for nothing. Pin, copy, release. The
 * destructor releases a view that is still pinned.
 *
 * A Java array may be shorter than its view is declared. Values beyond its end read as 0, and writing them does
 * nothing.
 */
#pragma once

#include "jni/jnienv.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace kiv::jni
{

/** What both kinds of view have in common: the array, the part of it that is seen, and the pin. */
template <class ELEMENT, class ARRAY> class c_array_pin
{
public:
    c_array_pin(const c_array_pin &) = delete;
    c_array_pin &operator=(const c_array_pin &) = delete;

    /** Pins the array unless it is null. @throws c_jniexception when the virtual machine has no memory for it */
    void pin()
    {
        if (avoc_array != nullptr && avc_critical == nullptr)
            avc_critical = dsc_env.get_array_critical(avoc_array, nullptr);
    }

    /** One element; 0 beyond the end and while not pinned. */
    ELEMENT operator[](int32_t imp_index) const noexcept
    {
        const auto dsl_view = view();
        const auto ull_index = static_cast<size_t>(imp_index);
        return ull_index < dsl_view.size() ? dsl_view[ull_index] : ELEMENT{};
    }

    /** Elements of the view that the array has; 0 for null. */
    int32_t size() const noexcept { return imc_count; }

protected:
    /**
     * @param avop_array may be null: an empty view
     * @param imp_count elements of the view, from @p imp_start on; a negative number counts as 0
     */
    c_array_pin(const c_jnienv &dsp_env, ARRAY avop_array, int32_t imp_count, int32_t imp_start)
        : dsc_env(dsp_env), avoc_array(avop_array), imc_start(std::max(imp_start, 0))
    {
        if (avoc_array != nullptr)
            imc_count = std::clamp(dsc_env.get_array_length(avoc_array) - imc_start, 0, std::max(imp_count, 0));
    }
    ~c_array_pin() = default;

    /** The elements of the view that the array has; empty while it is not pinned. */
    std::span<ELEMENT> view() const noexcept
    {
        if (avc_critical == nullptr)
            return {};
        return {avc_critical + imc_start, static_cast<size_t>(imc_count)};
    }

    void unpin(jint imp_mode) noexcept
    {
        if (avc_critical != nullptr)
            dsc_env.raw()->ReleasePrimitiveArrayCritical(avoc_array, std::exchange(avc_critical, nullptr), imp_mode);
    }

private:
    c_jnienv dsc_env;
    ARRAY avoc_array;
    int32_t imc_start;
    int32_t imc_count = 0;
    ELEMENT *avc_critical = nullptr;
};

/** Read-only view: always released with JNI_ABORT, so that nothing is copied back. */
template <class ELEMENT, class ARRAY> class c_array : public c_array_pin<ELEMENT, ARRAY>
{
public:
    c_array(const c_jnienv &dsp_env, ARRAY avop_array, int32_t imp_count, int32_t imp_start = 0)
        : c_array_pin<ELEMENT, ARRAY>(dsp_env, avop_array, imp_count, imp_start)
    {
    }
    ~c_array() { release(); }
    c_array(const c_array &) = delete;
    c_array &operator=(const c_array &) = delete;

    std::span<const ELEMENT> elements() const noexcept { return this->view(); }

    /** Releases the array; a second call does nothing. */
    void release() noexcept { this->unpin(JNI_ABORT); }
};

/** Writable view: released with mode 0 after a write, which commits it, otherwise with JNI_ABORT. */
template <class ELEMENT, class ARRAY> class c_array_rw : public c_array_pin<ELEMENT, ARRAY>
{
public:
    c_array_rw(const c_jnienv &dsp_env, ARRAY avop_array, int32_t imp_count, int32_t imp_start = 0)
        : c_array_pin<ELEMENT, ARRAY>(dsp_env, avop_array, imp_count, imp_start)
    {
    }
    ~c_array_rw() { release(); }
    c_array_rw(const c_array_rw &) = delete;
    c_array_rw &operator=(const c_array_rw &) = delete;

    /** Writes one element; beyond the end nothing happens. */
    void set(int32_t imp_index, ELEMENT imp_value) noexcept
    {
        const auto ull_index = static_cast<size_t>(imp_index);
        if (ull_index < this->view().size())
            writable_elements()[ull_index] = imp_value;
    }

    /** All elements, which count as written from then on. */
    std::span<ELEMENT> writable_elements() noexcept
    {
        bc_modified = !this->view().empty();
        return this->view();
    }

    /** Releases the array; a second call does nothing. */
    void release() noexcept { this->unpin(std::exchange(bc_modified, false) ? 0 : JNI_ABORT); }

private:
    bool bc_modified = false;
};

using c_jintarray = c_array<jint, jintArray>;
using c_jbytearray = c_array<jbyte, jbyteArray>;
using c_jintarray_rw = c_array_rw<jint, jintArray>;
using c_jbytearray_rw = c_array_rw<jbyte, jbyteArray>;

} // namespace kiv::jni
