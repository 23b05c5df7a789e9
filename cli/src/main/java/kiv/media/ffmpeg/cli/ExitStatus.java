package kiv.media.ffmpeg.cli;

/** What the process tells its caller. The signals' and the pipe's numbers are those that a shell gives. */
final class ExitStatus {

    static final int OK = 0;
    /** The input cannot be read, is no media file, or nothing in it can be decoded. */
    static final int INPUT = 1;
    static final int USAGE = 2;
    /** The input is in order, but its codec or its pixels are beyond this library or this FFmpeg. */
    static final int UNSUPPORTED = 3;
    /** The output cannot be written. */
    static final int OUTPUT = 4;
    /** The native library or FFmpeg is missing or does not load. */
    static final int LIBRARY = 5;
    /** The fault is the program's own. */
    static final int INTERNAL = 6;
    static final int CLOSED_PIPE = 141;

    private ExitStatus() {
    }
}
