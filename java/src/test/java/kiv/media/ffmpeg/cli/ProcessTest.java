package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.IOException;
import java.io.InputStream;
import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.MessageDigest;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.WaveFormat;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The command line as a process: its standard output, its signals and its end. */
class ProcessTest {

    @TempDir
    Path directory;

    private Process start(Object... args) throws IOException {
        // A virtual machine ignores the signals that its parent ignores, as shells do in the background.
        List<String> command = new ArrayList<>(List.of("env", "--default-signal=INT,TERM,PIPE",
                ProcessHandle.current().info().command().orElseThrow(),
                "-D" + FfmpegLibrary.LIBRARY_PROPERTY + "=" + System.getProperty(FfmpegLibrary.LIBRARY_PROPERTY),
                "-cp", System.getProperty("java.class.path"), Main.class.getName()));
        Stream.of(args).map(Object::toString).forEach(command::add);
        return new ProcessBuilder(command).redirectError(directory.resolve("errors").toFile()).start();
    }

    /** Nineteen minutes of silence that take no room. */
    private Path longSound() throws IOException {
        Path file = directory.resolve("long.wav");
        int size = 200_000_000;
        try (RandomAccessFile wave = new RandomAccessFile(file.toFile(), "rw")) {
            ByteBuffer header = ByteBuffer.allocate(44).order(ByteOrder.LITTLE_ENDIAN);
            header.put("RIFF".getBytes()).putInt(size + 36).put("WAVEfmt ".getBytes()).putInt(16);
            header.put(WaveFormat.pcm16(44100, 2).toBytes(), 0, 16).put("data".getBytes()).putInt(size);
            wave.write(header.array());
            wave.setLength(size + 44L);
        }
        return file;
    }

    private int status(Process process) throws InterruptedException {
        assertThat(process.waitFor(1, TimeUnit.MINUTES)).isTrue();
        return process.exitValue();
    }

    private List<String> files(Path in) throws IOException {
        try (Stream<Path> files = Files.exists(in) ? Files.list(in) : Stream.empty()) {
            return files.map(file -> file.getFileName().toString()).sorted().toList();
        }
    }

    @Test
    void nothingButTheDataGoesToStandardOutput() throws Exception {
        Process process = start("decode", "-v", TestMedia.stream("h264_b_320x240.mp4"), "--format", "yuv", "-o", "-");
        byte[] pictures = process.getInputStream().readAllBytes();
        assertThat(status(process)).isZero();
        assertThat(pictures).hasSize(60 * 320 * 240 * 3 / 2);
        assertThat(HexFormat.of().formatHex(MessageDigest.getInstance("MD5").digest(
                Arrays.copyOf(pictures, 320 * 240 * 3 / 2)))).isEqualTo("33708506de735d1b123ce9ee552e06e8");
        assertThat(directory.resolve("errors")).content().contains("decoding: 60 of 60 pictures", "to standard output");
    }

    @ParameterizedTest
    @CsvSource({"decode -q --format y4m -o -", "frames-md5"})
    void aClosedPipeEndsTheWorkQuietly(String line) throws Exception {
        List<Object> args = new ArrayList<>(List.of(line.split(" ")));
        args.add(1, TestMedia.film());
        Process process = start(args.toArray());
        try (InputStream output = process.getInputStream()) {
            assertThat(output.readNBytes(10)).hasSize(10);
        }
        assertThat(status(process)).isEqualTo(141);
        assertThat(directory.resolve("errors")).isEmptyFile();
    }

    @ParameterizedTest
    @CsvSource({"INT, 130, decode", "TERM, 143, decode", "INT, 130, decode --format y4m",
        "INT, 130, encode --format mp3"})
    void aSignalLeavesNoHalfWrittenFile(String signal, int status, String line) throws Exception {
        Path out = Files.createDirectory(directory.resolve("out"));
        List<Object> args = new ArrayList<>(List.of(line.split(" ")));
        args.add(1, line.startsWith("encode") ? longSound() : TestMedia.film());
        args.addAll(line.startsWith("encode") ? List.of(out.resolve("a.wav")) : List.of("--out", out));
        Process process = start(args.toArray());
        while (process.isAlive() && files(out).stream().noneMatch(name -> name.endsWith(".part"))) {
            Thread.onSpinWait();
        }
        assertThat(new ProcessBuilder("kill", "-" + signal, Long.toString(process.pid())).start().waitFor()).isZero();
        assertThat(status(process)).isEqualTo(status);
        assertThat(files(out)).allMatch(name -> name.endsWith(".png")).hasSizeLessThan(255);
        assertThat(directory.resolve("errors")).content().doesNotContain("error");
    }
}
