package kiv.media.ffmpeg;

import java.util.concurrent.atomic.AtomicInteger;

/**
 * Counts the threads of the decoders for which nobody has chosen a number. Thousands of open decoders would otherwise start
 * thousands of threads.
 */
final class ThreadBudget {

    private static final int PROCESSORS = Runtime.getRuntime().availableProcessors();
    /** More threads make pictures late and cost memory, and hardly any codec uses them. */
    private static final int MOST_OF_A_DECODER = 16;
    private static final AtomicInteger LEFT = new AtomicInteger(4 * Math.max(PROCESSORS, MOST_OF_A_DECODER / 2));

    private ThreadBudget() {
    }

    /** Takes the threads of a decoder: one for each processor, or none when too few are left. */
    static int take() {
        int threads = Math.min(PROCESSORS, MOST_OF_A_DECODER);
        if (LEFT.addAndGet(-threads) >= 0) {
            return threads;
        }
        LEFT.addAndGet(threads);
        return 0;
    }

    static void putBack(int threads) {
        LEFT.addAndGet(threads);
    }
}
