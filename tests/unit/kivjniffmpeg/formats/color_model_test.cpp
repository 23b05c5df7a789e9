#include "kivjniffmpeg/formats/color_model.h"

#include "support/fake_jnienv.h"
#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>

#include <tuple>

TEST(color_model, code_and_bits_stand_for_a_pixel_format)
{
    load_ffmpeg();
    c_fake_vm dsl_vm;
    c_fake_jnienv dsl_env(dsl_vm);
    // The code, its bits and format, and the bytes of 24 lines of 64 bytes in memory for 26 lines, aligned to 32.
    const std::tuple<int32_t, int32_t, AVPixelFormat, int32_t> dsl_models[] = {
        {0, 8, AV_PIX_FMT_RGB8, 32 * 26 + 32},
        {0, 15, AV_PIX_FMT_RGB555BE, 2 * 32 * 26 + 32},
        {0, 16, AV_PIX_FMT_RGB565BE, 2 * 32 * 26 + 32},
        {0, 24, AV_PIX_FMT_RGB24, 3 * 32 * 26 + 32},
        {0, 32, AV_PIX_FMT_BGRA, 4 * 32 * 26 + 32},
        {im_fourcc_yv12, 7, AV_PIX_FMT_YUV420P, 64 * 26 * 3 / 2 + 32},
        {make_four_character_code("I420"), 12, AV_PIX_FMT_YUV420P, 64 * 26 * 3 / 2 + 32},
        {make_four_character_code("YUY2"), 16, AV_PIX_FMT_YUYV422, 64 * 26 * 3 / 2 + 32},
        {make_four_character_code("UYVY"), 16, AV_PIX_FMT_UYVY422, 64 * 26 * 3 / 2 + 32}};
    for (const auto &[iml_fourcc, iml_bits, iel_format, iml_bytes] : dsl_models) {
        kiv::jni::c_jintarray dsl_values(kiv::jni::c_jnienv(&dsl_env),
                                         dsl_env.local_ints({iml_fourcc, iml_bits, 24, 3, 4, 5, 6}), 16);
        const auto dsl_model = c_colormodel::create_from_java_array(dsl_values);
        ASSERT_NE(dsl_model, nullptr);
        EXPECT_EQ(dsl_model->pixel_format(), iel_format);
        EXPECT_EQ(dsl_model->is_rgb(), iml_fourcc == 0);
        EXPECT_EQ(dsl_model->get_buffer_size_in_bytes(32, 24, 64, 26, 32), iml_bytes);
    }
    for (const auto &aiml_unknown : {std::vector<jint>{0, 12}, {make_four_character_code("NV12"), 12}, {}}) {
        kiv::jni::c_jintarray dsl_values(kiv::jni::c_jnienv(&dsl_env), dsl_env.local_ints(aiml_unknown), 7);
        EXPECT_EQ(c_colormodel::create_from_java_array(dsl_values), nullptr);
    }
}
