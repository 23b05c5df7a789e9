/** @file A mutex that start-up creates, and its scoped lock. */
#pragma once

#include <pthread.h>

/**
 * A POSIX mutex that does not exist before init().
 *
 * The library's one instance is created by JNI_OnLoad, so that a call which comes too early fails instead of going on
 * unguarded.
 */
class c_mutex
{
public:
    c_mutex() noexcept = default;
    ~c_mutex() { destroy(); }
    c_mutex(const c_mutex &) = delete;
    c_mutex &operator=(const c_mutex &) = delete;

    /** Creates the mutex; one that exists is destroyed first. @throws std::runtime_error "pthread_mutex_init() failure" */
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

    /** Unlocks; a failure has nowhere to go and is dropped. */
    ~c_mutex_lock();
    c_mutex_lock(const c_mutex_lock &) = delete;
    c_mutex_lock &operator=(const c_mutex_lock &) = delete;

private:
    c_mutex &dsc_mutex;
};
