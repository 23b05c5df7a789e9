package kiv.media.ffmpeg;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.PrintStream;
import java.io.UncheckedIOException;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.TreeMap;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import java.util.logging.Handler;
import java.util.logging.Level;
import java.util.logging.LogRecord;
import java.util.logging.Logger;
import java.util.stream.Stream;
import kiv.media.ffmpeg.exactness.Reference;
import kiv.media.ffmpeg.wall.SpareMemory;

/**
 * Uses media behind the wall while workers are killed, or lie. Its virtual machine ends with status 0 when every use ended
 * with a result or an exception of the API's, the decoder beside them noticed nothing, and nothing is left.
 */
final class WallOrdeal {

    private static final long SEED = Long.getLong("kiv.wall.seed", 1);
    /** Short, because stopped workers are waited for so long. */
    private static final int DEADLINE = 500;
    private static final List<Path> FILES = List.of(TestMedia.stream("h264_b_320x240.mp4"), TestMedia.stream("tagged.mkv"),
            TestMedia.stream("mpeg2_ac3.ts"), TestMedia.stream("tagged.flac"), TestMedia.stream("mp3.mp3"),
            TestMedia.stream("raw_pal.avi"), TestMedia.stream("mpeg4_mp3.avi"), TestMedia.stream("aac_5.1.m4a"),
            TestMedia.stream("theora.ogv"), TestMedia.stream("tagged.mp4"));
    private static final int LONGEST = 60;
    private static final int DEEPEST = 3;
    private static final int AT_A_TIME = 4;
    private static final int MOST_PIXELS = 1 << 20;
    /** KiB that the memory of a process may grow. Sanitizers keep what is freed. */
    private static final long MEMORY = System.getenv("LD_PRELOAD") == null ? 200_000 : 1_000_000;

    private final Map<String, Integer> outcomes = new TreeMap<>();
    private final ExecutorService threads = Executors.newCachedThreadPool(task -> {
        Thread thread = new Thread(task);
        thread.setDaemon(true);
        return thread;
    });
    private volatile long lies;
    private int findings;

    private WallOrdeal() {
    }

    /** @param arguments {@code kills} or {@code lies}, and how many */
    public static void main(String[] arguments) throws Exception {
        WallOrdeal ordeal = new WallOrdeal();
        long count = Long.parseLong(arguments[1]);
        if (arguments[0].equals("kills")) {
            ordeal.kill(count);
        } else {
            ordeal.lie(count);
        }
        System.out.println(arguments[0] + ": seed " + SEED + ", " + ordeal.outcomes);
        System.exit(ordeal.findings == 0 ? 0 : 1);
    }

    /** What this process and the one that makes workers have: processes, descriptors, mappings, and KiB of memory. */
    private static Map<String, Long> possessions() throws IOException {
        SpareMemory.dropAll();
        long nursery = nursery();
        return new TreeMap<>(Map.of("workers", workers().count(), "descriptors", entries("/proc/self/fd"),
                "mappings", lines("/proc/self/maps").filter(line -> line.contains("memfd:kiv")).count(),
                "memory", memory("self"), "nursery's descriptors", entries("/proc/" + nursery + "/fd"),
                "nursery's memory", memory("" + nursery)));
    }

    private static long entries(String directory) throws IOException {
        try (Stream<Path> all = Files.list(Path.of(directory))) {
            return all.count();
        }
    }

    private static Stream<String> lines(String file) throws IOException {
        return Files.readAllLines(Path.of(file)).stream();
    }

    private static long memory(String process) throws IOException {
        return lines("/proc/" + process + "/status").filter(line -> line.startsWith("VmRSS"))
                .mapToLong(line -> Long.parseLong(line.replaceAll("\\D", ""))).sum();
    }

    private static long nursery() {
        return ProcessHandle.current().children().filter(child -> child.info().command().orElse("").contains("worker"))
                .findFirst().orElseThrow().pid();
    }

