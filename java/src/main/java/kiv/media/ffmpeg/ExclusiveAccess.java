package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.concurrent.locks.ReentrantLock;

/**
 * Admits one thread at a time to an object of several native ones, and none after its close. After the end of the process in
 * which the object works, each call throws the same {@link WorkerException} again.
 */
final class ExclusiveAccess {

    private final String what;
    private final ReentrantLock lock = new ReentrantLock();
    private volatile boolean closed;
    /** How the process ended, or null. */
    private WorkerException death;

    /** Some work with the object. */
    @FunctionalInterface
    interface Work<T> {
        T run() throws IOException;
    }

    /** What closes the object. */
    @FunctionalInterface
    interface Closing {
        void run() throws IOException;
    }

    /** @param what the object's name in messages */
    ExclusiveAccess(String what) {
        this.what = what;
    }

    /**
     * Does some work.
     *
     * @throws MediaStateException when the object is closed or in use
     * @throws WorkerException when the process has ended, now or before
     */
    <T> T call(Work<T> work) throws IOException {
        enter("let one thread at a time call it");
        try {
            if (closed) {
                throw new MediaStateException("the " + what + " is closed; open another one");
            }
            if (death != null) {
                throw death.again();
            }
            return work.run();
        } catch (WorkerException e) {
            death = death == null ? e : death;
            throw e;
        } finally {
            lock.unlock();
        }
    }

    boolean isClosed() {
        return closed;
    }

    /**
     * Closes the object, once.
     *
     * @param advice what to do when it is in use
     * @throws MediaStateException when the object is in use
     */
    void close(String advice, Closing closing) throws IOException {
        enter(advice);
        try {
            if (!closed) {
                closed = true;
                closing.run();
            }
        } finally {
            lock.unlock();
        }
    }

    private void enter(String advice) {
        if (lock.isHeldByCurrentThread() || !lock.tryLock()) {
            throw new MediaStateException("the " + what + " is in use; " + advice);
        }
    }
}
