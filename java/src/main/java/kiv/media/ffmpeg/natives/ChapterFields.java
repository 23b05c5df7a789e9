package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** The {@code long[]} that describes chapters, by index within each. */
public final class ChapterFields {

    /** Elements for a chapter. */
    @Native public static final int SIZE = 5;

    /** What the container calls it. */
    @Native public static final int ID = 0;

    /** Unit of the chapter's times in seconds, numerator. */
    @Native public static final int TIME_BASE_NUMERATOR = 1;

    /** Unit of the chapter's times in seconds, denominator. */
    @Native public static final int TIME_BASE_DENOMINATOR = 2;

    /** Where it begins, in its unit of time. */
    @Native public static final int START = 3;

    /** Where it ends, in its unit of time; {@code MIN_VALUE} when unknown. */
    @Native public static final int END = 4;

    private ChapterFields() {
    }
}
