package kiv.media.ffmpeg.natives;

import java.nio.ByteBuffer;

/**
 * Natives about pictures in direct buffers: what FFmpeg's pixel formats are, and conversion between them. Handles are
 * not checked; everything else is.
 */
public final class c_pictureconverter_ffmpeg {

    /** Scaling by cubic curves, as the {@code ffmpeg} program does unless told otherwise. */
    public static final int BICUBIC = 4;

    private c_pictureconverter_ffmpeg() {
    }

    /**
     * Describes a pixel format.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param format FFmpeg's number
     * @return 26 integers (0 number of components, 1 and 2 binary logarithms of the chroma planes' horizontal and
     *     vertical subsampling, 3 FFmpeg's flags, 4 bits per pixel; from 6 on for each of four components its plane,
     *     the bytes from one to the next, the first one's place, the bits to shift it right by, and its bits), or null
     *     when there is no such format
     */
    public static native int[] n_pixel_format(long context, int format);

    /**
     * Names a pixel format.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @param format FFmpeg's number
     * @return FFmpeg's name, such as yuv420p, or null
     */
    public static native String n_pixel_format_name(long context, int format);

    /**
     * Creates a converter, for one thread at a time; it remembers the tables of its last conversion.
     *
     * @param context a handle of {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_init}
     * @return the converter's handle
     */
    public static native long n_create_converter(long context);

    /**
     * Converts and scales a picture. A place is 13 integers: 0 FFmpeg's number of the pixel format, 1 and 2 width and
     * height, 3 to 6 where the planes begin in the buffer, 7 to 10 the bytes from one line to the next, 11 FFmpeg's
     * number of the colour matrix and 12 whether all values are used (1), both for YUV that becomes RGB.
     *
     * @param converter a converter's handle
     * @param from a direct buffer with the picture; its position and limit are of no account
     * @param fromPlace where it is
     * @param to a direct buffer for the new picture
     * @param toPlace where it goes
     * @param flags how to scale: {@link #BICUBIC}
     * @throws RuntimeException when a picture is not within its buffer, or the formats cannot be converted
     */
    public static native void n_convert(long converter, ByteBuffer from, int[] fromPlace, ByteBuffer to, int[] toPlace,
            int flags);

    /**
     * Deletes a converter.
     *
     * @param converter its handle, dead afterwards
     */
    public static native void n_delete_converter(long converter);
}
