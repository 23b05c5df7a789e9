package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * The {@code int[]} that describes a picture format to {@link
 * kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_create_vcodec_to_raw}, by index.
 */
public final class ColorModelLayout {

    /** Elements of the array. */
    @Native public static final int SIZE = 7;

    /** Four-character code, its first character in the low byte; 0 for RGB. */
    @Native public static final int FOURCC = 0;

    /** Bits per pixel. */
    @Native public static final int BITS_PER_PIXEL = 1;

    /** Bits of the colours in a pixel. */
    @Native public static final int DEPTH = 2;

    /** Bits of red in the value of a pixel. */
    @Native public static final int RED_MASK = 3;

    /** Bits of green in the value of a pixel. */
    @Native public static final int GREEN_MASK = 4;

    /** Bits of blue in the value of a pixel. */
    @Native public static final int BLUE_MASK = 5;

    /** Bits of opacity in the value of a pixel. */
    @Native public static final int ALPHA_MASK = 6;

    private ColorModelLayout() {
    }
}
