package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** One component of a pixel format: its part of the {@link PixelFormatFields}, by index from its start. */
public final class PixelComponent {

    /** Elements that describe a component. */
    @Native public static final int SIZE = 5;

    /** Components that the array has room for. */
    @Native public static final int COUNT = 4;

    /** The plane that it lies in. */
    @Native public static final int PLANE = 0;

    /** Bytes from one pixel to the next, or bits where the format is one of bits. */
    @Native public static final int STEP = 1;

    /** Bytes, or bits, before the first pixel. */
    @Native public static final int OFFSET = 2;

    /** Bits that a value is shifted right by. */
    @Native public static final int SHIFT = 3;

    /** Bits of a value. */
    @Native public static final int DEPTH = 4;

    private PixelComponent() {
    }
}
