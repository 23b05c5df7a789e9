package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} with what a stream says besides its numbers and texts, by index. */
public final class SideDataFields {

    /** Elements of the array. */
    @Native public static final int SIZE = 42;

    /** Whether there is a matrix (1) or not (0). */
    @Native public static final int HAS_MATRIX = 0;

    /** The nine numbers of the matrix by which players turn pictures, row by row. */
    @Native public static final int MATRIX = 1;

    /** Whether there is a buffer (1) or not (0). */
    @Native public static final int HAS_BUFFER = 10;

    /** Of the buffer: the greatest, the least and the mean bits per second, its bits, and its delay or -1. */
    @Native public static final int BUFFER = 11;

    /** Whether there is a gain (1) or not (0). */
    @Native public static final int HAS_GAIN = 16;

    /** Gain and peak of the track, gain and peak of the album, in hundred-thousandths. */
    @Native public static final int GAIN = 17;

    /** In the place of a gain that is unknown. */
    @Native public static final int NO_GAIN = Integer.MIN_VALUE;

    /** How many numbers describe pictures for two eyes: none, 2 or 9. */
    @Native public static final int STEREO_NUMBERS = 21;

    /** Arrangement, flags, view, first eye, distance of the eyes, disparity and field of view as fractions. */
    @Native public static final int STEREO = 22;

    /** Whether pictures lie on a sphere (1) or not (0). */
    @Native public static final int HAS_SPHERE = 31;

    /** Projection, yaw, pitch, roll, what is cut off left, above, right and below, and the padding of a cube. */
    @Native public static final int SPHERE = 32;

    /** What a stream of sound serves as; -1 when unknown. */
    @Native public static final int SERVICE = 41;

    private SideDataFields() {
    }
}
