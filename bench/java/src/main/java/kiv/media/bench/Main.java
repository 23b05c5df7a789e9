package kiv.media.bench;

import com.sun.management.ThreadMXBean;
import java.io.BufferedReader;
import java.io.InputStreamReader;
import java.io.PrintStream;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;

/**
 * One participant in a process of its own, which does a round when it is asked to. Lines of the protocol begin with "@".
 *
 * <pre>
 * Main PARTICIPANT KIND FILE THREADS WIDTH HEIGHT COPIES
 * round                 ->  @ round WALL THREAD ALLOCATED COUNT
 * check NUMBERS IMAGE   ->  @ check COUNT CHECKSUM
 * </pre>
 *
 * <p>Times are nanoseconds: of the wall clock, and of the processor for the calling thread; who asks can see that of the
 * process. Allocated are bytes of the Java heap by the calling thread. With several copies the work is done by as many threads side by side.
 */
public final class Main {

    private static final ThreadMXBean THREADS = (ThreadMXBean) ManagementFactory.getThreadMXBean();

    private final List<Work> copies;
    private final ExecutorService executor;

    private Main(List<Work> copies) {
        this.copies = copies;
        this.executor = copies.size() == 1 ? null : Executors.newFixedThreadPool(copies.size());
    }

    /**
     * Runs a participant until its standard input ends.
     *
     * @param args as the class says
     * @throws Exception when the participant fails
     */
    public static void main(String[] args) throws Exception {
        Task task = new Task(Task.Kind.valueOf(args[1].toUpperCase(Locale.ROOT)), Path.of(args[2]),
                Integer.parseInt(args[3]), Integer.parseInt(args[4]), Integer.parseInt(args[5]));
        List<Work> copies = new ArrayList<>();
        for (int i = 0; i < Integer.parseInt(args[6]); i++) {
            copies.add(Participants.make(args[0], task));
        }
        new Main(copies).serve();
        // Some participants leave threads behind.
        System.exit(0);
    }

    private void serve() throws Exception {
        PrintStream out = System.out;
        out.println("@ ready");
        try (BufferedReader in = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8))) {
            for (String line; (line = in.readLine()) != null;) {
                String[] words = line.split(" ");
                out.println(words[0].equals("check") ? check(Path.of(words[1]), Path.of(words[2])) : round());
            }
        }
    }

    private String check(Path numbers, Path image) throws Exception {
        Sink sink = new Sink();
        long count = copies.get(0).run(sink);
        sink.write(numbers, image);
        return "@ check " + count + " " + sink.checksum();
    }

    private String round() throws Exception {
        long allocated = THREADS.getCurrentThreadAllocatedBytes();
        long thread = THREADS.getCurrentThreadCpuTime();
        long wall = System.nanoTime();
        long count = executor == null ? copies.get(0).run(null) : sideBySide();
        wall = System.nanoTime() - wall;
        thread = THREADS.getCurrentThreadCpuTime() - thread;
        allocated = THREADS.getCurrentThreadAllocatedBytes() - allocated;
        return "@ round " + wall + " " + thread + " " + allocated + " " + count;
    }

    private long sideBySide() throws Exception {
        List<Future<Long>> running = new ArrayList<>();
        for (Work copy : copies) {
            running.add(executor.submit(() -> copy.run(null)));
        }
        long count = 0;
        for (Future<Long> one : running) {
            count += one.get();
        }
        return count;
    }
}