    private static Stream<Long> workers() {
        return ProcessHandle.of(nursery()).stream().flatMap(ProcessHandle::children).map(ProcessHandle::pid);
    }

    /** Compares what is left with what there was after a tenth of the ordeal. */
    private void compare(Map<String, Long> before) throws Exception {
        Map<String, Long> after = possessions();
        for (int attempt = 0; attempt < 100 && Stream.of("workers", "descriptors", "mappings")
                .anyMatch(what -> possessed(before, what) < possessed(after, what)); attempt++) {
            System.gc();
            Thread.sleep(100);
            after.putAll(possessions());
        }
        System.out.println("before " + before + "\nafter  " + after);
        after.forEach((what, much) -> {
            if (much > before.get(what) + (what.contains("memory") ? MEMORY : 2)) {
                found(what + ": " + before.get(what) + " have become " + much, null);
            }
        });
    }

    private static long possessed(Map<String, Long> possessions, String what) {
        return possessions.get(what);
    }

    private synchronized void found(String what, Throwable cause) {
        findings++;
        System.out.println("FOUND " + what);
        if (cause != null) {
            cause.printStackTrace(System.out);
        }
    }

    private void count(String outcome) {
        outcomes.merge(outcome, 1, Integer::sum);
    }

    /** Uses a medium on another thread, and counts how that ended. */
    private void finish(Future<?> use, String which) throws InterruptedException {
        try {
            use.get(LONGEST, TimeUnit.SECONDS);
            count("result");
        } catch (TimeoutException e) {
            Thread.getAllStackTraces().forEach((thread, frames) -> System.out.println(thread + ": " + List.of(frames)));
            found("a hang: " + which, null);
            System.exit(1);
        } catch (ExecutionException e) {
            Throwable cause = e.getCause() instanceof UncheckedIOException io ? io.getCause() : e.getCause();
            if (cause instanceof WorkerException failure) {
                count("WorkerException: " + failure.getMessage().replaceAll("[;:].*", ""));
            } else if (cause instanceof MediaException) {
                count(cause.getClass().getSimpleName() + " " + cause.getMessage().replaceAll("[(:\\d].*", ""));
            } else {
                found(which, cause);
            }
        }
    }

    private void kill(long count) throws Exception {
        Random random = new Random(SEED);
        Neighbour neighbour = new Neighbour();
        Future<?> beside = threads.submit(neighbour);
        while (neighbour.rounds < 2 && !beside.isDone()) {
            Thread.sleep(10);
        }
        List<Long> spared = workers().toList();
        Map<String, Long> before = possessions();
        Process shell = new ProcessBuilder("sh").start();
        long usual = 50_000_000;
        try (PrintStream commands = new PrintStream(shell.getOutputStream(), true);
                BufferedReader results = shell.inputReader()) {
            for (long kills = 0, use = 0; kills < count; use++) {
                long begun = System.nanoTime();
                List<Future<?>> used = new ArrayList<>();
                for (int i = 0; i < AT_A_TIME; i++) {
                    long seed = random.nextLong();
                    used.add(threads.submit(() -> use(new Random(seed), DEADLINE)));
                }
                TimeUnit.NANOSECONDS.sleep(random.nextLong(usual));
                String signal = List.of("KILL", "SEGV", "KILL", "SEGV", "KILL", "SEGV", "SYS", "STOP").get(random.nextInt(8));
                boolean hit = false;
                for (long worker : workers().filter(worker -> !spared.contains(worker)).toList()) {
                    commands.println("kill -" + signal + " " + worker + " 2> /dev/null; echo $?");
                    if (results.readLine().equals("0")) {
                        hit = true;
                        kills++;
                        count(signal);
                    }
                }
                for (Future<?> one : used) {
                    finish(one, "use " + use);
                }
                // Without a kill it is known how long a use takes.
                usual = hit ? usual : (usual * 7 + System.nanoTime() - begun) / 8;
                if (use == count / 10 / AT_A_TIME) {
                    before = possessions();
                }
                if (use % 500 == 0) {
                    System.out.println("kills: " + kills + " " + possessions());
                }
            }
        }
        neighbour.ends = true;
        beside.get(LONGEST, TimeUnit.SECONDS);
        System.out.println("the decoder beside them decoded the film " + neighbour.rounds + " times");
        compare(before);
    }

