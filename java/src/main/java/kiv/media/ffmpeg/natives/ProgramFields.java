package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} that describes programs, by index within each. */
public final class ProgramFields {

    /** Elements for a program, before the indices of its streams. */
    @Native public static final int SIZE = 5;

    /** What the container calls it. */
    @Native public static final int ID = 0;

    /** Its number in the table of an MPEG transport stream. */
    @Native public static final int NUMBER = 1;

    /** Packet identifier of its own table. */
    @Native public static final int TABLE = 2;

    /** Packet identifier of its clock. */
    @Native public static final int CLOCK = 3;

    /** Number of its streams, whose indices follow. */
    @Native public static final int STREAMS = 4;

    private ProgramFields() {
    }
}
