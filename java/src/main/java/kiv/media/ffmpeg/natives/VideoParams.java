package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * The {@code int[]} beside a packet in {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_vcodec_process}, by index: what
 * the caller sets, then what the call writes.
 */
public final class VideoParams {

    /** Elements of the array. */
    @Native public static final int SIZE = 16;

    /** Elements of the array of a codec that takes direct buffers. */
    @Native public static final int DIRECT_SIZE = 32;

    /** Offset of the packet in its array, in bytes. */
    @Native public static final int OFFSET = 0;

    /** Length of the packet in bytes. */
    @Native public static final int LENGTH = 1;

    /** The sum of {@link ProcessFlags}. */
    @Native public static final int FLAGS = 2;

    /** The packet's timestamp, low word. It is signed: with its top bit set the high word becomes all ones. */
    @Native public static final int TIME_LOW = 3;

    /** The packet's timestamp, high word. */
    @Native public static final int TIME_HIGH = 4;

    /** Out: one of {@link ArrayKind}. */
    @Native public static final int ARRAY_KIND = 5;

    /** Out: elements from the memory's start to the picture. */
    @Native public static final int PICTURE_OFFSET = 6;

    /** Out: bytes from there to each plane, one element for each plane; 0 for a plane that does not exist. */
    @Native public static final int PLANE_OFFSETS = 7;

    /** Out: size of the picture in elements. */
    @Native public static final int PICTURE_SIZE = 11;

    /** Out: the flags of the call. */
    @Native public static final int CALL_FLAGS = 12;

    /** Out: timestamp of the picture's packet, low word. */
    @Native public static final int PICTURE_TIME_LOW = 13;

    /** Out: timestamp of the picture's packet, high word. */
    @Native public static final int PICTURE_TIME_HIGH = 14;

    /** Out: an opaque number, not 0 with a picture. */
    @Native public static final int REFERENCE_WORD = 15;

    /** Out, from here on for direct buffers only: width in pixels. */
    @Native public static final int WIDTH = 16;

    /** Out: height in pixels. */
    @Native public static final int HEIGHT = 17;

    /** Out: FFmpeg's number of the pixel format. */
    @Native public static final int PIXEL_FORMAT = 18;

    /** Out: 1 for a picture that was decoded without the help of others. */
    @Native public static final int KEY_PICTURE = 19;

    /** Out: FFmpeg's number of the picture type. */
    @Native public static final int PICTURE_TYPE = 20;

    /** Out: one of {@link Interlacing}. */
    @Native public static final int INTERLACED = 21;

    /** Out: bytes from one line to the next, one element for each plane. */
    @Native public static final int LINE_SIZES = 22;

    /** Out: width of a pixel in units of its height; 0 when unknown. */
    @Native public static final int PIXEL_WIDTH = 26;

    /** Out: height of a pixel in the same units. */
    @Native public static final int PIXEL_HEIGHT = 27;

    /** Out: one of {@link ColorRange}, or another number when unknown. */
    @Native public static final int COLOR_RANGE = 28;

    /** Out: FFmpeg's number of the matrix by which YUV becomes RGB. */
    @Native public static final int COLOR_SPACE = 29;

    private VideoParams() {
    }
}
