package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** What the memory of a picture is. */
public final class ArrayKind {

    /** There is no picture. */
    @Native public static final int NONE = -1;

    /** A {@code byte[]}. */
    @Native public static final int BYTE = 0;

    /** A {@code short[]}. */
    @Native public static final int SHORT = 1;

    /** An {@code int[]}. */
    @Native public static final int INT = 2;

    /** A direct {@link java.nio.ByteBuffer}, whose elements are bytes. */
    @Native public static final int DIRECT = 4;

    private ArrayKind() {
    }
}
