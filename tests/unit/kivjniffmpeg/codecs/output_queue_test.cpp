#include "kivjniffmpeg/codecs/output_queue.h"

#include "kivjniffmpeg/buffers/native_buffer.h"

#include <gtest/gtest.h>

namespace
{

TEST(output_queue, counts_the_bytes_that_wait)
{
    const auto push = [](c_output_queue &dsp_queue, int32_t imp_size) {
        auto dsl_buffer = std::make_unique<c_native_buffer>(imp_size, 0);
        dsl_buffer->add_reference();
        dsp_queue.pushback(c_framebuffer_reference(dsl_buffer.release()));
    };
    c_output_queue dsl_queue;
    push(dsl_queue, 5);
    push(dsl_queue, 0);
    push(dsl_queue, 7);
    EXPECT_EQ(dsl_queue.bytes(), 12U);
    EXPECT_EQ(dsl_queue.front_size(), 5);
    EXPECT_EQ(dsl_queue.popfront()->data_size(), 5);
    EXPECT_EQ(dsl_queue.bytes(), 7U);
    EXPECT_EQ(dsl_queue.size(), 2U);
    dsl_queue.clear();
    EXPECT_EQ(dsl_queue.bytes(), 0U);
    EXPECT_TRUE(dsl_queue.empty());
}

} // namespace
