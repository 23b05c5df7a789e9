package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** How the lines of a picture were taken. */
public final class Interlacing {

    /** All at once. */
    @Native public static final int PROGRESSIVE = 0;

    /** The odd lines first. */
    @Native public static final int BOTTOM_FIELD_FIRST = 1;

    /** The even lines first. */
    @Native public static final int TOP_FIELD_FIRST = 3;

    private Interlacing() {
    }
}
