package kiv.media.ffmpeg.natives;

import java.lang.annotation.Native;
import java.nio.ByteBuffer;

/**
 * Natives that start processes behind the wall, and give them turns. What is said in between is in the shared memory; see
 * {@link WorkerLane}. The caller does not use a handle after deleting its object.
 */
public final class c_workers_ffmpeg {

    /** {@link #n_take_turn}: the worker has answered. */
    @Native public static final int ANSWERED = 0;

    /** {@link #n_take_turn}: the worker has ended. */
    @Native public static final int ENDED = 1;

    /** {@link #n_take_turn}: the worker made no progress for too long. */
    @Native public static final int SILENT = 2;

    /** {@link #n_take_turn}: the worker wrote a turn that is none. */
    @Native public static final int LIED = 3;

    private c_workers_ffmpeg() {
    }

    /**
     * Starts the process that makes workers, and waits until it has loaded FFmpeg.
     *
     * @param program path of the worker program
     * @param directory path of FFmpeg's directory, as for {@code n_init}
     * @return its handle
     * @throws Error when it cannot be started, or ends at once
     */
    public static native long n_start_nursery(String program, String directory);

    /**
     * Ends the process that makes workers, and all workers with it.
     *
     * @param nursery its handle, invalid after the call
     */
    public static native void n_delete_nursery(long nursery);

    /**
     * Makes a worker. Any thread may call it.
     *
     * @param nursery the handle of the process that makes it
     * @param shared bytes of shared memory; they take memory when they are written to
     * @param memory bytes that the worker may allocate besides
     * @param processorSeconds processor time after which the kernel ends the worker; 0 for any
     * @param kept the handle of memory that was cleared, invalid after the call; 0 for new memory
     * @return its handle; 0 when the process that makes workers has ended
     * @throws Error when there is no process or no memory for it
     */
    public static native long n_create_worker(long nursery, long shared, long memory, int processorSeconds, long kept);

    /**
     * Returns what the worker gave up, once it has done that.
     *
     * @param worker its handle
     * @param milliseconds the longest time to wait for that
     * @return a text for a log
     * @throws Error when the worker ended before, or takes longer
     */
    public static native String n_worker_held(long worker, int milliseconds);

    /**
     * Returns a part of the shared memory, which is valid until the worker is deleted.
     *
     * @param worker its handle
     * @param offset where the part begins, in bytes
     * @param length bytes of the part
     * @return a direct buffer
     * @throws RuntimeException when the part is outside of the memory
     */
    public static native ByteBuffer n_worker_memory(long worker, long offset, int length);

    /**
     * Returns the pages of a part of the shared memory to the system. Their bytes become zero.
     *
     * @param worker its handle
     * @param offset where the part begins, in bytes; a multiple of 4096
     * @param length bytes of the part; a multiple of 4096
     * @throws RuntimeException when the part is outside of the memory
     */
    public static native void n_discard(long worker, long offset, int length);

    /**
     * Lets a thread of the worker serve a lane.
     *
     * @param worker its handle
     * @param lane the lane's number
     * @throws Error when the worker has ended
     */
    public static native void n_open_lane(long worker, int lane);

    /**
     * Gives the turn of a half of a lane to the worker.
     *
     * @param worker its handle
     * @param lane the lane's number
     * @param half which of the lane's halves
     * @param turn the new turn, which is odd
     */
    public static native void n_give_turn(long worker, int lane, int half, int turn);

    /**
     * Waits until the turn that was given comes back as the next number. Another thread ends the wait with {@link #n_kill}.
     *
     * @param worker its handle
     * @param lane the lane's number
     * @param half which of the lane's halves
     * @param turn the turn that was given
     * @param soon whether it comes back within a few microseconds, so that the thread looks some times before it sleeps
     * @param milliseconds the longest time without progress
     * @return {@link #ANSWERED}, {@link #ENDED}, {@link #SILENT} or {@link #LIED}
     */
    public static native int n_take_turn(long worker, int lane, int half, int turn, boolean soon, int milliseconds);

    /**
     * Ends a worker, whatever it does. Any thread may call it.
     *
     * @param worker its handle
     */
    public static native void n_kill(long worker);

    /**
     * Returns how a worker ended, and waits a moment for that. It is known once.
     *
     * @param nursery the handle of the process that made it
     * @param worker its handle
     * @return the signal that ended it or 0, and its exit status; null when that is not known
     */
    public static native int[] n_worker_end(long nursery, long worker);

    /**
     * Returns the processor time that a worker has needed.
     *
     * @param worker its handle
     * @return nanoseconds; the largest number when it has ended
     */
    public static native long n_worker_time(long worker);

    /**
     * Ends a worker and closes its descriptors. Its memory stays.
     *
     * @param worker its handle, on which nothing waits
     */
    public static native void n_close_worker(long worker);

    /**
     * Ends a worker and closes its descriptors, as {@link #n_close_worker}, and keeps its memory for another one. What Java still
     * knows of the memory is zero from now on, and may be used.
     *
     * @param worker its handle, on which nothing waits
     * @param used bytes at the beginning that are kept
     * @return the handle of the memory; 0 when it cannot be kept
     */
    public static native long n_close_and_keep(long worker, long used);

    /**
     * Makes all bytes of kept memory zero, when the process that had it has ended.
     *
     * @param memory its handle, which no other thread uses
     * @return whether that was done
     */
    public static native boolean n_clear_memory(long memory);

    /**
     * Deletes kept memory.
     *
     * @param memory its handle, invalid after the call
     */
    public static native void n_delete_memory(long memory);

    /**
     * Deletes a closed or open worker with its memory, of which Java has no buffer any more.
     *
     * @param worker its handle, invalid after the call
     */
    public static native void n_delete_worker(long worker);
}
