package kiv.media.ffmpeg.fuzz;

import java.io.IOException;
import java.lang.management.BufferPoolMXBean;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentSkipListMap;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.atomic.AtomicLongArray;
import java.util.stream.Stream;
import kiv.media.ffmpeg.Isolation;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.ReaderLimits;
import kiv.media.ffmpeg.WorkerPool;
import kiv.media.ffmpeg.wall.SpareMemory;

/**
 * Millions of damaged films behind the wall, in one virtual machine that outlives them all. Workers may die, and after each
 * report one is killed. Anything that is no exception of the API is a finding, and so is a film that takes minutes.
 */
final class WalledFilms {

    /** A worker that takes so much dies as it does with more, but sooner. */
    private static final Isolation WALL = Isolation.wall().withMemoryLimit(256L << 20).withDeadline(Duration.ofMillis(1500));
    private static final long TOO_LONG = TimeUnit.MINUTES.toNanos(3);
    private static final int TOLD_OF_A_KIND = 20;

    private final WorkerPool pool = WorkerPool.open(WALL);
    private final long end;
    private final AtomicLong next;
    private final AtomicLong done = new AtomicLong();
    private final AtomicLong findings = new AtomicLong();
    private final Map<String, Long> outcomes = new ConcurrentSkipListMap<>();
    private final AtomicLongArray indices;
    private final AtomicLongArray begun;

    private WalledFilms(long first, long end, int threads) {
        this.next = new AtomicLong(first);
        this.end = end;
        this.indices = new AtomicLongArray(threads);
        this.begun = new AtomicLongArray(threads);
    }

    /**
     * Attempts films, and prints what became of them and what the process has.
     *
     * @param args the first index and the end, the number of threads, and seconds between two reports
     */
    public static void main(String[] args) throws InterruptedException {
        int threads = Integer.parseInt(args[2]);
        WalledFilms films = new WalledFilms(Long.parseLong(args[0]), Long.parseLong(args[1]), threads);
        List<Thread> all = new ArrayList<>();
        for (int thread = 0; thread < threads; thread++) {
            int number = thread;
            all.add(new Thread(() -> films.run(number), "films " + number));
        }
        all.forEach(Thread::start);
        long before = 0;
        long since = System.nanoTime();
        while (all.stream().anyMatch(Thread::isAlive)) {
            all.get(0).join(TimeUnit.SECONDS.toMillis(Long.parseLong(args[3])));
            long now = System.nanoTime();
            films.report((films.done.get() - before) * 1e9 / (now - since));
            before = films.done.get();
            since = now;
            films.findHangs(all);
            workers().findAny().ifPresent(ProcessHandle::destroyForcibly); // films seldom do that
        }
        films.pool.close();
        boolean left = isSomethingLeft();
        System.out.println("WALL " + films.findings + " findings" + (left ? ", and processes or memory are left" : ""));
        System.exit(films.findings.get() == 0 && !left ? 0 : 1);
    }

    private void run(int thread) {
        for (long index = next.getAndIncrement(); index < end; index = next.getAndIncrement()) {
            indices.set(thread, index);
            begun.set(thread, System.nanoTime());
            String outcome = attempt(index);
            long count = outcomes.merge(outcome, 1L, Long::sum);
            if (count <= TOLD_OF_A_KIND && outcome.startsWith("died")) {
                System.out.println("WALL film " + Attempts.SEED + "-" + index + " " + outcome);
            }
            done.incrementAndGet();
        }
        begun.set(thread, 0);
    }

    private String attempt(long index) {
        try {
            return new Attempts(index).run(channel -> MediaReader.open(channel, ReaderLimits.USUAL, pool.isolation()));
        } catch (RuntimeException | Error e) {
            findings.incrementAndGet();
            System.out.println("WALL film " + Attempts.SEED + "-" + index + " is a finding:");
            e.printStackTrace(System.out);
            return "findings";
        }
    }

    /** Memory is unmapped when no buffer over it is reachable. */
    private static boolean isSomethingLeft() throws InterruptedException {
        boolean left = true;
        for (int look = 0; look < 100 && left; look++) {
            SpareMemory.dropAll();
            System.gc();
            Thread.sleep(50);
            left = count(Path.of("/proc/self/maps"), true) > 0 || workers().findAny().isPresent();
        }
        return left;
    }

    private void findHangs(List<Thread> threads) {
        for (int thread = 0; thread < threads.size(); thread++) {
            long since = begun.get(thread);
            if (since != 0 && System.nanoTime() - since > TOO_LONG) {
                System.out.println("WALL film " + Attempts.SEED + "-" + indices.get(thread) + " hangs:");
                Stream.of(threads.get(thread).getStackTrace()).forEach(frame -> System.out.println("    " + frame));
                Runtime.getRuntime().halt(2);
            }
        }
    }

    private void report(double rate) {
        List<ProcessHandle> workers = workers().toList();
        Runtime memory = Runtime.getRuntime();
        System.out.printf("WALL %tT %d films, %.0f/s, %s; RSS %d MiB, heap %d MiB, direct %d MiB, %d threads, %d descriptors,"
                + " %d mappings, %d of workers; %d workers with %s MiB%n", System.currentTimeMillis(), done.get(), rate, outcomes,
                residentMebibytes(ProcessHandle.current()), memory.totalMemory() - memory.freeMemory() >> 20, direct(),
                ManagementFactory.getThreadMXBean().getThreadCount(), count(Path.of("/proc/self/fd"), false),
                count(Path.of("/proc/self/maps"), false), count(Path.of("/proc/self/maps"), true), workers.size(),
                workers.stream().map(WalledFilms::residentMebibytes).toList());
    }

    private static Stream<ProcessHandle> workers() {
        return ProcessHandle.current().children().flatMap(ProcessHandle::children);
    }

    private static long direct() {
        return ManagementFactory.getPlatformMXBeans(BufferPoolMXBean.class).stream()
                .filter(pool -> pool.getName().equals("direct")).mapToLong(BufferPoolMXBean::getMemoryUsed).sum() >> 20;
    }

    private static long residentMebibytes(ProcessHandle process) {
        try {
            return Long.parseLong(Files.readString(Path.of("/proc/" + process.pid() + "/statm")).split(" ")[1]) * 4096 >> 20;
        } catch (IOException e) {
            return 0; // it has just ended
        }
    }

    private static long count(Path of, boolean workers) {
        try (Stream<?> all = Files.isDirectory(of) ? Files.list(of)
                : Files.lines(of).filter(line -> !workers || line.contains("memfd:kiv"))) {
            return all.count();
        } catch (IOException e) {
            return -1;
        }
    }
}
