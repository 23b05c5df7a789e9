package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code int[]} that describes where a picture lies in a direct buffer, by index. */
public final class ConverterPlace {

    /** Elements of the array. */
    @Native public static final int SIZE = 16;

    /** FFmpeg's number of the pixel format. */
    @Native public static final int PIXEL_FORMAT = 0;

    /** Width in pixels. */
    @Native public static final int WIDTH = 1;

    /** Height in pixels. */
    @Native public static final int HEIGHT = 2;

    /** Bytes from the start of the buffer to each plane, one element for each plane. */
    @Native public static final int PLANE_OFFSETS = 3;

    /** Bytes from one line to the next, one element for each plane. */
    @Native public static final int LINE_SIZES = 7;

    /** FFmpeg's number of the matrix by which YUV becomes RGB. */
    @Native public static final int COLOR_SPACE = 11;

    /** Whether YUV uses all values (1) or not (0). */
    @Native public static final int FULL_RANGE = 12;

    /** FFmpeg's number of the colours that red, green and blue are; 0 to leave the colours as they are. */
    @Native public static final int COLOR_PRIMARIES = 13;

    /** FFmpeg's number of the curve between values and light; 0 to leave the colours as they are. */
    @Native public static final int COLOR_TRANSFER = 14;

    /** The brightest light that the picture is made for, in candela for a square metre; 0 when unknown. */
    @Native public static final int PEAK = 15;

    private ConverterPlace() {
    }
}
