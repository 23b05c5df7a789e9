#include "kivjniffmpeg/buffers/frame_buffer.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/buffers/native_buffer.h"

#include <gmock/gmock.h>

#include <new>

TEST(frame_buffer, copies_what_fits_and_has_four_planes)
{
    c_native_buffer dsl_buffer(3, 256);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(dsl_buffer.data()) % 256, 0U);
    std::ranges::fill_n(dsl_buffer.data(), 3, uint8_t{7});
    uint8_t utl_copy[4] = {};
    EXPECT_FALSE(dsl_buffer.copy_to(utl_copy, 2));
    EXPECT_THAT(utl_copy, testing::Each(0));
    EXPECT_TRUE(dsl_buffer.copy_to(utl_copy, 3));
    EXPECT_THAT(utl_copy, testing::ElementsAre(7, 7, 7, 0));
    EXPECT_THROW(dsl_buffer.copy_to(nullptr, 3), c_ffmpeg_exception);
    dsl_buffer.set_plane_offsets({1, 2, 3, 4});
    EXPECT_EQ(dsl_buffer.get_plane_offset(3), 4);
    EXPECT_THROW(dsl_buffer.get_plane_offset(4), c_ffmpeg_exception);
    EXPECT_THROW(c_native_buffer(-1, 0), std::bad_alloc);
}
