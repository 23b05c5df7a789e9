package kiv.media.ffmpeg.fuzz;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ConcurrentSkipListMap;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.regex.MatchResult;
import java.util.regex.Pattern;
import java.util.stream.IntStream;
import kiv.media.ffmpeg.TestMedia;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/**
 * Feeds damaged containers and packets to readers and decoders: {@link Attempts} in virtual machines of their own, so
 * that one that dies is a finding. Findings in FFmpeg's own code are counted, all others fail. {@code
 * -Dkiv.fuzz.inputs} is the index behind the last input, instead of as many as a minute allows; {@code -Dkiv.fuzz.first}
 * is the first one's, and {@code -Dkiv.fuzz.seed} chooses what they are.
 */
@Tag("stress")
class FuzzTest {

    private static final long FIRST = Long.getLong("kiv.fuzz.first", 0);
    private static final long INPUTS = Long.getLong("kiv.fuzz.inputs", Long.MAX_VALUE);
    private static final long NANOS = TimeUnit.MINUTES.toNanos(INPUTS == Long.MAX_VALUE ? 1 : TimeUnit.DAYS.toMinutes(30));
    /** Inputs of one virtual machine, so that little depends on what went before. */
    private static final long BATCH = 5000;
    private static final int SAVED = 3;
    private static final Pattern FRAME = Pattern.compile("^C  \\[(\\S+)\\+0x\\w+]", Pattern.MULTILINE);
    private static final Pattern LAST_WORDS = Pattern.compile(".*(corrupt|free\\(\\)|malloc|insufficient memory).*");

    private final Path directory = Path.of("target", "fuzz").toAbsolutePath();
    private final AtomicLong count = new AtomicLong();
    private final Map<String, Integer> kinds = new ConcurrentSkipListMap<>();

    @Test
    void nothingButFfmpegItselfFails() throws Exception {
        Files.createDirectories(directory);
        int processors = Runtime.getRuntime().availableProcessors();
        IntStream.range(0, processors).mapToObj(worker -> CompletableFuture.runAsync(() -> run(worker, processors),
                command -> new Thread(command).start())).toList().forEach(CompletableFuture::join);
        System.out.println("fuzz: seed " + Attempts.SEED + ", " + count + " inputs, findings: " + kinds);
        assertThat(kinds.keySet()).as("findings, the first of each kind saved in %s", directory)
                .allMatch(kind -> kind.startsWith("FFmpeg's "));
    }

    /** The files and packets of the others, behind the wall: none of them does any harm. */
    @Test
    void nothingFailsBehindTheWall() throws Exception {
        Files.createDirectories(directory);
        Path log = directory.resolve("walled.log");
        List<String> small = List.of("-Dkiv.fuzz.bytes=8192", "-Dkiv.fuzz.packets=6");
        int status = start(log, WalledFilms.class, small, "0", "5000", "2", "1");
        assertThat(status).as(() -> "the status of what wrote " + log).isZero();
    }

    /** Runs a program in a virtual machine of its own. {@return its status} */
    private static int start(Path log, Class<?> program, List<String> options, String... arguments)
            throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of(ProcessHandle.current().info().command().orElseThrow(), "-Xmx256m",
                "-XX:MaxDirectMemorySize=256m", "-XX:+UseSerialGC", "-XX:-CreateCoredumpOnCrash",
                "-DKIV_STREAMS_DIR=" + TestMedia.stream("audio.tsv").getParent(), "-Dkiv.fuzz.seed=" + Attempts.SEED,
                "-Dkiv.media.ffmpeg.library=" + System.getProperty("kiv.media.ffmpeg.library")));
        command.addAll(options);
        command.addAll(List.of("-cp", System.getProperty("java.class.path"), program.getName()));
        command.addAll(List.of(arguments));
        return new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(log.toFile()).start().waitFor();
    }

    /** Runs virtual machines one after the other, until the inputs or the time are used up. */
    private void run(int worker, int step) {
        long end = System.nanoTime() + NANOS;
        Path log = directory.resolve("worker-" + worker + ".log");
        Path crash = directory.resolve("worker-" + worker + ".crash");
        Path progress = directory.resolve("worker-" + worker);
        for (long at = FIRST + worker; at < INPUTS && System.nanoTime() < end;) {
            try {
                Files.deleteIfExists(crash);
                Files.write(progress, ByteBuffer.allocate(Long.BYTES).putLong(at).array());
                String most = "" + Math.min(INPUTS, at + BATCH * step);
                String millis = "" + TimeUnit.NANOSECONDS.toMillis(end - System.nanoTime());
                int status = start(log, Attempts.class, List.of("-XX:ErrorFile=" + crash), progress.toString(), "" + at,
                        "" + step, most, millis);
                long last = ByteBuffer.wrap(Files.readAllBytes(progress)).getLong();
                if (status != 0) {
                    String report = Files.exists(crash) ? Files.readString(crash, StandardCharsets.ISO_8859_1) : "";
                    judge(at, last, status, Files.readString(log, StandardCharsets.ISO_8859_1), report);
                }
                count.addAndGet((last - at) / step + 1);
                at = last + step;
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            } catch (InterruptedException e) {
                throw new IllegalStateException(e);
            }
        }
    }

    /** Names what became of an input, and saves the first inputs of each kind. */
    private void judge(long first, long index, int status, String log, String report) throws IOException {
        // The system's functions are called with what is wrong; the frame below is that of who calls.
        String frame = FRAME.matcher(report).results().filter(found -> !found.group(1).matches("lib(c|m|pthread)\\..*"))
                .map(MatchResult::group).findFirst().orElse("");
        String words = log.lines().filter(line -> line.startsWith(Attempts.TOLD) || LAST_WORDS.matcher(line).matches())
                .map(line -> line.replace(Attempts.TOLD, "")).findFirst().orElse("");
        String kind = (frame.matches("C  \\[lib(av|sw).*") ? "FFmpeg's " : "") + (frame + " " + words).strip();
        kind = kind.isEmpty() ? "status " + status : kind;
        if (kinds.merge(kind, 1, Integer::sum) <= SAVED) {
            Path input = directory.resolve(Attempts.SEED + "-" + index);
            Files.write(input, new Attempts(index).input());
            Files.writeString(Path.of(input + ".txt"), kind + "\nin a virtual machine that began with " + first + "\n\n" + log
                    + "\n\n" + report);
        }
    }
}
