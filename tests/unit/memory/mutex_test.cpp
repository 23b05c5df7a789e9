#include "memory/mutex.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

static_assert(std::is_trivially_destructible_v<c_mutex>, "threads may still use a static mutex at the process's end");

TEST(mutex, does_not_exist_before_it_is_made)
{
    c_mutex dsl_mutex;
    EXPECT_THROW(dsl_mutex.lock(), std::runtime_error);
    EXPECT_THROW(dsl_mutex.unlock(), std::runtime_error);
    dsl_mutex.init();
    dsl_mutex.init();
    for (int inl_turn = 0; inl_turn < 2; ++inl_turn)
        const c_mutex_lock dsl_lock(dsl_mutex);
    dsl_mutex.destroy();
    EXPECT_THROW(const c_mutex_lock dsl_lock(dsl_mutex), std::runtime_error);
}
