#include "memory/mutex.h"

#include <stdexcept>

void c_mutex::init()
{
    destroy();
    if (pthread_mutex_init(&dsc_mutex, nullptr) != 0)
        throw std::runtime_error("pthread_mutex_init() failure");
    bc_initialised = true;
}

void c_mutex::destroy() noexcept
{
    if (bc_initialised)
        pthread_mutex_destroy(&dsc_mutex);
    bc_initialised = false;
}

void c_mutex::lock()
{
    if (!bc_initialised || pthread_mutex_lock(&dsc_mutex) != 0)
        throw std::runtime_error("pthread_mutex_lock() failure");
}

void c_mutex::unlock()
{
    if (!bc_initialised || pthread_mutex_unlock(&dsc_mutex) != 0)
        throw std::runtime_error("pthread_mutex_unlock() failure");
}

c_mutex_lock::~c_mutex_lock()
{
    try {
        dsc_mutex.unlock();
    } catch (const std::runtime_error &) {
    }
}
