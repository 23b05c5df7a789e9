package kiv.media.ffmpeg.wall;

import java.lang.ref.Cleaner;
import java.lang.ref.Reference;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.atomic.AtomicBoolean;
import kiv.media.ffmpeg.natives.WorkerLane;
import kiv.media.ffmpeg.natives.c_workers_ffmpeg;

/**
 * The memory that a worker shares, divided into blocks. It stays mapped as long as a buffer over it is reachable, so that no
 * use of an old buffer ends the process. Any thread may use it.
 */
public final class SharedMemory {

    /** What one buffer addresses, less a page; it takes memory when it is written to. */
    static final long SIZE = (1L << 31) - SharedMemory.PAGE;

    private static final int PAGE = 4096;
    /** What a worker that waits may keep: pictures of usual films. */
    private static final long KEPT = 64L << 20;
    private static final Cleaner CLEANER = Cleaner.create();

    private final long worker;
    /** Lengths of the free ranges by offset; no two of them touch. */
    private final TreeMap<Long, Long> free = new TreeMap<>();
    private final WorkerCount count;
    /** Frees some of it, when that is possible. Null behind the end of the worker, whose lanes would stay reachable. */
    private Runnable makeRoom;
    /** For how many reasons released ranges are kept for now, as the worker may write to them. */
    private int keepers;
    private final Map<Long, Long> kept = new TreeMap<>();
    private boolean closed;
    /** Where the last block ended of those that lay furthest behind. */
    private long used = WorkerLane.END;

    /** A part of the memory. */
    public static final class Block {

        private final ByteBuffer buffer;
        private final long offset;
        private final Cleaner.Cleanable cleanable;

        private Block(ByteBuffer buffer, long offset, Runnable release) {
            this.buffer = buffer;
            this.offset = offset;
            this.cleanable = CLEANER.register(buffer, release);
        }

        /** {@return the bytes, in the processor's order} */
        public ByteBuffer buffer() {
            return buffer;
        }

        /** {@return where it begins in the shared memory} */
        public long offset() {
            return offset;
        }

        /** Lets others have the memory. Old buffers see what they write there. A second call does nothing. */
        public void release() {
            cleanable.clean();
        }
    }

    /**
     * The memory of a worker, which is deleted with it.
     *
     * @param makeRoom makes the worker release memory
     */
    SharedMemory(long worker, Runnable makeRoom) {
        this.worker = worker;
        this.makeRoom = makeRoom;
        // Vector code may read a little behind a picture, so nothing lies on the last page.
        free.put((long) WorkerLane.END, SIZE - WorkerLane.END - PAGE);
        WorkerCount counted = new WorkerCount();
        count = counted;
        CLEANER.register(this, () -> {
            c_workers_ffmpeg.n_delete_worker(worker);
            counted.unmap();
        });
    }

    /** {@return the worker, as it is counted} */
    WorkerCount count() {
        return count;
    }

    /** The fields of a lane, for an owner of this object. */
    ByteBuffer lane(int number) {
        return c_workers_ffmpeg.n_worker_memory(worker, (long) number * WorkerLane.SIZE, WorkerLane.SIZE)
                .order(ByteOrder.nativeOrder());
    }

    /**
     * Takes a block, which may hold old bytes.
     *
     * @param size its bytes
     * @return the block, or null when no range is large enough
     */
    public Block allocate(int size) {
        long length = (Math.max(size, 1) + PAGE - 1L) / PAGE * PAGE;
        Long offset = take(length);
        if (offset == null) {
            makeRoom();
            offset = take(length);
        }
        if (offset == null) {
            return null;
        }
        ByteBuffer buffer = c_workers_ffmpeg.n_worker_memory(worker, offset, size).order(ByteOrder.nativeOrder());
        // Who still has the buffer of a released block may use it, so it keeps the mapping too.
        CLEANER.register(buffer, () -> Reference.reachabilityFence(this));
        AtomicBoolean done = new AtomicBoolean();
        long first = offset;
        return new Block(buffer, first, () -> {
            if (!done.getAndSet(true)) {
                give(first, length);
            }
        });
    }

    private void makeRoom() {
        Runnable how;
        synchronized (this) {
            how = makeRoom;
        }
        if (how != null) {
            how.run();
        }
    }

    private synchronized Long take(long length) {
        for (Map.Entry<Long, Long> range : free.entrySet()) {
            long rest = range.getValue() - length;
            if (rest >= 0) {
                long offset = range.getKey();
                free.remove(offset);
                if (rest > 0) {
                    free.put(offset + length, rest);
                }
                used = Math.max(used, offset + length);
                return offset;
            }
        }
        return null;
    }

    private synchronized void give(long offset, long length) {
        if (closed) {
            discard(offset, length);
            return;
        }
        if (keepers > 0) {
            kept.put(offset, length);
            return;
        }
        join(offset, length);
    }

    private void join(long offset, long length) {
        long first = offset;
        long all = length;
        Map.Entry<Long, Long> before = free.floorEntry(offset);
        if (before != null && before.getKey() + before.getValue() == offset) {
            first = before.getKey();
            all += before.getValue();
        }
        Long behind = free.remove(offset + length);
        free.put(first, behind == null ? all : all + behind);
    }

    /** Lets nobody have what is released from now on. */
    synchronized void keep() {
        keepers++;
    }

    /** Ends one {@link #keep()}. */
    synchronized void unkeep() {
        if (--keepers == 0) {
            kept.forEach(this::join);
            kept.clear();
        }
    }

    /** Returns all memory but the first free megabytes to the system that no block has. */
    synchronized void discardSpare() {
        long left = KEPT;
        for (Map.Entry<Long, Long> range : free.entrySet()) {
            long here = Math.min(left, range.getValue());
            left -= here;
            if (here < range.getValue()) {
                discard(range.getKey() + here, range.getValue() - here);
            }
        }
    }

    /**
     * Returns all memory to the system that no block has, now and whenever a block is released. When there is no block any more,
     * the memory stays as it is.
     *
     * @return then how many bytes at its beginning were used; otherwise 0
     */
    synchronized long close() {
        closed = true;
        makeRoom = null;
        count.end();
        kept.forEach(this::join);
        kept.clear();
        boolean unused = free.firstEntry() != null && free.firstEntry().getValue() == SIZE - WorkerLane.END - PAGE;
        if (!unused) {
            free.forEach(this::discard);
        }
        free.clear();
        return unused ? used : 0;
    }

    private void discard(long offset, long length) {
        c_workers_ffmpeg.n_discard(worker, offset, (int) length);
    }
}
