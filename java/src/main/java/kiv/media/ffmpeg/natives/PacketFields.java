package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} that describes a packet of a container, by index. */
public final class PacketFields {

    /** Elements of the array. */
    @Native public static final int SIZE = 8;

    /** Elements of the array with {@link #LENGTH}. */
    @Native public static final int SIZE_WITH_LENGTH = 10;

    /** Index of the stream. */
    @Native public static final int STREAM = 0;

    /** When it is shown, in the stream's unit of time; {@link Long#MIN_VALUE} when unknown. */
    @Native public static final int PRESENTATION_TIME = 1;

    /** When it is decoded, in the stream's unit of time; {@link Long#MIN_VALUE} when unknown. */
    @Native public static final int DECODING_TIME = 2;

    /** How long it lasts, in the stream's unit of time; 0 when unknown. */
    @Native public static final int DURATION = 3;

    /** The sum of {@link PacketFlags}. */
    @Native public static final int FLAGS = 4;

    /** Where it begins in the container, in bytes; -1 when unknown. */
    @Native public static final int POSITION = 5;

    /** Samples of sound from here on that are not to be heard; -1 when the container says nothing about that. */
    @Native public static final int SKIP_START = 6;

    /** Samples at the end of the packet's sound that are not to be heard. */
    @Native public static final int SKIP_END = 7;

    /** How many bytes it has; not in an array of {@link #SIZE} elements. */
    @Native public static final int LENGTH = 8;

    /** How many errors FFmpeg logged while it read the packet; not in an array of {@link #SIZE} elements. */
    @Native public static final int ERRORS = 9;

    /** In the place of {@link #STREAM}: there is no packet. */
    @Native public static final int NONE = -1;

    private PacketFields() {
    }
}
