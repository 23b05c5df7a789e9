package kiv.media.ffmpeg.wall;

/**
 * Counts the workers of this process. Objects that nobody closes keep theirs until the garbage collector finds them, so it is
 * asked to look when there are many. Any thread may use it.
 */
final class WorkerCount {

    private static final int MANY = 64;
    /** Each takes a process, three descriptors and 2 GiB of addresses. */
    private static final int MOST = 1000;
    /** Memory of ended workers that is still mapped costs addresses only. */
    private static final int MOST_MAPPED = 8192;
    private static final int LOOKS = 40;
    private static final int BETWEEN_LOOKS = 50;

    /** How many can work at the same time. */
    private static final int PROCESSORS = Runtime.getRuntime().availableProcessors();

    private static int living;
    private static int mapped;
    /** How many have something to do. */
    private static volatile int busy;
    private static int nextCollection = MANY;
    private static int nextMapped = MOST_MAPPED;

    /** One worker and its memory. */
    private boolean ended;
    /** How many of its lanes have orders in work. */
    private int lanesInWork;

    /** Counts one. */
    WorkerCount() {
        synchronized (WorkerCount.class) {
            living++;
            mapped++;
        }
    }

    /** Its process has ended. A second call does nothing. */
    void end() {
        synchronized (WorkerCount.class) {
            if (!ended) {
                ended = true;
                living--;
                busy -= lanesInWork > 0 ? 1 : 0;
            }
        }
    }

    /** One of its lanes has orders in work from now on. */
    void beginWork() {
        synchronized (WorkerCount.class) {
            if (++lanesInWork == 1 && !ended) {
                busy++;
            }
        }
    }

    /** The lane has none in work any more. */
    void endWork() {
        synchronized (WorkerCount.class) {
            if (--lanesInWork == 0 && !ended) {
                busy--;
            }
        }
    }

    /** {@return whether more of them have something to do than there are processors} */
    static boolean isCrowded() {
        return busy > PROCESSORS;
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
