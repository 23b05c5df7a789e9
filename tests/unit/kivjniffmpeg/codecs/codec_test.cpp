#include "kivjniffmpeg/codecs/codec.h"

#include <gtest/gtest.h>

TEST(decoder_progress, results_may_be_many_but_not_for_ever)
{
    c_decoder_progress dsl_progress;
    for (int inl_call = 0; inl_call < 1000; ++inl_call)
        EXPECT_FALSE(dsl_progress.is_stuck(1, inl_call % 2 == 0)) << "bytes are consumed";
    for (int inl_call = 0; inl_call < 256; ++inl_call)
        EXPECT_FALSE(dsl_progress.is_stuck(0, true)) << inl_call;
    EXPECT_TRUE(dsl_progress.is_stuck(0, true)) << "nothing is consumed for these results";
    EXPECT_FALSE(dsl_progress.is_stuck(1, false));
    for (int inl_call = 0; inl_call < 32; ++inl_call)
        EXPECT_FALSE(dsl_progress.is_stuck(0, false));
    EXPECT_TRUE(dsl_progress.is_stuck(0, false)) << "nothing happens";
}
