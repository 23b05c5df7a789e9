package kiv.media.ffmpeg.fuzz;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.nio.MappedByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.TreeMap;
import java.util.concurrent.TimeUnit;
import java.util.function.Consumer;
import java.util.stream.Stream;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.HostileChannel;
import kiv.media.ffmpeg.LibraryException;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.WorkerException;

/** One damaged file: opened, read, sought in, decoded. A virtual machine attempts many, one after the other. */
final class Attempts {

    static final long SEED = Long.getLong("kiv.fuzz.seed", 1);
    /** Before the line that names a finding. */
    static final String TOLD = "FUZZ ";

    private static final int LARGEST_SOURCE = Integer.getInteger("kiv.fuzz.bytes", 32 << 10);
    private static final int MOST_PACKETS = Integer.getInteger("kiv.fuzz.packets", 32);
    private static final long LOOP = TimeUnit.SECONDS.toNanos(8);
    private static final long MOST_KIB = 2L << 20;
    private static final ThreadMXBean THREADS = ManagementFactory.getThreadMXBean();
    /** Files of a kind together, so that each kind is as frequent as the others. */
    private static final List<List<byte[]>> SOURCES = sources();

    private static volatile long begun;
    private static volatile long reads;

    private final Random random;
    private final Mutation mutation;
    private final byte[] input;
    private final List<Runnable> closing = new ArrayList<>();
    private WorkerException death;

    /** Opens a medium. */
    @FunctionalInterface
    interface Opening {
        MediaReader open(SeekableByteChannel channel) throws IOException;
    }

    Attempts(long index) {
        random = new Random(SEED * 1_000_003 + index);
        mutation = new Mutation(random);
        List<byte[]> kind = any(SOURCES);
        byte[] file = any(kind);
        // Some containers stay whole: then only their packets are damaged.
        input = random.nextInt(6) == 0 ? file : mutation.of(file, any(random.nextInt(4) == 0 ? any(SOURCES) : kind));
    }

    /**
     * Attempts inputs.
     *
     * @param args a file that receives the index of each input before it is attempted; the first index, the step to the
     *     next and the end; milliseconds after which no further input is begun
     */
    public static void main(String[] args) throws IOException {
        long end = System.nanoTime() + TimeUnit.MILLISECONDS.toNanos(Long.parseLong(args[4]));
        Thread worker = Thread.currentThread();
        Thread watch = new Thread(() -> watch(worker));
        watch.setDaemon(true);
        try (FileChannel file = FileChannel.open(Path.of(args[0]), StandardOpenOption.READ, StandardOpenOption.WRITE)) {
            MappedByteBuffer progress = file.map(FileChannel.MapMode.READ_WRITE, 0, Long.BYTES);
            watch.start();
            long step = Long.parseLong(args[2]);
            long last = Long.parseLong(args[3]);
            for (long index = Long.parseLong(args[1]); index < last && System.nanoTime() < end; index += step) {
                progress.putLong(0, index);
                begun = THREADS.getCurrentThreadCpuTime();
                new Attempts(index).run(MediaReader::open);
            }
        } catch (RuntimeException | Error e) {
            e.printStackTrace();
            end(e.getClass().getName() + " at " + Stream.of(e.getStackTrace())
                    .filter(frame -> frame.getClassName().startsWith("kiv.")).findFirst().orElse(null));
        }
    }

    /** Ends the process when an input takes too much. */
    private static void watch(Thread worker) {
        for (long before = 0;; before = reads) {
            try {
                Thread.sleep(500);
                StackTraceElement[] at = worker.getStackTrace();
                String where = at.length == 0 ? "" : " in " + at[0].getMethodName();
                if (THREADS.getThreadCpuTime(worker.getId()) - begun > LOOP) {
                    if (before == reads && at.length > 0 && at[0].isNativeMethod()) {
                        System.out.println(TOLD + "loops" + where);
                        die();
                    }
                    end("loops" + where);
                }
                if (Files.readAllLines(Path.of("/proc/self/status")).stream().filter(line -> line.startsWith("VmRSS:"))
                        .anyMatch(line -> Long.parseLong(line.replaceAll("\\D", "")) > MOST_KIB)) {
                    end("takes too much memory" + where);
                }
            } catch (IOException | InterruptedException e) {
                end(e.toString());
            }
        }
    }

    /** The thread that computes most gets a signal. The virtual machine's report then names the library that loops. */
    private static void die() throws IOException, InterruptedException {
        try (Stream<Path> threads = Files.list(Path.of("/proc/self/task"))) {
            Path busiest = threads.max(Comparator.comparingLong(Attempts::ticks)).orElseThrow();
            new ProcessBuilder("kill", "-SEGV", busiest.getFileName().toString()).start().waitFor();
            Thread.sleep(TimeUnit.NANOSECONDS.toMillis(LOOP));
        }
    }

    private static long ticks(Path thread) {
        try {
            return Long.parseLong(Files.readString(thread.resolve("stat")).replaceAll(".*\\) ", "").split(" ")[11]);
        } catch (IOException e) {
            return 0;
        }
    }

