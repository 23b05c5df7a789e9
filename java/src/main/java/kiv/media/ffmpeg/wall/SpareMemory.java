package kiv.media.ffmpeg.wall;

import java.util.ArrayDeque;
import java.util.Deque;
import java.util.List;
import kiv.media.ffmpeg.natives.c_workers_ffmpeg;

/**
 * Memory that ended workers had shared, for the workers of the next half minute: new pages cost more than all else that a worker
 * does at the beginning. It is cleared when their processes have ended, so that it shows nothing of the media before. Any thread
 * may use this class.
 */
public final class SpareMemory {

    /** Pictures of eight small films. */
    private static final long MOST = 64L << 20;
    /** In milliseconds: a process that was killed has ended after the first one, most often. */
    private static final long BEFORE_CLEARING = 4;
    private static final long LONGEST_BEFORE_CLEARING = 500;
    private static final long MOST_IDLE = 30_000;

    private static final Deque<SpareMemory> CLEARED = new ArrayDeque<>();
    /** Bytes of all, also of those that are not cleared. */
    private static long bytes;

    private final long handle;
    private final long used;
    private long waited = BEFORE_CLEARING;
    private boolean deleted;

    private SpareMemory(long handle, long used) {
        this.handle = handle;
        this.used = used;
    }

    /**
     * Keeps memory if there is not too much of it.
     *
     * @param handle as {@link c_workers_ffmpeg#n_close_and_keep} returned it
     * @param used how many bytes at its beginning were used
     */
    static void keep(long handle, long used) {
        if (handle == 0) {
            return;
        }
        SpareMemory kept = new SpareMemory(handle, used);
        boolean wanted;
        synchronized (SpareMemory.class) {
            bytes += used;
            wanted = bytes <= MOST;
        }
        try {
            if (wanted) {
                Later.run(kept::clear, BEFORE_CLEARING);
            }
        } catch (RuntimeException | Error e) {
            wanted = false; // without a thread nothing is kept, and closing a medium works
        }
        if (!wanted) {
            kept.delete();
        }
    }

    /** {@return the handle of memory that was cleared last, which is the caller's; 0 for none} */
    static synchronized long take() {
        SpareMemory taken = CLEARED.poll();
        if (taken == null) {
            return 0;
        }
        bytes -= taken.used;
        return taken.handle;
    }

    private synchronized void clear() {
        if (deleted) {
            return;
        }
        if (c_workers_ffmpeg.n_clear_memory(handle)) {
            synchronized (SpareMemory.class) {
                CLEARED.push(this);
            }
            Later.run(this::drop, MOST_IDLE);
        } else if (waited < LONGEST_BEFORE_CLEARING) {
            waited *= 2;
            Later.run(this::clear, waited);
        } else {
            delete();
        }
    }

    /** Deletes all that was cleared. */
    public static void dropAll() {
        List<SpareMemory> all;
        synchronized (SpareMemory.class) {
            all = List.copyOf(CLEARED);
        }
        all.forEach(SpareMemory::drop);
    }

    /** Deletes it if nobody has taken it. */
    private void drop() {
        boolean left;
        synchronized (SpareMemory.class) {
            left = CLEARED.remove(this);
        }
        if (left) {
            delete();
        }
    }

    private synchronized void delete() {
        if (deleted) {
            return;
        }
        deleted = true;
        synchronized (SpareMemory.class) {
            bytes -= used;
        }
        c_workers_ffmpeg.n_delete_memory(handle);
    }
}
