package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's flags of a pixel format. */
public final class PixelFormatFlags {

    /** Values of more than a byte begin with the high one. */
    @Native public static final int HIGH_BYTE_FIRST = 1;

    /** Pixels are entries of a palette. */
    @Native public static final int PALETTE = 2;

    /** Steps and offsets are counted in bits. */
    @Native public static final int BITS = 4;

    /** The pixels are not in memory. */
    @Native public static final int HARDWARE = 8;

    /** The components are red, green and blue. */
    @Native public static final int RGB = 32;

    /** Memory has room for a palette that need not be used. */
    @Native public static final int UNUSED_PALETTE = 64;

    /** One component is opacity. */
    @Native public static final int ALPHA = 128;

    private PixelFormatFlags() {
    }
}
