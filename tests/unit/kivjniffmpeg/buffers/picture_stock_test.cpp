#include "kivjniffmpeg/buffers/picture_stock.h"

#include "kivjniffmpeg/codecs/buffer_callbacks.h"
#include "kivjniffmpeg/ffmpeg/codec_context.h"
#include "kivjniffmpeg/ffmpeg/frame.h"
#include "support/real_ffmpeg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

namespace
{

using testing::ElementsAre;

class picture_stock : public real_ffmpeg
{
protected:
    /** A frame in memory of the stock. */
    std::unique_ptr<c_avframe> provide()
    {
        auto dsl_frame = std::make_unique<c_avframe>();
        (*dsl_frame)->width = 64;
        (*dsl_frame)->height = 48;
        (*dsl_frame)->format = AV_PIX_FMT_YUV420P;
        EXPECT_EQ(dsc_stock.provide(*dsc_context.context(), *dsl_frame->frame()), 0);
        return dsl_frame;
    }

    /** Delivers a picture that FFmpeg releases at once. @return its slot */
    int32_t deliver()
    {
        const auto dsl_frame = provide();
        return dsc_stock.deliver(*dsc_stock.find(*dsl_frame->frame()), *dsl_frame->frame()).imc_slot;
    }

    void add(int32_t imp_slot)
    {
        dsc_memory.emplace_back(static_cast<size_t>(dsc_stock.wanted_size()));
        dsc_stock.add(imp_slot, dsc_memory.back().data(), dsc_stock.wanted_size());
    }

    std::vector<int32_t> released()
    {
        std::array<int32_t, 8> aiml_slots{};
        const size_t ull_count = dsc_stock.release_slots(aiml_slots);
        return {aiml_slots.begin(), aiml_slots.begin() + static_cast<ptrdiff_t>(ull_count)};
    }

    const c_avcodec dsc_codec{AV_CODEC_ID_H264, true};
    c_avcodec_ctx dsc_context{dsc_codec, ds_buffer_callbacks};
    std::vector<std::vector<uint8_t>> dsc_memory;
    c_picture_stock dsc_stock;
};

TEST_F(picture_stock, delivered_block_is_released_when_ffmpeg_has_released_it_and_another_one_serves_again)
{
    provide();
    EXPECT_EQ(dsc_stock.wanted(), 2) << "one was missing";
    add(3);
    add(4);
    EXPECT_EQ(dsc_stock.wanted(), 0);
    auto dsl_first = provide();
    const c_picture_stock::dsd_block *adsl_first = dsc_stock.find(*dsl_first->frame());
    ASSERT_NE(adsl_first, nullptr);
    EXPECT_EQ(adsl_first->imc_slot, 4);
    dsl_first.reset();
    dsl_first = provide();
    ASSERT_EQ(dsc_stock.find(*dsl_first->frame()), adsl_first) << "nobody saw the picture before";
    dsc_stock.deliver(*dsc_stock.find(*dsl_first->frame()), *dsl_first->frame());
    EXPECT_THAT(released(), ElementsAre());
    std::thread([&] { dsl_first.reset(); }).join(); // FFmpeg's threads release too
    EXPECT_THAT(released(), ElementsAre(4));
    EXPECT_EQ(dsc_stock.wanted(), 1);
}

TEST_F(picture_stock, block_of_a_closed_picture_serves_the_next_one_when_ffmpeg_has_released_it)
{
    provide();
    add(3);
    add(4);
    auto dsl_frame = provide();
    dsc_stock.deliver(*dsc_stock.find(*dsl_frame->frame()), *dsl_frame->frame());
    dsc_stock.close(3); // in which there is no picture
    dsc_stock.close(4);
    auto dsl_next = provide();
    EXPECT_EQ(dsc_stock.find(*dsl_next->frame())->imc_slot, 3) << "the decoder still reads the closed picture";
    dsl_frame.reset();
    EXPECT_THAT(released(), ElementsAre());
    dsl_frame = provide();
    EXPECT_EQ(dsc_stock.find(*dsl_frame->frame())->imc_slot, 4);
}

TEST_F(picture_stock, kept_block_serves_again_when_its_picture_is_closed)
{
    dsc_stock.keep_delivered(1);
    provide();
    for (int32_t iml_slot = 0; iml_slot < 4; ++iml_slot)
        add(iml_slot);
    const std::array aiml_slots{deliver(), deliver(), deliver()};
    EXPECT_THAT(released(), ElementsAre()) << "three are kept for one picture ahead";
    EXPECT_EQ(dsc_stock.wanted(), 1) << "what Java has is not free";
    dsc_stock.close(aiml_slots[1]);
    EXPECT_EQ(dsc_stock.wanted(), 0);
    EXPECT_EQ(deliver(), aiml_slots[1]);
    EXPECT_THAT(released(), ElementsAre());
    deliver();
    EXPECT_THAT(released(), ElementsAre(aiml_slots[0])) << "the oldest may never be closed";
    dsc_stock.close(aiml_slots[0]);
    EXPECT_EQ(dsc_stock.wanted(), 2) << "it is only Java's";
    for (int32_t iml_slot = 10; iml_slot < 18; ++iml_slot)
        add(iml_slot);
    EXPECT_EQ(dsc_stock.wanted(), -6);
    dsc_stock.close(aiml_slots[2]);
    EXPECT_THAT(released(), ElementsAre(aiml_slots[2])) << "enough are free";
}

TEST_F(picture_stock, picture_in_native_memory_is_copied_into_a_block)
{
    const auto dsl_native = provide();
    AVFrame &dsl_frame = *dsl_native->frame();
    ASSERT_EQ(dsc_stock.find(dsl_frame)->imc_slot, c_picture_stock::im_native);
    dsl_frame.data[1][5] = 77;
    const auto dsl_layout = dsc_stock.layout_of(*dsc_context.context(), dsl_frame);
    AVFrame dsl_copy = dsl_frame;
    EXPECT_FALSE(dsc_stock.deliver_copy(dsl_frame, *dsl_layout, dsl_copy)) << "there is no block";
    add(0);
    ASSERT_TRUE(dsc_stock.deliver_copy(dsl_frame, *dsl_layout, dsl_copy));
    EXPECT_EQ(dsl_copy.data[1][5], 77);
    EXPECT_THAT(released(), ElementsAre(0));

    dsl_copy.width = 80; // unknown yet
    dsc_context->pix_fmt = AV_PIX_FMT_RGB8;
    const auto afnl_own = std::exchange(g_avcodec.avcodec_align_dimensions2,
                                        [](AVCodecContext *, int *, int *, int *) { throw std::bad_alloc(); });
    EXPECT_THROW(dsc_stock.layout_of(*dsc_context.context(), dsl_copy), std::bad_alloc);
    g_avcodec.avcodec_align_dimensions2 = afnl_own;
    EXPECT_EQ(dsc_context->pix_fmt, AV_PIX_FMT_RGB8);
}

} // namespace
