package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The levels of the log's lines. */
public final class LogLevel {

    /** Something failed. */
    @Native public static final int ERROR = 1;

    /** What the library does. */
    @Native public static final int DEBUG = 5;

    /** Each encoded packet. */
    @Native public static final int VERBOSE = 6;

    private LogLevel() {
    }
}
