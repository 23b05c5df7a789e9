package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.List;
import java.util.Set;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

/**
 * Ends the work in order when a signal ends the process, and closes the outputs that are still being written. An output
 * that is closed before it is finished leaves no file behind. Any thread may call any method.
 */
final class ShutdownGuard {

    /** The work ends because the process does. */
    static final class InterruptedWorkException extends RuntimeException {
        private static final long serialVersionUID = 1;
    }

    /** Opens an output. */
    @FunctionalInterface
    interface Opening<T> {
        T open() throws IOException;
    }

    /** Decoding and packing a picture takes less, and nobody wants to wait longer for a Ctrl-C. */
    private static final int GRACE_SECONDS = 2;

    private static final Set<AutoCloseable> OUTPUTS = Collections.newSetFromMap(new IdentityHashMap<>());
    private static final CountDownLatch RETURNED = new CountDownLatch(1);
    private static volatile boolean ending;

    private ShutdownGuard() {
    }

    /** Installs the shutdown hook. Called once, by the thread that then works and reports its return. */
    static void install() {
        Runtime.getRuntime().addShutdownHook(new Thread(ShutdownGuard::end, "shutdown guard"));
    }

    /**
     * Reports that the work is over, whether or not it succeeded.
     *
     * @return whether the caller is to end the process; otherwise a signal ends it, with a status of its own
     */
    static boolean workReturned() {
        RETURNED.countDown();
        return !ending;
    }

    /** {@return whether the process is ending} */
    static boolean isEnding() {
        return ending;
    }

    /** Leaves the work when a signal ends the process. Called for every packet. */
    static void throwIfEnding() {
        if (ending) {
            throw new InterruptedWorkException();
        }
    }

    /** Opens an output and registers it. Both happen under one lock, so that the shutdown hook misses no output. */
    static synchronized <T extends AutoCloseable> T open(Opening<T> opening) throws IOException {
        throwIfEnding();
        T output = opening.open();
        OUTPUTS.add(output);
        return output;
    }

    /** Forgets an output that was finished or closed. */
    static synchronized void forget(AutoCloseable output) {
        OUTPUTS.remove(output);
    }

    private static void end() {
        ending = true;
        try {
            // Native code must not be running while the process unloads its libraries.
            RETURNED.await(GRACE_SECONDS, TimeUnit.SECONDS);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
        synchronized (ShutdownGuard.class) {
            for (AutoCloseable output : List.copyOf(OUTPUTS)) {
                try {
                    output.close();
                } catch (Exception e) {
                    // The others must be closed nevertheless.
                    FailureReport.warn(new PrintWriter(System.err), String.valueOf(e.getMessage()));
                }
            }
        }
    }
}
