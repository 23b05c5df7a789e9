package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} that describes a container, by index. */
public final class ReaderInfo {

    /** Elements of the array. */
    @Native public static final int SIZE = 4;

    /** Number of streams, which may grow while packets are read. */
    @Native public static final int STREAMS = 0;

    /** Length of the whole in microseconds. */
    @Native public static final int DURATION = 1;

    /** Where the times begin, in microseconds. */
    @Native public static final int START_TIME = 2;

    /** Bits a second of the whole; 0 when unknown. */
    @Native public static final int BIT_RATE = 3;

    private ReaderInfo() {
    }
}
