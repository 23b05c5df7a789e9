package kiv.media.ffmpeg;

import java.util.Optional;
import kiv.media.ffmpeg.natives.ColorModelLayout;

/**
 * The formats in which {@link c_multimediaapi_ffmpeg} delivers pictures in arrays. libswscale converts pictures that
 * the decoder produces in another format, or in another size than the stream's.
 *
 * <pre>{@code
 * int[] layout = c_multimediaapi_ffmpeg.n_get_vcodec_dst_format(codec);
 * PictureFormat format = PictureFormat.of(layout[PictureLayout.FOURCC],
 *         layout[PictureLayout.BITS_PER_PIXEL]).orElseThrow();
 * }</pre>
 */
public enum PictureFormat {
    /** Planar YUV 4:2:0, planes in the order Y, V, U. */
    YV12(fourcc("YV12"), 12, 3, Byte.BYTES, 0, 0, 0, 0),
    /** Planar YUV 4:2:0, planes in the order Y, U, V. */
    I420(fourcc("I420"), 12, 3, Byte.BYTES, 0, 0, 0, 0),
    /** Packed YUV 4:2:2, bytes in the order Y0 U Y1 V. */
    YUY2(fourcc("YUY2"), 16, 1, Short.BYTES, 0, 0, 0, 0),
    /** Packed YUV 4:2:2, bytes in the order U Y0 V Y1. */
    UYVY(fourcc("UYVY"), 16, 1, Short.BYTES, 0, 0, 0, 0),
    /**
     * RGB in one byte: three bits red, three green, two blue. FFmpeg adds a palette, for which an array has no room, so
     * decoders refuse it.
     */
    RGB8(0, 8, 1, Byte.BYTES, 0xE0, 0x1C, 0x03, 0),
    /** RGB with five bits each in two bytes, big-endian. */
    RGB15(0, 15, 1, Short.BYTES, 0x7C00, 0x03E0, 0x001F, 0),
    /** RGB with five, six and five bits in two bytes, big-endian. */
    RGB16(0, 16, 1, Short.BYTES, 0xF800, 0x07E0, 0x001F, 0),
    /** RGB in three bytes: red, green, blue. No Java array has elements of that size, so decoders refuse it. */
    RGB24(0, 24, 1, 3, 0xFF0000, 0x00FF00, 0x0000FF, 0),
    /** RGB in an {@code int} of the form {@code 0xAARRGGBB}, like that of a {@code BufferedImage}. */
    RGB32(0, 32, 1, Integer.BYTES, 0xFF0000, 0x00FF00, 0x0000FF, 0xFF000000);

    private final int fourcc;
    private final int bitsPerPixel;
    private final int planes;
    private final int elementSize;
    private final int redMask;
    private final int greenMask;
    private final int blueMask;
    private final int alphaMask;

    PictureFormat(int fourcc, int bitsPerPixel, int planes, int elementSize, int redMask, int greenMask, int blueMask,
            int alphaMask) {
        this.fourcc = fourcc;
        this.bitsPerPixel = bitsPerPixel;
        this.planes = planes;
        this.elementSize = elementSize;
        this.redMask = redMask;
        this.greenMask = greenMask;
        this.blueMask = blueMask;
        this.alphaMask = alphaMask;
    }

    /** {@return the four-character code with the first character in the low byte; 0 for RGB} */
    public int fourcc() {
        return fourcc;
    }

    /** {@return bits of a pixel on average} */
    public int bitsPerPixel() {
        return bitsPerPixel;
    }

    /** {@return number of planes, 1 or 3} */
    public int planes() {
        return planes;
    }

    /** {@return the bits of red in a pixel's value; 0 for YUV} */
    public int redMask() {
        return redMask;
    }

    /** {@return the bits of green in a pixel's value; 0 for YUV} */
    public int greenMask() {
        return greenMask;
    }

    /** {@return the bits of blue in a pixel's value; 0 for YUV} */
    public int blueMask() {
        return blueMask;
    }

    /** {@return the bits of alpha in a pixel's value; 0 when there is none} */
    public int alphaMask() {
        return alphaMask;
    }

    /** {@return whether a pixel consists of red, green and blue} */
    public boolean isRgb() {
        return fourcc == 0;
    }

    /** Bytes in an element of a picture's array: 1, 2 or 4; 3 where no array fits. */
    int elementSize() {
        return elementSize;
    }

    /** The colour model laid out as {@link ColorModelLayout}. */
    int[] toColorModel() {
        int[] model = new int[ColorModelLayout.SIZE];
        model[ColorModelLayout.FOURCC] = fourcc;
        model[ColorModelLayout.BITS_PER_PIXEL] = bitsPerPixel;
        model[ColorModelLayout.DEPTH] = bitsPerPixel;
        model[ColorModelLayout.RED_MASK] = redMask;
        model[ColorModelLayout.GREEN_MASK] = greenMask;
        model[ColorModelLayout.BLUE_MASK] = blueMask;
        model[ColorModelLayout.ALPHA_MASK] = alphaMask;
        return model;
    }

    /**
     * Finds the format that a layout of the library describes.
     *
     * @param fourcc its four-character code, 0 for RGB
     * @param bitsPerPixel its bits per pixel; ignored for YUV
     * @return the format, or empty when there is none
     */
    public static Optional<PictureFormat> of(int fourcc, int bitsPerPixel) {
        for (PictureFormat format : values()) {
            if (format.fourcc == fourcc && (fourcc != 0 || format.bitsPerPixel == bitsPerPixel)) {
                return Optional.of(format);
            }
        }
        return Optional.empty();
    }

    private static int fourcc(String code) {
        return FourCharacterCode.of(code);
    }
}
