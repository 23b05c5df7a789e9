/**
 * @file
 * Java int[] and byte[] seen from native code, for as long as it takes to copy a few values in or out.
 *
 * A holder is made first (which may call the virtual machine) and pinned afterwards. While anything is pinned no other
 * JNI call, no lock and nothing that waits may run: a collector may be stopped for exactly that long. So pin, copy,
 * release; the destructor releases what was forgotten.
 *
 * Values beyond the end of a Java array that is shorter than declared read as 0 and are not written: the callers'
 * arrays are declared by length and not checked, and no call may leave its array.
 */
#pragma once

#include "jni/jnienv.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace kiv::jni
{

/** What both kinds of view share: the array, the part of it that is seen, and the pin. */
template <class ELEMENT, class ARRAY> class c_array_pin
{
public:
    c_array_pin(const c_array_pin &) = delete;
    c_array_pin &operator=(const c_array_pin &) = delete;

    /** Pins the array; null stays unpinned. @throws c_jniexception when the virtual machine has no memory for it */
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

protected:
    /**
     * @param avop_array may be null: an empty view
     * @param imp_count elements that the view is declared to have, from @p imp_start on; negative counts as 0
     */
    c_array_pin(const c_jnienv &dsp_env, ARRAY avop_array, int32_t imp_count, int32_t imp_start)
        : dsc_env(dsp_env), avoc_array(avop_array), imc_start(std::max(imp_start, 0))
    {
        if (avoc_array != nullptr)
            imc_count = std::clamp(dsc_env.get_array_length(avoc_array) - imc_start, 0, std::max(imp_count, 0));
    }
    ~c_array_pin() = default;

    /** The elements that the array really has of the view; empty unless pinned. */
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

/** Read-only view: released with JNI_ABORT always, so that nothing is ever copied back. */
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

    /** Gives the array back; a second time does nothing. */
    void release() noexcept { this->unpin(JNI_ABORT); }
};

/** Writable view: committed (mode 0) when something was written through it, otherwise released with JNI_ABORT. */
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

    /** Writes one element; nothing happens beyond the end. */
    void set(int32_t imp_index, ELEMENT imp_value) noexcept
    {
        const auto ull_index = static_cast<size_t>(imp_index);
        if (ull_index < this->view().size())
            writable_elements()[ull_index] = imp_value;
    }

    /** The elements, all to be counted as written. */
    std::span<ELEMENT> writable_elements() noexcept
    {
        bc_modified = !this->view().empty();
        return this->view();
    }

    /** Gives the array back; a second time does nothing. */
    void release() noexcept { this->unpin(std::exchange(bc_modified, false) ? 0 : JNI_ABORT); }

private:
    bool bc_modified = false;
};

using c_jintarray = c_array<jint, jintArray>;
using c_jbytearray = c_array<jbyte, jbyteArray>;
using c_jintarray_rw = c_array_rw<jint, jintArray>;
using c_jbytearray_rw = c_array_rw<jbyte, jbyteArray>;

} // namespace kiv::jni
