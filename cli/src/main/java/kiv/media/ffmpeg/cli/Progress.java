package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Locale;
import java.util.concurrent.TimeUnit;
import me.tongfei.progressbar.ProgressBar;
import me.tongfei.progressbar.ProgressBarBuilder;
import me.tongfei.progressbar.ProgressBarStyle;

/** Shows on standard error how far the work is: a bar on a terminal, a line now and then elsewhere. */
interface Progress extends AutoCloseable {

    /** Shows nothing. */
    Progress NONE = new Progress() {
        @Override
        public void at(long done) {
            // Nothing is shown.
        }

        @Override
        public void close() {
            // Nothing was opened.
        }
    };

    /** Takes how much is done. */
    void at(long done);

    /** Ends the display, so that what is printed next begins on a line of its own. */
    default void finish() {
        close();
    }

    @Override
    void close();

    /**
     * Begins to show progress.
     *
     * @param task what is done, such as {@code decoding}
     * @param unit what is counted, such as {@code pictures}
     * @param expected how many there will be, or 0 when that is unknown
     */
    static Progress start(String task, String unit, long expected) {
        return isTerminal() ? new Bar(task, unit, expected) : new Lines(task, unit, expected, System.err);
    }

    /** Checks standard error alone, because Java's console stands for all three standard streams at once. */
    private static boolean isTerminal() {
        try {
            String target = Files.readSymbolicLink(Path.of("/proc/self/fd/2")).toString();
            return target.startsWith("/dev/pts/") || target.startsWith("/dev/tty") || target.equals("/dev/console");
        } catch (IOException | UnsupportedOperationException e) {
            return false;
        }
    }

    /** A bar with speed and time left. */
    final class Bar implements Progress {
        private static final int UPDATE_MILLIS = 100;
        private final ProgressBar bar;
        private boolean closed;

        Bar(String task, String unit, long expected) {
            bar = new ProgressBarBuilder().setTaskName(task).setInitialMax(expected > 0 ? expected : -1)
                    .setUnit(" " + unit, 1).setStyle(ProgressBarStyle.ASCII).setUpdateIntervalMillis(UPDATE_MILLIS)
                    .showSpeed().build();
        }

        @Override
        public void at(long done) {
            bar.stepTo(done);
        }

        @Override
        public void close() {
            if (!closed) {
                closed = true;
                bar.close();
            }
        }
    }

    /** A line with speed and time left for every tenth of the whole, or for every few hundred units when that is unknown. */
    final class Lines implements Progress {
        private static final long TENTH = 10;
        private static final long UNKNOWN_STEP = 250;
        private final String task;
        private final String unit;
        private final long expected;
        private final long step;
        private final PrintStream to;
        private final long start = System.nanoTime();
        private long last;

        Lines(String task, String unit, long expected, PrintStream to) {
            this.task = task;
            this.unit = unit;
            this.expected = expected;
            this.step = expected > 0 ? Math.max(1, expected / TENTH) : UNKNOWN_STEP;
            this.to = to;
        }

        @Override
        public void at(long done) {
            // The same number of seconds may come several times.
            if (done / step > last / step) {
                to.println(task + ": " + done + (expected > 0 ? " of " + expected : "") + " " + unit
                        + speed(done, System.nanoTime() - start));
            }
            last = done;
        }

        /** Returns how fast it goes, and how long the rest takes like that. */
        private String speed(long done, long nanos) {
            double rate = done * (double) TimeUnit.SECONDS.toNanos(1) / Math.max(1, nanos);
            String speed = String.format(Locale.ROOT, rate < TENTH ? ", %.1f/s" : ", %.0f/s", rate);
            if (expected <= done) {
                return speed;
            }
            Duration left = Duration.ofSeconds((long) Math.ceil((expected - done) / rate));
            return speed + ", " + ConsoleText.clock(left).replaceFirst("\\..*", "") + " left";
        }

        @Override
        public void close() {
            to.flush();
        }
    }
}
