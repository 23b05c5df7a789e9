package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.time.Duration;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

/**
 * Watches the opening of a file. A damaged file may let FFmpeg loop without asking for more bytes, so that the limits of a
 * reader do not end it, and Java cannot stop a thread in native code. What remains is to end the process.
 */
final class LoopGuard {

    private static final long FIRST_PAUSE_MILLIS = 500;
    private static final long PAUSE_MILLIS = 200;

    /** Opens a file. */
    @FunctionalInterface
    interface Opening<T> {
        T open() throws IOException;
    }

    private LoopGuard() {
    }

    /**
     * Opens a file on the calling thread.
     *
     * @param limit the processor time that it may take
     * @param end called by another thread when it takes more
     */
    static <T> T watch(Duration limit, Runnable end, Opening<T> opening) throws IOException {
        long thread = Thread.currentThread().getId();
        CountDownLatch opened = new CountDownLatch(1);
        Thread watch = new Thread(() -> {
            try {
                if (opened.await(FIRST_PAUSE_MILLIS, TimeUnit.MILLISECONDS)) {
                    return;
                }
                // The virtual machine's reports take a while to load, and most files are open by now.
                ThreadMXBean threads = ManagementFactory.getThreadMXBean();
                long last = threads.getThreadCpuTime(thread) + limit.toNanos();
                while (!opened.await(PAUSE_MILLIS, TimeUnit.MILLISECONDS)) {
                    if (threads.getThreadCpuTime(thread) > last) {
                        end.run();
                        return;
                    }
                }
            } catch (InterruptedException e) {
                // Nobody interrupts this thread.
            }
        }, "loop guard");
        watch.setDaemon(true);
        watch.start();
        try {
            return opening.open();
        } finally {
            opened.countDown();
        }
    }
}
