package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * The {@code int[]} that describes a picture in memory, by index: for the allocation callback and from {@link
 * kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_get_vcodec_dst_format}. The indices without a name are 0.
 */
public final class PictureLayout {

    /** Elements of the array. */
    @Native public static final int SIZE = 16;

    /** Planes that this and every other layout has room for. */
    @Native public static final int PLANES = 4;

    /** Width in pixels. */
    @Native public static final int WIDTH = 0;

    /** Height in pixels. */
    @Native public static final int HEIGHT = 1;

    /** Bytes from one line to the next, one element for each plane. */
    @Native public static final int LINE_SIZES = 2;

    /** Lines allocated for the first plane. */
    @Native public static final int SCAN_HEIGHT = 6;

    /** Four-character code, its first character in the low byte; 0 for RGB. */
    @Native public static final int FOURCC = 8;

    /** Bits per pixel. */
    @Native public static final int BITS_PER_PIXEL = 9;

    /** Bits of the colours in a pixel. */
    @Native public static final int DEPTH = 10;

    /** Bits of red in the value of a pixel. */
    @Native public static final int RED_MASK = 11;

    /** Bits of green in the value of a pixel. */
    @Native public static final int GREEN_MASK = 12;

    /** Bits of blue in the value of a pixel. */
    @Native public static final int BLUE_MASK = 13;

    /** Bits of opacity in the value of a pixel. */
    @Native public static final int ALPHA_MASK = 14;

    private PictureLayout() {
    }
}