    /** Decodes a film again and again, in one worker. */
    private static final class Neighbour implements Runnable {
        private volatile boolean ends;
        private volatile int rounds;

        @Override
        public void run() {
            Path film = TestMedia.stream("mpeg4_320x240.avi");
            try (MediaReader here = MediaReader.open(film); VideoDecoder decoderHere = VideoDecoder.open(here);
                    MediaReader reader = open(Files.newByteChannel(film), 20_000);
                    VideoDecoder decoder = VideoDecoder.open(reader)) {
                List<String> expected = pictures(decoderHere, here);
                for (; !ends; rounds++) {
                    if (!pictures(decoder, reader).equals(expected)) {
                        throw new IllegalStateException("other pictures in round " + rounds);
                    }
                    reader.seek(reader.streams().get(0), 0);
                    decoder.reset();
                }
            } catch (IOException e) {
                throw new IllegalStateException(e);
            }
        }

        private static List<String> pictures(VideoDecoder decoder, MediaReader reader) {
            return decoder.pictures(reader).map(picture -> {
                try (picture) {
                    return Reference.md5(picture.toBytes());
                }
            }).toList();
        }
    }

    /** Workers that lie are those of another program, which reports how many messages it has falsified. */
    private void lie(long count) throws Exception {
        Logger logger = Logger.getLogger("kiv.media.ffmpeg");
        logger.setLevel(Level.FINE);
        logger.setUseParentHandlers(false);
        logger.addHandler(new Handler() {
            @Override
            public void publish(LogRecord entry) {
                if (entry.getMessage().matches("worker: \\d+ lies(?s:.*)")) {
                    lies = Math.max(lies, Long.parseLong(entry.getMessage().split(" ")[1]));
                }
            }

            @Override
            public void flush() {
                // Nothing is kept.
            }

            @Override
            public void close() {
                flush();
            }
        });
        Random random = new Random(SEED);
        Map<String, Long> before = null;
        Map<Long, Future<?>> uses = new TreeMap<>();
        for (long use = 0; lies < count; use++) {
            long seed = random.nextLong();
            uses.put(use, threads.submit(() -> use(new Random(seed), 4 * DEADLINE)));
            if (use >= AT_A_TIME) {
                finish(uses.remove(use - AT_A_TIME), "use " + (use - AT_A_TIME));
            }
            if (before == null && lies >= count / 10) {
                before = possessions();
            }
            if (use % 1000 == 999) {
                System.out.println("lies: " + lies + " " + possessions());
            }
        }
        for (Map.Entry<Long, Future<?>> use : uses.entrySet()) {
            finish(use.getValue(), "use " + use.getKey());
        }
        System.out.println(lies + " falsified messages");
        compare(before);
    }

    private static MediaReader open(SeekableByteChannel channel, int deadline) throws IOException {
        return MediaReader.open(channel, ReaderLimits.USUAL, Isolation.wall().withMemoryLimit((1L << 30) + SEED)
                .withDeadline(Duration.ofMillis(deadline)));
    }

