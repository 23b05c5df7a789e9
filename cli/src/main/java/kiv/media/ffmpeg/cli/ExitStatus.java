package kiv.media.ffmpeg.cli;

/** The exit statuses of the process. The number of a closed pipe is the one that a shell reports for its signal. */
final class ExitStatus {

    static final int OK = 0;
    /** The input cannot be read, is no media file, or nothing in it can be decoded. */
    static final int INPUT = 1;
    static final int USAGE = 2;
    /** The input is in order, but its codec or its pixels are beyond this library or this FFmpeg. */
    static final int UNSUPPORTED = 3;
    /** The output cannot be written. */
    static final int OUTPUT = 4;
    /** The native library or FFmpeg is missing or does not load, or no process behind the wall starts. */
    static final int LIBRARY = 5;
    /** A fault of the program or of the virtual machine. */
    static final int INTERNAL = 6;
    /** The input is damaged or was cut off, and what could be read of it is done. */
    static final int INCOMPLETE = 7;
    /** The input ended the process that decoded it, and what was decoded before is done. */
    static final int KILLED = 8;
    static final int CLOSED_PIPE = 141;

    private ExitStatus() {
    }
}
