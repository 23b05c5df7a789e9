package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;
import java.nio.ByteBuffer;

/**
 * Natives about pictures in direct buffers: what FFmpeg's pixel formats are, and conversion between them. Handles are
 * not checked; everything else is.
 */
public final class c_pictureconverter_ffmpeg {

    /** Scaling by cubic curves, as the {@code ffmpeg} program does unless told otherwise. */
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
     * Converts and scales a picture. Its places are laid out as {@link ConverterPlace}.
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
