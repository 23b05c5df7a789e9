package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} of what opening a container may cost, by index, and the values that are usual. */
public final class ReaderLimitFields {

    /** Elements of the array. */
    @Native public static final int SIZE = 5;

    /** Processor time in milliseconds; a thread that waits for its bytes uses none. */
    @Native public static final int PROCESSOR_TIME = 0;

    /** Bytes that are read, those that are read again too. */
    @Native public static final int BYTES = 1;

    /** Packets that FFmpeg looks at. It stops there, and what it knows then is what the streams report. */
    @Native public static final int PACKETS = 2;

    /** Streams, those too that show up while packets are read. */
    @Native public static final int STREAMS = 3;

    /** Entries in the indexes of all streams together, of 24 bytes each. */
    @Native public static final int INDEX_ENTRIES = 4;

    /** The usual {@link #PROCESSOR_TIME}. */
    @Native public static final int USUAL_PROCESSOR_TIME = 5000;

    /** The usual {@link #BYTES}. */
    @Native public static final int USUAL_BYTES = 256 * 1024 * 1024;

    /** The usual {@link #PACKETS}. */
    @Native public static final int USUAL_PACKETS = 100_000;

    /** The usual {@link #STREAMS}. */
    @Native public static final int USUAL_STREAMS = 1000;

    /** The usual {@link #INDEX_ENTRIES}. */
    @Native public static final int USUAL_INDEX_ENTRIES = 16_000_000;

    private ReaderLimitFields() {
    }
}
