package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/** What a worker answers, by number. */
public final class WorkerAnswer {

    /** The order is done, and the message holds its results. */
    @Native public static final int DONE = 0;

    /** The order failed. The message: an {@code int}, one of the failures below, and a text. */
    @Native public static final int FAILED = 1;

    /** The order is done, and its results need an area of so many bytes: an {@code int}. {@link WorkerOrder#AGAIN} gets them. */
    @Native public static final int LARGER = 2;

    /** The source has to read into the block. The message: an {@code int}, the most bytes. */
    @Native public static final int READ = 3;

    /** The source or sink has to go to a place. The message: a {@code long}. */
    @Native public static final int SEEK = 4;

    /** The source has to say its size. */
    @Native public static final int TOTAL = 5;

    /** The sink has to write from the block. The message: an {@code int}, how many bytes. */
    @Native public static final int WRITE = 6;

    /** No answer: what several orders have got so far, while it is the worker's turn. It counts when the worker ends. */
    @Native public static final int PART = 7;

    /** A failure that natives report by a {@code RuntimeException}. */
    @Native public static final int RUNTIME = 1;

    /** A failure that natives report by an {@code Error}. */
    @Native public static final int ERROR = 2;

    /** Memory ran out. */
    @Native public static final int MEMORY = 3;

    /** The source or sink failed, and the caller knows why. */
    @Native public static final int CHANNEL = 4;

    private WorkerAnswer() {}
}
