package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * The {@code int[]} beside a block in {@link kiv.media.ffmpeg.c_multimediaapi_ffmpeg#n_acodec_process}, by index: what
 * the caller sets and what the call writes.
 */
public final class AudioParams {

    /** Elements of the array. */
    @Native public static final int SIZE = 10;

    /** Elements of the array of a decoder that resamples continuously, with {@link #SKIPPED_LOW}. */
    @Native public static final int SIZE_WITH_SKIPPED = 12;

    /** Offset of the input in its array, in bytes. Out: advanced by what was consumed. */
    @Native public static final int OFFSET = 0;

    /** Length of the input in bytes. Out: reduced by what was consumed. */
    @Native public static final int LENGTH = 1;

    /** The sum of {@link ProcessFlags}. */
    @Native public static final int FLAGS = 2;

    /** Timestamp, low word. It is signed: with its top bit set the high word becomes all ones. */
    @Native public static final int TIME_LOW = 3;

    /** Timestamp, high word. */
    @Native public static final int TIME_HIGH = 4;

    /** Offset in bytes of the room for the output. Out: 0 when the room is too small. */
    @Native public static final int OUT_OFFSET = 5;

    /** Length of the room in bytes. Out: bytes written, or needed when the room is too small. */
    @Native public static final int OUT_LENGTH = 6;

    /** Out: the flags of the call. */
    @Native public static final int CALL_FLAGS = 7;

    /** Out: the timestamp of the call, low word. */
    @Native public static final int CALL_TIME_LOW = 8;

    /** Out: the timestamp of the call, high word. */
    @Native public static final int CALL_TIME_HIGH = 9;

    /**
     * Out: samples that the decoder says are not to be heard, since it was opened, low word. Not in an array of {@link #SIZE}
     * elements.
     */
    @Native public static final int SKIPPED_LOW = 10;

    /** Out: the same number, high word. */
    @Native public static final int SKIPPED_HIGH = 11;

    private AudioParams() {
    }
}