    private static void end(String finding) {
        System.out.println(TOLD + finding);
        Runtime.getRuntime().halt(1);
    }

    /** Small pictures and short files, so that there are many attempts. An MP4 has its head at its end. */
    private static List<List<byte[]>> sources() {
        Map<Integer, List<byte[]>> kinds = new TreeMap<>();
        try (Stream<Path> files = Files.list(TestMedia.stream("audio.tsv").getParent())) {
            for (Path file : files.sorted().toList()) {
                if (file.toString().matches(".*(tsv|1920x1080.*|720x576.*[^s])")) {
                    continue;
                }
                byte[] whole = Files.readAllBytes(file);
                int isMp4 = whole[4] == 'f' ? 1 : 0;
                if (whole.length < (3 + 1000 * (1 - isMp4)) * LARGEST_SOURCE) {
                    kinds.computeIfAbsent(2 * whole[0] + isMp4, kind -> new ArrayList<>())
                            .add(isMp4 == 1 ? whole : Arrays.copyOf(whole, Math.min(whole.length, LARGEST_SOURCE)));
                }
            }
        } catch (IOException e) {
            throw new IllegalStateException(e);
        }
        return List.copyOf(kinds.values());
    }

    private <T> T any(List<T> all) {
        return all.get(random.nextInt(all.size()));
    }

    byte[] input() {
        return input;
    }

    /** {@return what became of the file, in few words} */
    String run(Opening opening) {
        HostileChannel channel = new HostileChannel(input);
        channel.hook = () -> reads++;
        Map<Integer, Consumer<Packet>> decoders = new HashMap<>();
        try (MediaReader reader = opening.open(channel)) {
            boolean damaging = random.nextInt(3) == 0;
            for (int count = random.nextInt(1 + random.nextInt(MOST_PACKETS)); count > 0; count--) {
                List<MediaStream> streams = reader.streams();
                seek(reader, any(streams), random.nextInt(24));
                Packet packet = reader.read();
                if (packet == null) {
                    break;
                }
                decoders.computeIfAbsent(packet.streamIndex(), index -> decoder(reader.streams().get(index)))
                        .accept(damaging && random.nextInt(4) == 0 ? damaged(packet) : packet);
            }
            decoders.values().forEach(decoder -> decoder.accept(null));
            return death == null ? "read" : died(death);
        } catch (LibraryException e) {
            throw new IllegalStateException(e);
        } catch (WorkerException e) {
            return died(e);
        } catch (IOException | MediaException e) {
            // What a damaged file deserves.
            return death == null ? e.getClass().getSimpleName() : died(death);
        } finally {
            closing.forEach(Runnable::run);
        }
    }

    private static String died(WorkerException death) {
        return "died: " + death.reason() + (death.signal() == 0 ? "" : " " + death.signal());
    }

    private void note(MediaException e) {
        if (death == null && e instanceof WorkerException exception) {
            death = exception;
        }
    }

    private void seek(MediaReader reader, MediaStream stream, int way) throws IOException {
        try {
            switch (way) {
                case 0 -> reader.seek(stream, random.nextLong() >> random.nextInt(1, 64));
                case 1 -> reader.seek(stream, random.nextInt(3000));
                case 2 -> reader.seek(Duration.ofMillis(random.nextInt(3000)));
                default -> { }
            }
        } catch (MediaException e) {
            note(e); // not every container can
        }
    }

    /** Decodes packets of a stream; null ends it. */
    private Consumer<Packet> decoder(MediaStream stream) {
        try {
            if (stream.kind() == MediaKind.VIDEO) {
                VideoDecoder decoder = VideoDecoder.open(stream);
                closing.add(decoder::close);
                return packet -> attempt(() -> (packet == null ? decoder.finish() : decoder.decode(packet)).forEach(picture -> {
                    if (picture.width() * picture.height() < 1 << 16) {
                        picture.toArgb();
                    }
                    picture.close();
                }));
            }
            AudioDecoder decoder = AudioDecoder.open(stream);
            closing.add(decoder::close);
            return packet -> attempt(() -> (packet == null ? decoder.finish() : decoder.decode(packet)).size());
        } catch (MediaException e) {
            note(e);
            return packet -> { };
        } catch (IllegalArgumentException e) {
            return packet -> { };
        }
    }

    private void attempt(Runnable work) {
        try {
            work.run();
        } catch (MediaException e) {
            note(e); // the rest may be whole
        } catch (IllegalArgumentException e) {
            // Noise may look like several pictures, which a caller's packet may not hold.
            if (!e.getMessage().contains("PacketSplitter")) {
                throw e;
            }
        }
    }

    private Packet damaged(Packet packet) {
        byte[] bytes = new byte[packet.size()];
        packet.data().get(bytes);
        bytes = random.nextInt(4) == 0 ? mutation.withNote(bytes) : bytes;
        for (int flips = random.nextInt(8); flips > 0 && bytes.length > 0; flips--) {
            bytes[random.nextInt(bytes.length)] ^= (byte) (1 << random.nextInt(8));
        }
        return Packet.of(bytes, packet.streamIndex(), packet.presentationTime(), packet.decodingTime(), packet.isKey());
    }
}
