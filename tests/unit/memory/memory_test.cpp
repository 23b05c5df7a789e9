#include "memory/countable.h"
#include "memory/mutex.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace
{

struct c_counted : kiv::memory::c_countable
{
    explicit c_counted(bool &bp_alive) : bc_alive(bp_alive) { bc_alive = true; }
    virtual ~c_counted() { bc_alive = false; }
    bool &bc_alive;
};

struct c_derived final : c_counted
{
    using c_counted::c_counted;
    std::vector<int> dsc_memory = std::vector<int>(100); // lost unless the destructor is virtual
};

TEST(countable, last_release_deletes_through_the_base)
{
    bool bl_alive = false;
    c_counted *adsl_object = new c_derived(bl_alive);
    EXPECT_EQ(adsl_object->reference_count(), 0);
    adsl_object->add_reference();
    adsl_object->add_reference();
    kiv::memory::release(adsl_object);
    EXPECT_TRUE(bl_alive);
    EXPECT_EQ(adsl_object->reference_count(), 1);
    kiv::memory::release(adsl_object);
    EXPECT_FALSE(bl_alive);
    kiv::memory::release<c_counted>(nullptr);
}

std::string failure_of(auto dsp_operation)
{
    try {
        dsp_operation();
    } catch (const std::runtime_error &dsl_exception) {
        return dsl_exception.what();
    }
    return "";
}

TEST(mutex, fails_unless_it_exists)
{
    c_mutex dsl_mutex;
    EXPECT_EQ(failure_of([&] { const c_mutex_lock dsl_lock(dsl_mutex); }), "pthread_mutex_lock() failure");
    EXPECT_EQ(failure_of([&] { dsl_mutex.unlock(); }), "pthread_mutex_unlock() failure");
    dsl_mutex.init();
    EXPECT_EQ(failure_of([&] { const c_mutex_lock dsl_lock(dsl_mutex); }), "");
    dsl_mutex.init(); // start-up ran twice
    EXPECT_EQ(failure_of([&] { const c_mutex_lock dsl_lock(dsl_mutex); }), "");
    dsl_mutex.destroy();
    dsl_mutex.destroy();
    EXPECT_EQ(failure_of([&] { dsl_mutex.lock(); }), "pthread_mutex_lock() failure");
}

TEST(mutex, lock_excludes_other_threads_and_survives_its_mutex)
{
    c_mutex dsl_mutex;
    dsl_mutex.init();
    int inl_sum = 0;
    std::vector<std::thread> dsl_threads;
    for (int inl_thread = 0; inl_thread < 4; ++inl_thread)
        dsl_threads.emplace_back([&] {
            for (int inl_round = 0; inl_round < 1000; ++inl_round) {
                const c_mutex_lock dsl_lock(dsl_mutex);
                ++inl_sum;
            }
        });
    for (std::thread &dsl_thread : dsl_threads)
        dsl_thread.join();
    EXPECT_EQ(inl_sum, 4000);
    c_mutex dsl_other;
    dsl_other.init();
    c_mutex_lock dsl_lock(dsl_other);
    dsl_other.unlock();
    dsl_other.destroy(); // the lock's unlocking fails and is dropped
}

} // namespace
