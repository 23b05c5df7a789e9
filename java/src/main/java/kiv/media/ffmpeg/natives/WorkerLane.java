package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;

/**
 * The memory that a worker process shares, by offset in bytes. It begins with lanes, one after the other: in each one thread
 * gives orders and one thread of the worker answers. All else is the caller's to divide. Numbers have the processor's byte
 * order.
 *
 * <p>A lane has two halves, which orders use in turn; the first one in an opened lane uses the first half. So an order can be
 * given while the one before it is in work.
 */
public final class WorkerLane {

    /** Bytes of a lane. */
    @Native public static final int SIZE = 128;

    /** Lanes. */
    @Native public static final int LANES = 63;

    /** Where the memory behind the lanes begins. */
    @Native public static final int END = 8192;

    /** Halves of a lane. */
    @Native public static final int HALVES = 2;

    /** Bytes of a half. */
    @Native public static final int HALF_SIZE = 64;

    /** In a half, an {@code int} that says whose turn it is: odd the worker's, even the caller's. Both wait for it as a futex. */
    @Native public static final int TURN = 0;

    /** In a half, an {@code int}: the order, one of {@link WorkerOrder}, or the answer, one of {@link WorkerAnswer}. */
    @Native public static final int KIND = 4;

    /** In a half, an {@code int}: bytes of the message in its area. */
    @Native public static final int LENGTH = 8;

    /** In a half, an {@code int}: bytes of the message's area, which the caller provides. */
    @Native public static final int AREA_SIZE = 12;

    /** In a half, a {@code long}: where the message's area begins. */
    @Native public static final int AREA = 16;

    /** In the lane, a {@code long}: where the block begins through which bytes of containers pass. */
    @Native public static final int BLOCK = 24;

    /** In the lane, an {@code int}: bytes of that block; 0 without one. */
    @Native public static final int BLOCK_SIZE = 32;

    /** In the lane, an {@code int} that changes while the worker gets on with a long order. */
    @Native public static final int PROGRESS = 36;

    /**
     * In the lane, an {@code int}: how many slots of blocks the caller has written, one for each picture that it has closed. It
     * writes them at any time, so that orders in work find the memory while it is in the processor's cache.
     */
    @Native public static final int CLOSED = 40;

    /** In the lane, an {@code int}: how many of these the worker has taken. */
    @Native public static final int CLOSED_TAKEN = 44;

    /** In the lane, an {@code int} for each of these slots, one after the other and then from the first one again. */
    @Native public static final int CLOSED_SLOTS = 96;

    /** Slots that the worker has not taken yet, at most; a power of two. */
    @Native public static final int MOST_CLOSED = 8;

    private WorkerLane() {}
}
