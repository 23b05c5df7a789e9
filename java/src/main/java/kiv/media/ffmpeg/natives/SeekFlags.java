package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** FFmpeg's flags of a seek. */
public final class SeekFlags {

    /** To a place at or before the time. */
    @Native public static final int BACKWARD = 1;

    /** The time is a position in bytes. Not every container allows it. */
    @Native public static final int BYTE = 2;

    /** Also to places between key pictures. */
    @Native public static final int ANY = 4;

    private SeekFlags() {
    }
}
