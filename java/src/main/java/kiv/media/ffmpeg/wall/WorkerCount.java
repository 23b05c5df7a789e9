package kiv.media.ffmpeg.wall;

import java.util.concurrent.atomic.AtomicBoolean;

/**
 * Counts the workers of this process. Objects that nobody closes keep theirs until the garbage collector finds them, so it is
 * asked to look when there are many. Any thread may use it.
 */
final class WorkerCount {

    private static final int MANY = 64;
    /** Each takes a process, two descriptors and 2 GiB of addresses. */
    private static final int MOST = 1000;
    /** Memory of ended workers that is still mapped costs addresses only. */
    private static final int MOST_MAPPED = 8192;
    private static final int LOOKS = 40;
    private static final int BETWEEN_LOOKS = 50;

    private static int living;
    private static int mapped;
    private static int nextCollection = MANY;
    private static int nextMapped = MOST_MAPPED;

    /** One worker and its memory. */
    private final AtomicBoolean ended = new AtomicBoolean();

    /** Counts one. */
    WorkerCount() {
        synchronized (WorkerCount.class) {
            living++;
            mapped++;
        }
    }

    /** Its process has ended. A second call does nothing. */
    void end() {
        if (!ended.getAndSet(true)) {
            synchronized (WorkerCount.class) {
                living--;
            }
        }
    }

    /** Its memory is not mapped any more. */
    void unmap() {
        end();
        synchronized (WorkerCount.class) {
            mapped--;
        }
    }

    /**
     * Makes room for one more.
     *
     * @throws IllegalStateException when there are too many
     */
    static void admit() {
        if (isCollectionDue()) {
            System.gc();
        }
        for (int look = 0; living() >= MOST; look++) {
            if (look == LOOKS) {
                throw new IllegalStateException(MOST + " of them work already; close readers and decoders when done with"
                        + " them");
            }
            System.gc();
            pause();
        }
    }

    private static synchronized int living() {
        return living;
    }

    /** The number at which a collection is due doubles with each, and falls with the workers. */
    private static synchronized boolean isCollectionDue() {
        nextCollection = Math.max(MANY, Math.min(nextCollection, 2 * living));
        nextMapped = Math.max(MOST_MAPPED, Math.min(nextMapped, 2 * mapped));
        boolean due = living >= nextCollection || mapped >= nextMapped;
        if (living >= nextCollection) {
            nextCollection = 2 * living;
        }
        if (mapped >= nextMapped) {
            nextMapped = 2 * mapped;
        }
        return due;
    }

    private static void pause() {
        try {
            Thread.sleep(BETWEEN_LOOKS);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
    }
}
