/** @file A mutex that is created at start-up, and its scoped lock. */
#pragma once

#include <pthread.h>

/**
 * A POSIX mutex that does not exist before init().
 *
 * JNI_OnLoad creates the library's one mutex, so a call that comes before it fails instead of running unguarded.
 *
 * The destructor does nothing: a static mutex outlives the end of main(), because daemon threads may still lock it while
 * the process ends.
 */
class c_mutex
{
public:
    constexpr c_mutex() noexcept = default;
    ~c_mutex() = default;
    c_mutex(const c_mutex &) = delete;
    c_mutex &operator=(const c_mutex &) = delete;

    /** Creates the mutex and destroys the one that exists. @throws std::runtime_error "pthread_mutex_init() failure" */
    void init();

    /** Destroys the mutex if it exists. */
    void destroy() noexcept;

    /** Locks. @throws std::runtime_error "pthread_mutex_lock() failure", also when the mutex does not exist yet */
    void lock();

    /** Unlocks. @throws std::runtime_error "pthread_mutex_unlock() failure" */
    void unlock();

private:
    pthread_mutex_t dsc_mutex{};
    bool bc_initialised = false;
};

/** Holds a c_mutex for a scope. */
class c_mutex_lock
{
public:
    /** Locks. @throws std::runtime_error as c_mutex::lock */
    explicit c_mutex_lock(c_mutex &dsp_mutex) : dsc_mutex(dsp_mutex) { dsc_mutex.lock(); }

    /** Unlocks and ignores a failure, which a destructor cannot report. */
    ~c_mutex_lock();
    c_mutex_lock(const c_mutex_lock &) = delete;
    c_mutex_lock &operator=(const c_mutex_lock &) = delete;

private:
    c_mutex &dsc_mutex;
};
