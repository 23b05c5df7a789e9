package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;
import java.nio.ByteBuffer;

/**
 * Natives that describe FFmpeg's pixel formats and convert pictures in direct buffers. The library checks all arguments
 * except handles, of which it detects only 0.
 */
public final class c_pictureconverter_ffmpeg {

    /** Bicubic interpolation, the default of the {@code ffmpeg} program. */
    @Native public static final int BICUBIC = 4;

    private c_pictureconverter_ffmpeg() {
    }

    /**
     * Describes a pixel format.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param format FFmpeg's number
     * @return a new array, laid out as {@link PixelFormatFields}, or null when there is no such format
     */
    public static native int[] n_pixel_format(long context, int format);

    /**
     * Returns the name of a pixel format.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param format FFmpeg's number
     * @return FFmpeg's name, such as yuv420p, or null
     */
    public static native String n_pixel_format_name(long context, int format);

    /**
     * Creates a converter for one thread at a time. It caches the tables of its last conversion.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @return the converter's handle
     */
    public static native long n_create_converter(long context);

    /**
     * Converts and scales a picture. Its places are laid out as {@link ConverterPlace}.
     *
     * @param converter a converter's handle
     * @param from a direct buffer with the picture; its position and limit are ignored
     * @param fromPlace the place of the picture
     * @param to a direct buffer for the new picture
     * @param toPlace the place of the new picture
     * @param flags the way of scaling: {@link #BICUBIC}
     * @throws RuntimeException when a picture is not within its buffer, or the formats cannot be converted
     */
    public static native void n_convert(long converter, ByteBuffer from, int[] fromPlace, ByteBuffer to, int[] toPlace,
            int flags);

    /**
     * Converts, scales and turns a picture into an array.
     *
     * @param converter a converter's handle
     * @param from a direct buffer with the picture; its position and limit are ignored
     * @param fromPlace the place of the picture
     * @param pixels receives a pixel in each element, row by row
     * @param toPlace the format, of four bytes a pixel, and the size before the turning; the rest is not read
     * @param flags the way of scaling: {@link #BICUBIC}
     * @param degrees by which the picture is then turned clockwise: 0, 90, 180 or 270
     * @param mirrored whether left and right are exchanged before the turning
     * @throws RuntimeException when a picture is not within its memory, or the formats cannot be converted
     */
    public static native void n_convert_into(long converter, ByteBuffer from, int[] fromPlace, int[] pixels, int[] toPlace,
            int flags, int degrees, boolean mirrored);

    /**
     * Turns a picture. Both have the same format; where the sides are exchanged, chroma is as coarse in both directions.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param from a direct buffer with the picture; its position and limit are ignored
     * @param fromPlace the place of the picture
     * @param to a direct buffer for the turned picture
     * @param toPlace its place
     * @param degrees by which it is turned clockwise: 0, 90, 180 or 270
     * @param mirrored whether left and right are exchanged before the turning
     * @throws RuntimeException when a picture is not within its buffer, or cannot be turned so
     */
    public static native void n_turn(long context, ByteBuffer from, int[] fromPlace, ByteBuffer to, int[] toPlace,
            int degrees, boolean mirrored);

    /**
     * Filters and compresses an image for a PNG of 8-bit red, green and blue. It needs no FFmpeg.
     *
     * @param pixels {@code 0xAARRGGBB}, row by row without padding; their opacity is left out
     * @param width in pixels
     * @param height in pixels
     * @return a new array with the contents of the chunk IDAT
     * @throws RuntimeException when there are not as many pixels
     */
    public static native byte[] n_png_data(int[] pixels, int width, int height);

    /**
     * Deletes a converter.
     *
     * @param converter its handle, invalid after the call
     */
    public static native void n_delete_converter(long converter);
}
