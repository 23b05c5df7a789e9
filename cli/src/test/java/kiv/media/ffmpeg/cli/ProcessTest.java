package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.WaveFormat;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** The command line as a process: its standard output, its signals and its end. */
class ProcessTest {

    /** A full pipe may hold a little less than its capacity of 64 KiB. */
    private static final int FULL_PIPE = 60_000;

    @TempDir
    Path directory;

    /** @param settings variables of the environment, and properties of the virtual machine */
    private Process start(String line, String... settings) throws IOException {
        // A virtual machine ignores the signals that its parent ignores, as shells do in the background.
        List<String> command = new ArrayList<>(List.of("setsid", "env", "--default-signal=INT,TERM,PIPE"));
        command.addAll(Stream.of(settings).filter(setting -> !setting.startsWith("-D")).toList());
        command.add(ProcessHandle.current().info().command().orElseThrow());
        Stream.of(FfmpegLibrary.LIBRARY_PROPERTY, FfmpegLibrary.DIRECTORY_PROPERTY, "kiv.media.ffmpeg.isolation")
                .filter(name -> System.getProperty(name) != null)
                .forEach(name -> command.add("-D" + name + "=" + System.getProperty(name)));
        command.addAll(Stream.of(settings).filter(setting -> setting.startsWith("-D")).toList());
        command.addAll(List.of("-cp", System.getProperty("java.class.path"), Main.class.getName()));
        command.addAll(List.of(MainTest.words(line, directory)));
        return new ProcessBuilder(command).redirectError(directory.resolve("errors").toFile()).start();
    }

    /** Sends to the group of the process, as a terminal does. */
    private static void send(String signal, Process to) throws IOException, InterruptedException {
        assertThat(new ProcessBuilder("kill", "-" + signal, "--", "-" + to.pid()).start().waitFor()).isZero();
    }

    private static List<ProcessHandle> workers(Process process) {
        return process.descendants().filter(descendant -> descendant.children().findAny().isEmpty()).toList();
    }

    private int status(Process process) throws InterruptedException {
        assertThat(process.waitFor(5, TimeUnit.MINUTES)).isTrue();
        return process.exitValue();
    }

    @Test
    void nothingButTheDataGoesToStandardOutput() throws Exception {
        Process process = start("decode -v streams/h264_b_320x240.mp4 --format yuv -o -");
        byte[] pictures = process.getInputStream().readAllBytes();
        assertThat(status(process)).isZero();
        assertThat(pictures).isEqualTo(MainTest.ffmpeg("h264_b_320x240.mp4", "-f rawvideo"));
        assertThat(directory.resolve("errors")).content().contains("decoding: 60 of 60 pictures", "to standard output",
                "debug: ");
    }

    @ParameterizedTest
    @ValueSource(strings = {"streams/h264_aac.mp4", "streams/mpeg4_mp3.avi", "streams/mpeg2_ac3.ts"})
    void standardInputIsReadLikeAFile(String film) throws Exception {
        Process file = start("frames-md5 " + film);
        Process piped = start("frames-md5 -");
        try (OutputStream to = piped.getOutputStream()) {
            Files.copy(Path.of(MainTest.words(film, directory)[0]), to);
        }
        assertThat(piped.getInputStream().readAllBytes()).isEqualTo(file.getInputStream().readAllBytes());
        assertThat(status(piped)).isZero();
    }

    @Test
    void whatIsKeptOfStandardInputIsGoneHoweverTheProcessEnds() throws Exception {
        Path kept = Files.createDirectory(directory.resolve("kept"));
        Process process = start("info -", "TMPDIR=" + kept);
        OutputStream to = process.getOutputStream();
        to.write(new byte[200_000]);
        to.flush();
        Path descriptors = Path.of("/proc/" + process.pid() + "/fd");
        while (process.isAlive() && Stream.of(descriptors.toFile().listFiles()).noneMatch(file -> links(file, kept))) {
            Thread.sleep(10);
        }
        assertThat(kept).isEmptyDirectory();
        send("KILL", process);
        assertThat(status(process)).isEqualTo(137);
    }

    private static boolean links(File descriptor, Path directory) {
        try {
            return Files.readSymbolicLink(descriptor.toPath()).startsWith(directory);
        } catch (IOException e) {
            return false;
        }
    }

    /** What the process complained of. Workers with sanitizers have no filter of system calls, of which it warns. */
    private String errors() throws IOException {
        boolean sanitized = System.getenv("LD_PRELOAD") != null;
        return Files.readString(directory.resolve("errors")).lines()
                .filter(line -> !sanitized || !line.startsWith("warning: system calls")).map(line -> line + "\n")
                .collect(Collectors.joining());
    }

