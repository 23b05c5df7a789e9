#include "kivjniffmpeg/codecs/picture_call.h"

#include "jni/exceptions.h"
#include "kivjniffmpeg/ffmpeg/logged_errors.h"

#include <natives/PictureResult.h>

#include <algorithm>
#include <array>

namespace PictureCall = natives::PictureCall;

namespace
{

/** The blocks that come with a call. */
void add_to(c_picture_stock &dsp_stock, std::span<const int64_t> ailp_call)
{
    const auto ull_count =
        static_cast<size_t>(std::clamp<int64_t>(ailp_call[PictureCall::STOCKED], 0, int64_t{PictureCall::MOST_BLOCKS}));
    for (size_t ull_block = 0; ull_block < ull_count; ++ull_block) {
        const auto ailp_block =
            ailp_call.subspan(PictureCall::BLOCKS + ull_block * PictureCall::BLOCK_SIZE, PictureCall::BLOCK_SIZE);
        dsp_stock.add(static_cast<int32_t>(ailp_block[PictureCall::BLOCK_SLOT]),
                      // A Java long holds the address. NOLINTNEXTLINE(performance-no-int-to-ptr)
                      reinterpret_cast<uint8_t *>(static_cast<intptr_t>(ailp_block[PictureCall::BLOCK_ADDRESS])),
                      static_cast<int32_t>(ailp_block[PictureCall::BLOCK_BYTES]));
    }
}

/** Writes what the decoder needs and does not need any more. */
void write_stock(c_picture_stock &dsp_stock, std::span<int64_t> ailp_call)
{
    ailp_call[PictureCall::WANTED] = dsp_stock.wanted();
    ailp_call[PictureCall::WANTED_BYTES] = dsp_stock.wanted_size();
    std::array<int32_t, PictureCall::MOST_RELEASED> aiml_slots{};
    const size_t ull_count = dsp_stock.release_slots(aiml_slots);
    ailp_call[PictureCall::RELEASED] = static_cast<int64_t>(ull_count);
    std::copy_n(aiml_slots.begin(), ull_count, ailp_call.begin() + PictureCall::RELEASED_SLOTS);
}

void write_delivery(const c_videocodec::dsd_delivery &dsp_delivery, std::span<int64_t> ailp_call)
{
    const c_codec::dsd_picture_info &dsl_picture = dsp_delivery.dsc_picture;
    ailp_call[PictureCall::SLOT] = dsp_delivery.imc_slot;
    ailp_call[PictureCall::PICTURE_KEY] = dsp_delivery.ilc_key;
    ailp_call[PictureCall::FED_KEY] = dsp_delivery.ilc_fed;
    ailp_call[PictureCall::KEY_PICTURE] = dsl_picture.imc_key_frame;
    ailp_call[PictureCall::WIDTH] = dsl_picture.imc_width;
    ailp_call[PictureCall::HEIGHT] = dsl_picture.imc_height;
    ailp_call[PictureCall::PIXEL_FORMAT] = dsl_picture.imc_pixel_format;
    ailp_call[PictureCall::INTERLACED] = dsl_picture.imc_interlaced;
    ailp_call[PictureCall::PIXEL_WIDTH] = dsl_picture.imc_aspect_numerator;
    ailp_call[PictureCall::PIXEL_HEIGHT] = dsl_picture.imc_aspect_denominator;
    ailp_call[PictureCall::COLOR_RANGE] = dsl_picture.imc_color_range;
    ailp_call[PictureCall::COLOR_SPACE] = dsl_picture.imc_colorspace;
    ailp_call[PictureCall::COLOR_PRIMARIES] = dsl_picture.imc_color_primaries;
    ailp_call[PictureCall::COLOR_TRANSFER] = dsl_picture.imc_color_transfer;
    std::ranges::copy(dsp_delivery.aimc_planes, ailp_call.begin() + PictureCall::PLANE_OFFSETS);
    std::ranges::copy(dsl_picture.aimc_linesizes, ailp_call.begin() + PictureCall::LINE_SIZES);
}

} // namespace

c_picture_stock &picture_call::stock(c_videocodec &dsp_codec)
{
    c_picture_stock *adsl_stock = dsp_codec.stock();
    if (adsl_stock == nullptr)
        throw_ffmpeg_exception(2451, "the codec has no pooled pictures");
    return *adsl_stock;
}

void picture_call::add_blocks(c_videocodec &dsp_codec, std::span<const int64_t, PictureCall::SIZE> ailp_call)
{
    c_picture_stock &dsl_stock = stock(dsp_codec);
    const auto ull_closed =
        static_cast<size_t>(std::clamp<int64_t>(ailp_call[PictureCall::CLOSED], 0, int64_t{PictureCall::MOST_CLOSED}));
    dsp_codec.close_pictures(ailp_call.subspan(PictureCall::CLOSED_SLOTS, ull_closed));
    add_to(dsl_stock, ailp_call);
}

int32_t picture_call::decode(c_videocodec &dsp_codec, std::span<uint8_t> utp_packet, int32_t imp_flags,
                             std::span<int64_t, PictureCall::SIZE> ailp_call)
{
    c_picture_stock &dsl_stock = stock(dsp_codec);
    c_videocodec::dsd_delivery dsl_delivery{};
    const int64_t ill_errors = logged_errors::of_this_thread();
    const int32_t iml_result = dsp_codec.decode(utp_packet, imp_flags, ailp_call[PictureCall::KEY], dsl_delivery);
    if ((iml_result & natives::PictureResult::PICTURE) != 0)
        write_delivery(dsl_delivery, ailp_call);
    write_stock(dsl_stock, ailp_call);
    ailp_call[PictureCall::ERRORS] = logged_errors::of_this_thread() - ill_errors;
    return iml_result;
}
