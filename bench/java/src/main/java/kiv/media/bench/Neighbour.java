package kiv.media.bench;

import java.nio.file.Path;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.Locale;
import java.util.Map;
import java.util.concurrent.atomic.AtomicBoolean;

/**
 * A thread that allocates all the while, with something beside it: how evenly it goes on. Prints what is beside it, and the
 * median, the 99.9th percentile and the largest of the microseconds that a batch of objects takes.
 */
public final class Neighbour {

    private static final int BATCHES = 60_000;
    private static final int OBJECTS = 64;
    private static final int OBJECT_BYTES = 1024;
    /** What is reachable, so that a collection has something to do. */
    private static final byte[][] KEPT = new byte[20_000][];

    private Neighbour() {
    }

    /**
     * Measures.
     *
     * @param args a film, and how many rounds
     * @throws Exception when a participant fails
     */
    public static void main(String[] args) throws Exception {
        Path film = Path.of(args[0]);
        Map<String, Work> beside = new LinkedHashMap<>();
        beside.put("nobody", null);
        beside.put("Java that computes", sink -> compute());
        beside.put("api", Participants.make("api", new Task(Task.Kind.PACKETS, film, 1, 0, 0)));
        beside.put("api, all threads", Participants.make("api", new Task(Task.Kind.PACKETS, film, 0, 0, 0)));
        beside.put("api, images", Participants.make("api", new Task(Task.Kind.IMAGES, film, 1, 0, 0)));
        beside.put("entries", Participants.make("entries", new Task(Task.Kind.PACKETS, film, 1, 0, 0)));
        for (int round = -1; round < Integer.parseInt(args[1]); round++) {
            for (Map.Entry<String, Work> one : beside.entrySet()) {
                double[] times = with(one.getValue());
                if (round >= 0) {
                    System.out.printf(Locale.ROOT, "@ %s\t%.2f\t%.2f\t%.2f%n", one.getKey(), times[times.length / 2],
                            times[(int) (times.length * 0.999)], times[times.length - 1]);
                }
            }
        }
        System.exit(0);
    }

    private static double[] with(Work work) throws Exception {
        AtomicBoolean ended = new AtomicBoolean();
        Thread thread = new Thread(() -> {
            while (!ended.get()) {
                try {
                    work.run(null);
                } catch (Exception e) {
                    throw new IllegalStateException(e);
                }
            }
        });
        if (work != null) {
            thread.start();
        }
        double[] times = allocate();
        ended.set(true);
        thread.join();
        Arrays.sort(times);
        return times;
    }

    private static double[] allocate() {
        double[] micros = new double[BATCHES];
        for (int batch = 0; batch < BATCHES; batch++) {
            long start = System.nanoTime();
            for (int i = 0; i < OBJECTS; i++) {
                byte[] object = new byte[OBJECT_BYTES];
                if (i == 0) {
                    KEPT[batch % KEPT.length] = object;
                }
            }
            micros[batch] = (System.nanoTime() - start) / 1e3;
        }
        return micros;
    }

    private static long compute() {
        long sum = 0;
        for (int i = 0; i < 50_000_000; i++) {
            sum = sum * 31 + (sum >>> 7) + i;
        }
        return sum;
    }
}
