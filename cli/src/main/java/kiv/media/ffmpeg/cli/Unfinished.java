package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.List;
import java.util.Set;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

/**
 * What is being written. An output that is closed before it is finished leaves nothing behind; here they are closed too
 * when a signal ends the process. All methods may be called by any thread.
 */
final class Unfinished {

    /** The work ends because the process does. */
    static final class InterruptedWorkException extends RuntimeException {
        private static final long serialVersionUID = 1;
    }

    /** Opens an output. */
    @FunctionalInterface
    interface Opening<T> {
        T open() throws IOException;
    }

    /** A picture is decoded and packed in less, and nobody wants to wait longer for a Ctrl-C. */
    private static final int PATIENCE_SECONDS = 2;

    private static final Set<AutoCloseable> OUTPUTS = Collections.newSetFromMap(new IdentityHashMap<>());
    private static final CountDownLatch RETURNED = new CountDownLatch(1);
    private static volatile boolean ending;

    private Unfinished() {
    }

    /** Has outputs closed at the process's end. Called once, by the thread that then works and returns. */
    static void guard() {
        Runtime.getRuntime().addShutdownHook(new Thread(Unfinished::end, "unfinished outputs"));
    }

    /**
     * The work is over, well or not.
     *
     * @return whether the process is to be ended now; otherwise a signal does that, with a status of its own
     */
    static boolean release() {
        RETURNED.countDown();
        return !ending;
    }

    /** {@return whether a signal ends the process} */
    static boolean isEnding() {
        return ending && RETURNED.getCount() > 0;
    }

    /** Leaves the work when a signal ends the process. Called often. */
    static void check() {
        if (ending) {
            throw new InterruptedWorkException();
        }
    }

    /** Opens an output, of which nothing can remain then that nobody knows of. */
    static synchronized <T extends AutoCloseable> T open(Opening<T> opening) throws IOException {
        check();
        T output = opening.open();
        OUTPUTS.add(output);
        return output;
    }

    /** An output is finished or was closed. */
    static synchronized void forget(AutoCloseable output) {
        OUTPUTS.remove(output);
    }

    private static void end() {
        ending = true;
        try {
            // Left in order, native code is not at work while the process takes its libraries down.
            RETURNED.await(PATIENCE_SECONDS, TimeUnit.SECONDS);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
        synchronized (Unfinished.class) {
            for (AutoCloseable output : List.copyOf(OUTPUTS)) {
                try {
                    output.close();
                } catch (Exception e) {
                    // The others are to be closed nevertheless.
                    System.err.println("warning: " + e.getMessage());
                }
            }
        }
    }
}
