/** @file An intrusive reference count. */
#pragma once

#include <cstdint>

namespace kiv::memory
{

/**
 * A plain count inside the object that it keeps alive.
 *
 * The count starts at 0: every holder takes its own reference. It is an ordinary integer; whoever shares an object
 * between threads guards the count with a lock (library contexts do, frame buffers belong to one thread).
 *
 * A deriving class has a virtual destructor, through which the last release deletes it.
 */
class c_countable
{
public:
    /** Takes one reference. */
    void add_reference() noexcept { ++imc_count; }

    /** Gives one reference back without deleting. @return the references that are left */
    int32_t drop_reference() noexcept { return --imc_count; }

    /** References held now. */
    int32_t reference_count() const noexcept { return imc_count; }

protected:
    c_countable() noexcept = default;
    ~c_countable() = default;
    c_countable(const c_countable &) = delete;
    c_countable &operator=(const c_countable &) = delete;

private:
    int32_t imc_count = 0;
};

/** Gives one reference to @p adsp_object back and deletes it when that was the last one; null does nothing. */
template <class T> void release(T *adsp_object)
{
    if (adsp_object != nullptr && adsp_object->drop_reference() == 0)
        delete adsp_object;
}

} // namespace kiv::memory
