package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.time.Duration;
import java.util.HashMap;
import java.util.Map;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.WorkerException;

/**
 * Watches the opening of a file. A damaged file may let FFmpeg loop without asking for more bytes, so that the limits of a
 * reader do not end it. Behind the wall the process that loops is ended. Java cannot stop a thread in native code: without
 * the wall this process ends.
 */
final class LoopGuard {

    /** What such a file is. */
    static final String LOOPS = "damaged so that FFmpeg never ends reading its head";

    private static final long FIRST_PAUSE_MILLIS = 500;
    private static final long PAUSE_MILLIS = 200;

    private final long thread = Thread.currentThread().getId();
    private final CountDownLatch opened = new CountDownLatch(1);
    private volatile boolean ended;

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
     * @param end called by another thread when the calling one takes more
     * @throws MediaFormatException when a process behind the wall takes more
     */
    static <T> T watch(Duration limit, Runnable end, Opening<T> opening) throws IOException {
        LoopGuard guard = new LoopGuard();
        Thread watch = new Thread(() -> guard.watch(limit, end), "loop guard");
        watch.setDaemon(true);
        watch.start();
        try {
            return opening.open();
        } catch (WorkerException e) {
            // On a busy machine the time without progress is over before the processor time is.
            boolean loops = guard.ended || e.reason() == WorkerException.Reason.DEADLINE;
            throw loops ? new MediaFormatException(LOOPS, e) : e;
        } finally {
            guard.opened.countDown();
        }
    }

    private void watch(Duration limit, Runnable end) {
        try {
            if (opened.await(FIRST_PAUSE_MILLIS, TimeUnit.MILLISECONDS)) {
                return;
            }
            // The virtual machine's reports take a while to load, and most files are open by now.
            ThreadMXBean threads = ManagementFactory.getThreadMXBean();
            long last = threads.getThreadCpuTime(thread) + limit.toNanos();
            Map<ProcessHandle, Duration> first = new HashMap<>();
            while (!opened.await(PAUSE_MILLIS, TimeUnit.MILLISECONDS)) {
                if (threads.getThreadCpuTime(thread) > last) {
                    end.run();
                    return;
                }
                // No other thread of this command opens files, so that only one process works.
                ProcessHandle.current().descendants().forEach(process -> process.info().totalCpuDuration().ifPresent(time -> {
                    Duration before = first.putIfAbsent(process, time);
                    if (before != null && time.minus(before).compareTo(limit) > 0) {
                        ended = true;
                        process.destroyForcibly();
                    }
                }));
            }
        } catch (InterruptedException e) {
            // Nobody interrupts this thread.
        }
    }
}