    /** Opens a medium, looks at everything, reads, seeks and decodes. */
    private static Void use(Random random, int deadline) throws Exception {
        List<AutoCloseable> closing = new ArrayList<>();
        Path file = FILES.get(random.nextInt(FILES.size()));
        try (SeekableByteChannel channel = Files.newByteChannel(file);
                MediaReader reader = open(channel, deadline)) {
            boolean curious = random.nextInt(4) == 0;
            if (curious) {
                lookAt(DEEPEST, reader.tags(), reader.chapters(), reader.programs(), reader.streams(),
                        reader.attachedPictures());
            }
            VideoDecoder video = reader.firstVideo().isEmpty() ? null : VideoDecoder.open(reader);
            AudioDecoder audio = reader.firstAudio().isEmpty() ? null : AudioDecoder.open(reader);
            Stream.of(video, audio).filter(decoder -> decoder != null).forEach(closing::add);
            Picture kept = null;
            for (int packets = random.nextInt(80); packets > 0; packets--) {
                if (random.nextInt(16) == 0) {
                    reader.seek(Duration.ofMillis(random.nextInt(1500)));
                    closing.forEach(decoder -> {
                        if (decoder == video) {
                            video.reset();
                        } else {
                            audio.reset();
                        }
                    });
                }
                Packet packet = reader.read();
                if (packet == null) {
                    break;
                }
                if (video != null && video.accepts(packet)) {
                    for (Picture picture : video.decode(packet)) {
                        lookAt(curious, picture);
                        if (kept == null && random.nextInt(8) == 0) {
                            kept = picture; // and not closed, sometimes
                        } else {
                            picture.close();
                        }
                    }
                } else if (audio != null && audio.accepts(packet)) {
                    lookAt(DEEPEST, audio.decode(packet));
                }
            }
            if (random.nextInt(8) == 0) {
                encode();
                split(file);
            }
        } finally {
            for (AutoCloseable decoder : closing) {
                decoder.close();
            }
        }
        return null;
    }

    private static void encode() {
        try {
            encodeAndResample();
        } catch (IllegalArgumentException e) {
            if (!e.getMessage().startsWith("no change of ")) { // as of rates that FFmpeg refuses
                throw e;
            }
        }
    }

    private static void encodeAndResample() {
        try (AudioEncoder encoder = AudioEncoder.open(AudioCodec.AAC, 44_100, 2);
                AudioResampler resampler = AudioResampler.open(22_050, 44_100, 2, SampleFormat.PCM_16)) {
            byte[] sound = resampler.resample(new AudioBlock(new byte[1 << 16], SampleFormat.PCM_16, 22_050, 2, 0,
                    new Rational(1, 22_050)));
            encoder.encode(new byte[sound.length & -4]);
            lookAt(DEEPEST, encoder.finish());
        }
    }

    private static void split(Path file) throws IOException {
        try (PacketSplitter splitter = PacketSplitter.open("mp3")) {
            splitter.push(Files.readAllBytes(file));
            lookAt(DEEPEST, splitter.finish(), splitter.stream());
        }
    }

    private static void lookAt(boolean curious, Picture picture) {
        picture.toBytes();
        if (curious && picture.width() * picture.height() < MOST_PIXELS) {
            lookAt(DEEPEST, picture);
        }
    }

    /** Calls whatever takes no argument, of elements of lists and of results too. */
    private static void lookAt(int depth, Object... all) {
        for (Object object : all) {
            if (object instanceof List<?> list) {
                lookAt(depth, list.toArray());
            } else if (depth > 0 && object != null && object.getClass().getName().startsWith("kiv.")) {
                Stream.of(object.getClass().getDeclaredMethods()).filter(method -> method.getParameterCount() == 0
                        && (method.getModifiers() & (Modifier.PUBLIC | Modifier.STATIC)) == Modifier.PUBLIC
                        && !method.getName().equals("close")).forEach(method -> call(depth - 1, object, method));
            }
        }
    }

    private static void call(int depth, Object object, Method method) {
        try {
            Object result = method.invoke(object);
            lookAt(result instanceof Picture ? 0 : depth, result);
        } catch (InvocationTargetException e) {
            if (e.getCause() instanceof RuntimeException failure && !(failure instanceof UnsupportedOperationException)
                    && !(failure instanceof MediaStateException)) {
                throw failure;
            }
        } catch (IllegalAccessException e) {
            throw new IllegalStateException(e);
        }
    }
}
