#include "kivjniffmpeg/codecs/output_queue.h"

#include "kivjniffmpeg/buffers/native_buffer.h"

#include <gtest/gtest.h>

TEST(output_queue, counts_the_bytes_that_wait)
{
    c_output_queue dsl_queue;
    for (const int32_t iml_size : {5, 0, 7})
        dsl_queue.pushback(c_native_buffer::make(iml_size, 0));
    EXPECT_EQ(dsl_queue.bytes(), 12U);
    EXPECT_EQ(dsl_queue.front_size(), 5);
    EXPECT_EQ(dsl_queue.popfront()->data_size(), 5);
    EXPECT_EQ(dsl_queue.bytes(), 7U);
    EXPECT_EQ(dsl_queue.size(), 2U);
    dsl_queue.clear();
    EXPECT_EQ(dsl_queue.bytes(), 0U);
    EXPECT_TRUE(dsl_queue.empty());
}

TEST(output_queue, delivers_more_than_an_array_holds_in_parts)
{
    c_output_queue dsl_queue;
    for (int inl_buffer = 0; inl_buffer < 5; ++inl_buffer) {
        auto dsl_buffer = c_native_buffer::make(1, 0);
        dsl_buffer->set_data_size(1 << 29);
        dsl_queue.pushback(std::move(dsl_buffer));
    }
    EXPECT_EQ(dsl_queue.deliverable(), 3 << 29);
    dsl_queue.popfront();
    dsl_queue.popfront();
    EXPECT_EQ(dsl_queue.deliverable(), 3 << 29);
    dsl_queue.popfront();
    EXPECT_EQ(dsl_queue.deliverable(), 2 << 29);
}
