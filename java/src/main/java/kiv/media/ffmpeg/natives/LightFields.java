package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} with the light of a stream of high dynamic range, by index. */
public final class LightFields {

    /** Elements of the array. */
    @Native public static final int SIZE = 25;

    /** Places of red, green, blue and white in the CIE's diagram: x and y of each, as numerator and denominator. */
    @Native public static final int COLORS = 0;

    /** The least and the greatest luminance of the screen in candela for a square metre, as numerator and denominator. */
    @Native public static final int LUMINANCE = 16;

    /** Whether the colours are known (1) or not (0). */
    @Native public static final int HAS_COLORS = 20;

    /** Whether the luminance is known (1) or not (0). */
    @Native public static final int HAS_LUMINANCE = 21;

    /** Whether the light of the pictures is known (1) or not (0). */
    @Native public static final int HAS_CONTENT = 22;

    /** Luminance of the brightest pixel, in candela for a square metre. */
    @Native public static final int CONTENT_MAXIMUM = 23;

    /** Mean luminance of the brightest picture, in the same unit. */
    @Native public static final int CONTENT_AVERAGE = 24;

    private LightFields() {
    }
}
