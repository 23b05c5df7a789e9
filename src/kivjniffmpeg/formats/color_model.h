/** @file A picture format in which Java takes decoded pictures. */
#pragma once

#include "jni/array_holders.h"
#include "kivjniffmpeg/ffmpeg/abi.h"
#include "kivjniffmpeg/formats/four_character_code.h"

#include <jni.h>

#include <cstdint>
#include <memory>
#include <span>

/** In this model Java gets the planes Y, V, U, although FFmpeg writes Y, U, V. */
inline constexpr int32_t im_fourcc_yv12 = make_four_character_code("YV12");

/** A four-character code, bits per pixel and colour masks, with FFmpeg's pixel format for them. */
class c_colormodel
{
public:
    /** The model of a caller who names none: it has no pixel format, and everything is 0. */
    c_colormodel() noexcept = default;
    virtual ~c_colormodel();
    c_colormodel(const c_colormodel &) = delete;
    c_colormodel &operator=(const c_colormodel &) = delete;

    /** Reads Java's ColorModelLayout. @return null when code and bits per pixel are those of no supported format */
    static std::unique_ptr<c_colormodel> create_from_java_array(kiv::jni::c_jintarray &dsp_values);

    /**
     * Describes a picture buffer in this model: a new array, laid out as PictureLayout.
     *
     * @param imp_width,imp_height pixels
     * @param aimp_linesizes bytes per line of each plane
     * @param imp_scanheight lines allocated for the first plane
     * @throws kiv::jni::c_jniexception
     */
    jintArray export_to_java_array(JNIEnv *adsp_env, jint imp_width, jint imp_height,
                                   std::span<const int32_t, 4> aimp_linesizes, jint imp_scanheight) const;

    /** One trace line. */
    void print() const;

    /**
     * Bytes that Java is asked for, for one picture: FFmpeg's size for an RGB model, the size of 4:2:0 for all others,
     * and room for the alignment.
     *
     * kept on purpose: the size of 4:2:0 is too small for some packed 4:2:2 pictures. Whoever allocates takes the
     * larger of this and the size of the planes.
     */
    int32_t get_buffer_size_in_bytes(int32_t imp_width, int32_t imp_height, int32_t imp_scanline,
                                     int32_t imp_scanheight, int32_t imp_align) const;

    AVPixelFormat pixel_format() const noexcept { return iec_pixfmt; }
    bool is_rgb() const noexcept { return bc_is_rgb; }
    int32_t fourcc() const noexcept { return imc_fourcc; }

private:
    AVPixelFormat iec_pixfmt = AV_PIX_FMT_NONE;
    bool bc_is_rgb = false;
    int32_t imc_fourcc = 0;
    int32_t imc_bpp = 0;
    int32_t imc_depth = 0;
    int32_t imc_red = 0;
    int32_t imc_green = 0;
    int32_t imc_blue = 0;
    int32_t imc_alpha = 0;
};

/** FFmpeg's name of a pixel format, or null. */
const char *pixfmt2string(AVPixelFormat iep_format);
