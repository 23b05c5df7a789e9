package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's numbers of the values that YUV uses. */
public final class ColorRange {

    /** The values of television, with room at both ends. */
    @Native public static final int LIMITED = 1;

    /** All values. */
    @Native public static final int FULL = 2;

    private ColorRange() {
    }
}
