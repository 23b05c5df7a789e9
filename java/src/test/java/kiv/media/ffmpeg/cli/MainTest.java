package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import java.awt.image.BufferedImage;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.stream.Stream;
import javax.imageio.ImageIO;
import kiv.media.ffmpeg.AudioCodec;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Sounds;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.WaveFormat;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.EnumSource;

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
        assertThat(run("decode", TestMedia.film(), "--out", directory, "--every", 100, "--limit", 2, "--format", "PNG",
                "--no-audio")).as(errors).isZero();
        assertThat(written(directory)).containsExactly("balle-jbart-00001.png", "balle-jbart-00101.png");
    }

    @Test
    void soundBecomesAFileBesideThePictures() throws Exception {
        assertThat(run("decode", TestMedia.stream("h264_aac.mp4"), "--out", directory, "--every", 1000)).as(errors)
                .isZero();
        assertThat(written(directory)).containsExactly("h264_aac-00001.png", "h264_aac.wav");
        assertThat(output.lines()).anyMatch(line -> line.matches("sound +aac \\(mp4a\\), 44100 Hz, 2 channels, "
                + "46080 samples \\(0:00:01.044\\) written to .*h264_aac.wav"));
        byte[] whole = Files.readAllBytes(directory.resolve("h264_aac.wav"));
        assertThat(whole).hasSize(44 + 46080 * 4);
        assertThat(run("decode", TestMedia.stream("h264_aac.mp4"), "--out", directory.resolve("b"), "--no-video"))
                .as(errors).isZero();
        assertThat(written(directory.resolve("b"))).containsExactly("h264_aac.wav");
        assertThat(directory.resolve("b/h264_aac.wav")).hasBinaryContent(whole);
        assertThat(output).doesNotContain("pictures");
        assertThat(run("decode", TestMedia.stream("wma2.asf"), "--out", directory)).as(errors).isZero();
        assertThat(errors.lines()).allMatch(line -> line.matches("decoding: 1 of 1 seconds"));
        assertThat(Sounds.decodedByFfmpeg(directory.resolve("wma2.wav"))).hasSize(45056 * 4);
        // Pictures are not refused because of the sound.
        assertThat(run("decode", TestMedia.stream("h264_vorbis.mkv"), "--out", directory, "--limit", 1)).isZero();
        assertThat(errors.lines()).first().asString().matches("warning: .*vorbis");
    }

    @ParameterizedTest
    @EnumSource(AudioCodec.class)
    void soundIsEncodedIntoAFileThatCanBeReadAgain(AudioCodec codec) throws IOException {
        int rate = codec == AudioCodec.AMR_NB ? 8000 : 48000;
        Path in = wave("in.wav", WaveFormat.pcm16(rate, 1), Sounds.voice(rate, 1, rate));
        Path out = directory.resolve(codec == AudioCodec.AMR_NB ? "out.amr" : "out.wav");
        assertThat(run("encode", "--format", codec.toString().toUpperCase(Locale.ROOT), in, out)).as(errors).isZero();
        long size = Files.size(out);
        assertThat(output.lines()).anyMatch(line -> line.matches("sound +pcm_s16le, " + rate + " Hz, 1 channel, " + rate
                + " samples \\(0:00:01.000\\)")).anyMatch(line -> line.matches("format +" + codec + "(, \\d+ bit/s)?"))
                .anyMatch(line -> line.matches("written +" + size + " bytes to " + out));
        assertThat(run("decode", out, "--out", directory.resolve("back"))).as(errors).isZero();
        long bytes = Files.size(directory.resolve("back/out.wav")) - 44;
        assertThat(bytes).isBetween(2L * rate, 2L * rate + 4 * 2048 * 2);
        assertThat(written(directory)).containsExactly("back", "in.wav", out.getFileName().toString());
    }

    private Path wave(String name, WaveFormat format, byte[] sound) throws IOException {
        Path file = directory.resolve(name);
        try (AudioFileWriter writer = AudioFileWriter.create(file, format, AudioContainer.WAV)) {
            writer.write(List.of(Packet.of(sound, 0, 0, 0, true)));
            writer.finish(0);
        }
        return file;
    }

    @Test
    void whatCannotBeEncodedIsToldInOneLine() throws IOException {
        Path in = wave("in.wav", WaveFormat.pcm16(44100, 2), new byte[4000]);
        Path deep = wave("deep.wav", WaveFormat.of(1, 1, 8000, 24_000, 3, 24, new byte[0]), new byte[3000]);
        Path empty = wave("empty.wav", WaveFormat.pcm16(44100, 2), new byte[0]);
        refuseToEncode(2, "8000 Hz and 1 channel", in, directory.resolve("a.amr"), "amr-nb");
        refuseToEncode(2, "another bit rate", in, directory.resolve("a.wav"), "wma2", "--bitrate", 7);
        refuseToEncode(2, "is the input itself", in, in, "alaw");
        refuseToEncode(1, "pcm_s24le", deep, directory.resolve("a.wav"), "alaw");
        refuseToEncode(1, "no sound", empty, directory.resolve("a.wav"), "alaw");
        refuseToEncode(1, "no audio stream", TestMedia.stream("mpeg4_320x240.avi"), directory.resolve("a.wav"), "alaw");
        refuseToEncode(1, "directory does not exist", in, directory.resolve("none/a.wav"), "alaw");
        assertThat(written(directory)).containsExactly("deep.wav", "empty.wav", "in.wav");
    }

    private void refuseToEncode(int status, String reason, Path in, Path out, String format, Object... more) {
        List<Object> args = new ArrayList<>(List.of("encode", in, out, "--format", format));
        args.addAll(List.of(more));
        assertThat(run(args.toArray())).as(errors).isEqualTo(status);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: ").contains(reason);
    }

    @Test
    void aFileIsDescribed() {
        assertThat(run("info", TestMedia.film())).isZero();
        assertThat(output.lines()).anyMatch(line -> line.matches("container +.*mp4.*"))
                .anyMatch(line -> line.matches("stream 0 +video h264 \\(avc1\\), 720x576, 25.* 255 pictures.*"))
                .anyMatch(line -> line.matches("stream 1 +audio aac.*, 48000 Hz, 2 channels.*"));
        assertThat(run("info", TestMedia.media("balle1-vp9.avi"))).isZero();
        assertThat(output).contains("(not supported)");
        assertThat(run("info", TestMedia.stream("mp3.mp3"))).isZero();
        assertThat(output.lines())
                .anyMatch(line -> line.matches("stream 0 +audio mp3, 44100 Hz, 2 channels, 128 kbit/s, .*"));
        assertThat(run("info", TestMedia.stream("flac.flac"))).isZero();
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
        refuse("no video stream", TestMedia.stream("pcm_s16.wav"), "--no-audio");
        refuse("no audio stream", TestMedia.stream("h264_baseline_320x240.mp4"), "--no-video");
        refuse("unsupported audio codec vorbis", TestMedia.stream("vorbis.ogg"));
        refuse("unsupported video codec vp9", TestMedia.media("balle1-vp9.avi"));
        refuse("unsupported video codec theora", TestMedia.media("Effet_force_magnetique.ogv"));
        assertThat(run("decode", TestMedia.film(), "--out", text)).isEqualTo(1);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: " + text);
        assertThat(run("info", TestMedia.film(), "--ffmpeg", directory)).isEqualTo(1);
        assertThat(errors.lines()).singleElement().asString().contains("already loaded");
    }

    private void refuse(String reason, Path file, Object... more) {
        List<Object> args = new ArrayList<>(List.of("decode", file, "--out", directory.resolve("out")));
        args.addAll(List.of(more));
        assertThat(run(args.toArray())).isEqualTo(1);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: " + file).contains(reason);
        assertThat(output).isEmpty();
    }

    @ParameterizedTest
    @CsvSource({"decode", "decode a b", "decode a --every 0", "decode a --limit x", "decode a --format bmp",
        "decode a --no-audio --no-video", "encode a", "encode a b.wav", "encode a b.wav --format nonsense",
        "encode a b.mp3 --format aac", "encode a b.wav --format amr-nb", "encode a b.wav --format alaw --bitrate 5",
        "encode a b.mp3 --format mp3 --bitrate 0", "--nonsense"})
    void wrongUsageIsToldInOneLine(String line) {
        assertThat(run((Object[]) line.split(" "))).isEqualTo(2);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: ").contains("--help");
    }

    @Test
    void helpAndVersionAreThere() {
        assertThat(run("--help")).isZero();
        assertThat(output).contains("decode", "encode", "info");
        assertThat(run("decode", "--help")).isZero();
        assertThat(output).contains("--every", "--limit", "--out", "--ffmpeg", "--format");
        assertThat(run("encode", "--help")).isZero();
        assertThat(output).contains("--bitrate", "adpcm-yamaha");
        assertThat(run("--version")).isZero();
        assertThat(output).matches("kivjniffmpeg \\d+\\.\\d+\\.\\d+\\R");
        assertThat(run()).isEqualTo(2);
        assertThat(errors).contains("Usage");
    }
}