    @ParameterizedTest
    @ValueSource(strings = {"decode -q media/balle-jbart.mp4 --format y4m -o -", "frames-md5 media/balle-jbart.mp4"})
    void aClosedPipeEndsTheWorkQuietly(String line) throws Exception {
        Process process = start(line);
        try (InputStream output = process.getInputStream()) {
            assertThat(output.readNBytes(10)).hasSize(10);
        }
        assertThat(status(process)).isEqualTo(141);
        assertThat(errors()).isEmpty();
    }

    @ParameterizedTest
    @CsvSource({"INT, 130", "TERM, 143", "KILL, 137"})
    void aSignalEndsAWriteThatNobodyReads(String signal, int status) throws Exception {
        Process process = start("decode -q media/balle-jbart.mp4 --format y4m -o -");
        while (process.isAlive() && process.getInputStream().available() < FULL_PIPE) {
            Thread.sleep(10);
        }
        List<ProcessHandle> workers = workers(process);
        send(signal, process);
        assertThat(status(process)).isEqualTo(status);
        assertThat(errors()).isEmpty();
        for (ProcessHandle worker : workers) {
            worker.onExit().get(1, TimeUnit.MINUTES);
        }
    }

    @ParameterizedTest
    @CsvSource({"--no-sound, 2", "--from 0.1, 3"})
    void aFilmThatEndsItsDecoderKeepsWhatWasDecodedBefore(String options, int files) throws Exception {
        int picture = 72 * 58 * 3 / 2;
        Path out = Files.createDirectories(directory.resolve("out/balle-jbart"));
        Process process = start("decode -q media/balle-jbart.mp4 streams/h264_aac.mp4 --format yuv --size 72x58 --out tmp/out "
                + options, "-Dkiv.media.ffmpeg.isolation=wall");
        while (process.isAlive() && Stream.of(out.toFile().listFiles()).noneMatch(part -> part.length() > 9 * picture)) {
            Thread.onSpinWait();
        }
        for (ProcessHandle worker : workers(process)) {
            new ProcessBuilder("kill", "-SEGV", Long.toString(worker.pid())).start().waitFor();
        }
        assertThat(status(process)).isEqualTo(8);
        assertThat(errors()).matches(
                "warning: .*/balle-jbart.mp4: its decoder crashed \\(signal 11\\).*; what .* before is kept\n");
        assertThat(out.toFile().list()).containsExactlyInAnyOrder("balle-jbart.yuv", "index.html");
        assertThat(Files.size(out.resolve("balle-jbart.yuv"))).isBetween(10L * picture, 254L * picture)
                .matches(size -> size % picture == 0);
        assertThat(directory.resolve("out/h264_aac").toFile().list()).hasSize(files);
    }

    @Test
    void withoutAProcessToDecodeInNothingIsDecoded() throws Exception {
        String broken = "-Dkiv.media.ffmpeg.worker=/bin/false";
        assertThat(status(start("info streams/mp3.mp3", broken, "-Dkiv.media.ffmpeg.isolation=wall"))).isEqualTo(5);
        assertThat(directory.resolve("errors")).content()
                .matches("error: cannot start a process behind the wall: .* --no-wall .*\n");
        assertThat(status(start("info --no-wall streams/mp3.mp3", broken))).isZero();
    }

    @ParameterizedTest
    @CsvSource({"INT, 130, decode media/balle-jbart.mp4 --out tmp/out",
        "TERM, 143, decode media/balle-jbart.mp4 --out tmp/out",
        "INT, 130, decode media/balle-jbart.mp4 --out tmp/out --format y4m",
        "INT, 130, encode tmp/long.wav tmp/out/a.wav --format mp3"})
    void aSignalLeavesNoHalfWrittenFile(String signal, int status, String line) throws Exception {
        File out = Files.createDirectory(directory.resolve("out")).toFile();
        // Nineteen minutes of silence that take no room: a header without a length, and the rest of a sparse file.
        Path sound = directory.resolve("long.wav");
        MainTest.writeWave(sound, WaveFormat.pcm16(44100, 2), new byte[0]);
        try (FileChannel channel = FileChannel.open(sound, StandardOpenOption.WRITE)) {
            channel.write(ByteBuffer.allocate(1), 200_000_000);
        }
        Process process = start(line);
        while (process.isAlive() && Stream.of(out.list()).noneMatch(name -> name.endsWith(".part"))) {
            Thread.onSpinWait();
        }
        send(signal, process);
        assertThat(status(process)).isEqualTo(status);
        assertThat(out.list()).allMatch(name -> name.endsWith(".png")).hasSizeLessThan(255);
        assertThat(directory.resolve("errors")).content().doesNotContain("error", "decoder");
    }
}
