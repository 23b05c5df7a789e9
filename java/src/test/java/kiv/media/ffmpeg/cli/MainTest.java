package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import java.awt.image.BufferedImage;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Stream;
import javax.imageio.ImageIO;
import kiv.media.ffmpeg.TestMedia;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class MainTest {

    @TempDir
    Path directory;

    private String output;
    private String errors;

    private int run(Object... args) {
        PrintStream out = System.out;
        PrintStream err = System.err;
        ByteArrayOutputStream outBytes = new ByteArrayOutputStream();
        ByteArrayOutputStream errBytes = new ByteArrayOutputStream();
        System.setOut(new PrintStream(outBytes, true));
        System.setErr(new PrintStream(errBytes, true));
        try {
            return Main.run(Stream.of(args).map(Object::toString).toArray(String[]::new));
        } finally {
            System.setOut(out);
            System.setErr(err);
            output = outBytes.toString();
            errors = errBytes.toString();
        }
    }

    private List<String> written(Path to) throws IOException {
        try (Stream<Path> files = Files.list(to)) {
            return files.map(file -> file.getFileName().toString()).sorted().toList();
        }
    }

    @Test
    void picturesBecomeFiles() throws IOException {
        Path to = directory.resolve("a/b");
        assertThat(run("decode", TestMedia.stream("h264_baseline_320x240.mp4"), "--out", to)).as(errors).isZero();
        List<String> files = written(to);
        assertThat(files).hasSize(30).startsWith("h264_baseline_320x240-00001.png")
                .endsWith("h264_baseline_320x240-00030.png");
        BufferedImage image = ImageIO.read(to.resolve(files.get(0)).toFile());
        assertThat(image.getWidth()).isEqualTo(320);
        assertThat(image.getHeight()).isEqualTo(240);
        assertThat(output.lines()).anyMatch(line -> line.matches("codec +h264 \\(avc1\\)"))
                .anyMatch(line -> line.matches("size +320x240"))
                .anyMatch(line -> line.matches("pictures +30 decoded, 30 written to .*"))
                .anyMatch(line -> line.matches("time +.* s, .*"));
        assertThat(errors.lines()).isNotEmpty().allMatch(line -> line.matches("decoding: \\d+ of 30 pictures"));
    }

    @Test
    void onlySomePicturesAreWrittenOnDemand() throws IOException {
        assertThat(run("decode", TestMedia.film(), "--out", directory, "--every", 100, "--limit", 2, "--format", "PNG"))
                .as(errors).isZero();
        assertThat(written(directory)).containsExactly("balle-jbart-00001.png", "balle-jbart-00101.png");
    }

    @Test
    void aFileIsDescribed() {
        assertThat(run("info", TestMedia.film())).isZero();
        assertThat(output.lines()).anyMatch(line -> line.matches("container +.*mp4.*"))
                .anyMatch(line -> line.matches("stream 0 +video h264 \\(avc1\\), 720x576, 25.* 255 pictures.*"))
                .anyMatch(line -> line.matches("stream 1 +audio aac.*, 48000 Hz, 2 channels.*"));
        assertThat(run("info", TestMedia.media("balle1-vp9.avi"))).isZero();
        assertThat(output).contains("(not supported)");
    }

    @Test
    void theLogIsShownOnDemand() {
        assertThat(run("info", "-v", TestMedia.film())).isZero();
        assertThat(run("decode", TestMedia.film(), "--limit", 1, "--out", directory)).isZero();
        assertThat(errors.lines()).allMatch(line -> line.startsWith("decoding: "));
    }

    @Test
    void unusableInputIsToldInOneLine() throws IOException {
        Path text = Files.writeString(directory.resolve("text.mp4"), "no film");
        refuse("no such file", directory.resolve("none.mp4"));
        refuse("is a directory", directory);
        refuse("not a media file", text);
        refuse("no video stream", TestMedia.stream("pcm_s16.wav"));
        refuse("unsupported video codec vp9", TestMedia.media("balle1-vp9.avi"));
        refuse("unsupported video codec theora", TestMedia.media("Effet_force_magnetique.ogv"));
        assertThat(run("decode", TestMedia.film(), "--out", text)).isEqualTo(1);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: " + text);
        assertThat(run("info", TestMedia.film(), "--ffmpeg", directory)).isEqualTo(1);
        assertThat(errors.lines()).singleElement().asString().contains("already loaded");
    }

    private void refuse(String reason, Path file) {
        assertThat(run("decode", file, "--out", directory.resolve("out"))).isEqualTo(1);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: " + file).contains(reason);
        assertThat(output).isEmpty();
    }

    @ParameterizedTest
    @CsvSource({"decode", "decode a b", "decode a --every 0", "decode a --limit x", "decode a --format bmp",
        "encode a", "--nonsense"})
    void wrongUsageIsToldInOneLine(String line) {
        assertThat(run((Object[]) line.split(" "))).isEqualTo(2);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: ").contains("--help");
    }

    @Test
    void helpAndVersionAreThere() {
        assertThat(run("--help")).isZero();
        assertThat(output).contains("decode", "info");
        assertThat(run("decode", "--help")).isZero();
        assertThat(output).contains("--every", "--limit", "--out", "--ffmpeg", "--format");
        assertThat(run("--version")).isZero();
        assertThat(output).matches("kivjniffmpeg \\d+\\.\\d+\\.\\d+\\R");
        assertThat(run()).isEqualTo(2);
        assertThat(errors).contains("Usage");
    }
}
