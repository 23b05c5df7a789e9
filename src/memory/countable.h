/** @file An intrusive reference count. */
#pragma once

#include <cstdint>

namespace kiv::memory
{

/**
 * A count of references inside the object that they keep alive.
 *
 * The count starts at 0; every holder adds its own reference. It is a plain integer: whoever shares an object between
 * threads guards the count with a lock. Library contexts have the library mutex; a frame buffer belongs to one thread.
 *
 * A deriving class has a virtual destructor, through which the last release deletes the object.
 */
class c_countable
{
public:
    /** Adds one reference. */
    void add_reference() noexcept { ++imc_count; }

    /** Releases one reference and deletes nothing. @return the references that are left */
    int32_t drop_reference() noexcept { return --imc_count; }

    /** The references that are held now. */
    int32_t reference_count() const noexcept { return imc_count; }

protected:
    c_countable() noexcept = default;
    ~c_countable() = default;
    c_countable(const c_countable &) = delete;
    c_countable &operator=(const c_countable &) = delete;

private:
    int32_t imc_count = 0;
};

/** Releases one reference to @p adsp_object; the last one deletes the object. Null does nothing. */
template <class T> void release(T *adsp_object)
{
    if (adsp_object != nullptr && adsp_object->drop_reference() == 0)
        delete adsp_object;
}

} // namespace kiv::memory
