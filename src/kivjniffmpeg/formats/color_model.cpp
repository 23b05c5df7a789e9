#include "kivjniffmpeg/formats/color_model.h"

#include "jni/java_arrays.h"
#include "kivjniffmpeg/ffmpeg/loader.h"
#include "trace/trace.h"

#include <natives/ColorModelLayout.h>
#include <natives/PictureLayout.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace ColorModelLayout = natives::ColorModelLayout;
namespace PictureLayout = natives::PictureLayout;

namespace
{

constexpr int32_t im_any_bpp = -1;

struct dsd_model
{
    int32_t imc_fourcc;
    int32_t imc_bpp;
    AVPixelFormat iec_pixfmt;
};

// kept on purpose: 15 and 16 bits are big-endian, as Java's callers have always received them.
constexpr dsd_model s_models[] = {
    {0, 8, AV_PIX_FMT_RGB8},
    {0, 15, AV_PIX_FMT_RGB555BE},
    {0, 16, AV_PIX_FMT_RGB565BE},
    {0, 24, AV_PIX_FMT_RGB24},
    {0, 32, AV_PIX_FMT_BGRA},
    {im_fourcc_yv12, im_any_bpp, AV_PIX_FMT_YUV420P},
    {make_four_character_code("I420"), im_any_bpp, AV_PIX_FMT_YUV420P},
    {make_four_character_code("YUY2"), im_any_bpp, AV_PIX_FMT_YUYV422},
    {make_four_character_code("UYVY"), im_any_bpp, AV_PIX_FMT_UYVY422},
};

} // namespace

c_colormodel::~c_colormodel() = default;

std::unique_ptr<c_colormodel> c_colormodel::create_from_java_array(kiv::jni::c_jintarray &dsp_values)
{
    TRACE_FUNCTION(3);
    auto dsl_model = std::make_unique<c_colormodel>();
    dsp_values.pin();
    dsl_model->imc_fourcc = dsp_values[ColorModelLayout::FOURCC];
    dsl_model->imc_bpp = dsp_values[ColorModelLayout::BITS_PER_PIXEL];
    dsl_model->imc_depth = dsp_values[ColorModelLayout::DEPTH];
    dsl_model->imc_red = dsp_values[ColorModelLayout::RED_MASK];
    dsl_model->imc_green = dsp_values[ColorModelLayout::GREEN_MASK];
    dsl_model->imc_blue = dsp_values[ColorModelLayout::BLUE_MASK];
    dsl_model->imc_alpha = dsp_values[ColorModelLayout::ALPHA_MASK];
    dsp_values.release();
    const auto adsl_row = std::ranges::find_if(s_models, [&dsl_model](const dsd_model &dsp_row) {
        return dsp_row.imc_fourcc == dsl_model->imc_fourcc &&
               (dsp_row.imc_bpp == im_any_bpp || dsp_row.imc_bpp == dsl_model->imc_bpp);
    });
    if (adsl_row == std::end(s_models))
        return nullptr;
    dsl_model->iec_pixfmt = adsl_row->iec_pixfmt;
    dsl_model->bc_is_rgb = adsl_row->imc_fourcc == 0;
    return dsl_model;
}

jintArray c_colormodel::export_to_java_array(JNIEnv *adsp_env, jint imp_width, jint imp_height,
                                             std::span<const int32_t, 4> aimp_linesizes, jint imp_scanheight) const
{
    TRACE_FUNCTION(3);
    std::array<jint, PictureLayout::SIZE> aiml_values{};
    aiml_values[PictureLayout::WIDTH] = imp_width;
    aiml_values[PictureLayout::HEIGHT] = imp_height;
    std::ranges::copy(aimp_linesizes, &aiml_values[PictureLayout::LINE_SIZES]);
    aiml_values[PictureLayout::SCAN_HEIGHT] = imp_scanheight;
    aiml_values[PictureLayout::FOURCC] = imc_fourcc;
    aiml_values[PictureLayout::BITS_PER_PIXEL] = imc_bpp;
    aiml_values[PictureLayout::DEPTH] = imc_depth;
    aiml_values[PictureLayout::RED_MASK] = imc_red;
    aiml_values[PictureLayout::GREEN_MASK] = imc_green;
    aiml_values[PictureLayout::BLUE_MASK] = imc_blue;
    aiml_values[PictureLayout::ALPHA_MASK] = imc_alpha;
    return kiv::jni::to_java(kiv::jni::c_jnienv(adsp_env), aiml_values);
}

void c_colormodel::print() const
{
    TRACE_FUNCTION(3);
    TRACE_LINE(im_level_debug, "%s#%s(): fourcc=%s bpp=%d depth=%d red=%d green=%d blue=%d alpha=%d",
               four_character_text(imc_fourcc).data(), imc_bpp, imc_depth, imc_red, imc_green, imc_blue, imc_alpha);
}

int32_t c_colormodel::get_buffer_size_in_bytes(int32_t imp_width, int32_t, int32_t imp_scanline, int32_t imp_scanheight,
                                               int32_t imp_align) const
{
    TRACE_FUNCTION(3);
    if (bc_is_rgb)
        return g_avcodec.avpicture_get_size(iec_pixfmt, imp_width, imp_scanheight) + imp_align;
    // The layout refuses pictures whose product exceeds 32 bits.
    return static_cast<int32_t>(int64_t{imp_scanline} * imp_scanheight * 3 / 2) + imp_align;
}

const char *pixfmt2string(AVPixelFormat iep_format)
{
    TRACE_FUNCTION(4);
    return g_avutil.av_get_pix_fmt_name(iep_format);
}
