package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code int[]} that describes a pixel format, by index. */
public final class PixelFormatFields {

    /** Elements of the array. */
    @Native public static final int SIZE = 26;

    /** Number of components. */
    @Native public static final int COMPONENTS = 0;

    /** Binary logarithm of the chroma planes' horizontal subsampling. */
    @Native public static final int CHROMA_SHIFT_X = 1;

    /** Binary logarithm of the chroma planes' vertical subsampling. */
    @Native public static final int CHROMA_SHIFT_Y = 2;

    /** The sum of {@link PixelFormatFlags}, and of other flags of FFmpeg's. */
    @Native public static final int FLAGS = 3;

    /** Bits of a pixel on average, without padding. */
    @Native public static final int BITS_PER_PIXEL = 4;

    /** The first component; each takes {@link PixelComponent#SIZE} elements. */
    @Native public static final int COMPONENT_FIELDS = 6;

    private PixelFormatFields() {
    }
}
