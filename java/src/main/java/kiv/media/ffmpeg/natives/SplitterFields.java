package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} that goes into a splitter with bytes and comes back with a packet, by index. */
public final class SplitterFields {

    /** Elements of the array. */
    @Native public static final int SIZE = 4;

    /** How many of the bytes were used. */
    @Native public static final int USED = 0;

    /**
     * When the first packet that begins in the bytes is shown; when the packet that came out is shown;
     * {@link Long#MIN_VALUE} when unknown.
     */
    @Native public static final int PRESENTATION_TIME = 1;

    /** When it is decoded, in the same way. */
    @Native public static final int DECODING_TIME = 2;

    /** The sum of {@link PacketFlags}. */
    @Native public static final int FLAGS = 3;

    private SplitterFields() {
    }
}
