package kiv.media.ffmpeg.wall;

import java.util.function.Supplier;

/**
 * Has a worker made ahead while media are opened again and again. It has given up its rights and seen no medium, and waits for
 * its first order, so that the next medium need not wait for it. There is one at a time. It ends when nobody has wanted it for a
 * second. Any thread may use this class.
 */
final class SpareWorker {

    /** Behind two media that were opened within that time there may be a third one. */
    private static final long MOST_IDLE = 1_000_000_000L;
    private static final long NANOS_OF_MILLISECOND = 1_000_000L;

    /** What makes workers now; null for nothing. */
    private static SpareWorker newest;
    private static long lastTaken = System.nanoTime() - MOST_IDLE;

    private final WorkerLimits limits;
    private final Supplier<Lane> maker;
    /** The first lane of the worker that waits; null when it is being made. */
    private Lane lane;
    private boolean dropped;

    private SpareWorker(WorkerLimits limits, Supplier<Lane> maker) {
        this.limits = limits;
        this.maker = maker;
    }

    /**
     * Takes the worker that waits. When the last one was taken shortly before, the next one is made.
     *
     * @param limits what the worker may take
     * @param maker starts a worker, and returns its first lane
     * @return the lane; null when no worker with these limits waits
     */
    static synchronized Lane take(WorkerLimits limits, Supplier<Lane> maker) {
        long now = System.nanoTime();
        boolean again = now - lastTaken < MOST_IDLE;
        lastTaken = now;
        if (newest == null) {
            if (again) {
                newest = new SpareWorker(limits, maker);
                Thread thread = new Thread(newest::makeWorkers, "making workers");
                thread.setDaemon(true);
                thread.start();
            }
            return null;
        }
        if (!newest.limits.equals(limits)) {
            newest.dropped = true;
            SpareWorker.class.notifyAll();
            return null;
        }
        Lane taken = newest.lane;
        if (taken != null) {
            newest.lane = null;
            taken.worker().countUser(); // it may have died meanwhile
            SpareWorker.class.notifyAll();
        }
        return taken;
    }

    private void makeWorkers() {
        try {
            boolean taken;
            do {
                taken = isTaken(maker.get());
            } while (taken);
        } catch (RuntimeException | Error e) {
            forget(); // who starts the next worker gets it
        }
    }

    private static synchronized void forget() {
        newest = null;
    }

    /** Waits until somebody wants a worker, and otherwise ends it. */
    private boolean isTaken(Lane made) {
        synchronized (SpareWorker.class) {
            lane = made;
            long end = System.nanoTime() + MOST_IDLE;
            for (long left = MOST_IDLE; lane != null && !dropped && left > 0; left = end - System.nanoTime()) {
                try {
                    SpareWorker.class.wait(left / NANOS_OF_MILLISECOND + 1);
                } catch (InterruptedException e) {
                    dropped = true;
                }
            }
            if (lane == null && !dropped) {
                return true;
            }
            newest = null;
            if (lane == null) {
                return false;
            }
        }
        made.close();
        return false;
    }
}
