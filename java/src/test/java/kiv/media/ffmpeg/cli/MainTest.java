package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import com.fasterxml.jackson.core.JsonFactory;
import com.fasterxml.jackson.core.JsonParser;
import java.awt.image.BufferedImage;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.stream.Stream;
import javax.imageio.ImageIO;
import kiv.media.ffmpeg.AudioCodec;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Sounds;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.exactness.Reference;
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
        assertThat(files).hasSize(31).startsWith("h264_baseline_320x240-00001.png")
                .endsWith("h264_baseline_320x240-00030.png", "index.html");
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
        assertThat(written(directory)).containsExactly("balle-jbart-00001.png", "balle-jbart-00101.png",
                "index.html");
    }

    @Test
    void soundBecomesAFileBesideThePictures() throws Exception {
        assertThat(run("decode", TestMedia.stream("h264_aac.mp4"), "--out", directory, "--every", 1000)).as(errors)
                .isZero();
        assertThat(written(directory)).containsExactly("h264_aac-00001.png", "h264_aac.wav", "index.html");
        assertThat(output.lines()).anyMatch(line -> line.matches("sound +aac \\(mp4a\\), 44100 Hz, 2 channels, "
                + "46080 samples \\(0:00:01.044\\) written to .*h264_aac.wav"));
        byte[] whole = Files.readAllBytes(directory.resolve("h264_aac.wav"));
        assertThat(whole).hasSize(44 + 46080 * 4);
        assertThat(run("decode", TestMedia.stream("h264_aac.mp4"), "--out", directory.resolve("b"), "--no-video"))
                .as(errors).isZero();
        assertThat(written(directory.resolve("b"))).containsExactly("h264_aac.wav", "index.html");
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
        refuseToEncode(3, "pcm_s24le", deep, directory.resolve("a.wav"), "alaw");
        refuseToEncode(1, "no sound", empty, directory.resolve("a.wav"), "alaw");
        refuseToEncode(1, "no audio stream", TestMedia.stream("mpeg4_320x240.avi"), directory.resolve("a.wav"), "alaw");
        refuseToEncode(4, "directory does not exist", in, directory.resolve("none/a.wav"), "alaw");
        assertThat(written(directory)).containsExactly("deep.wav", "empty.wav", "in.wav");
    }

    private void refuseToEncode(int status, String reason, Path in, Path out, String format, Object... more) {
        List<Object> args = new ArrayList<>(List.of("encode", in, out, "--format", format));
        args.addAll(List.of(more));
        assertThat(run(args.toArray())).as(errors).isEqualTo(status);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: ").contains(reason);
    }

    @Test
    void aFileIsDescribed() throws IOException {
        assertThat(run("info", TestMedia.film())).isZero();
        assertThat(output.lines()).anyMatch(line -> line.matches("container +.*mp4.*"))
                .anyMatch(line -> line.matches("0 +video +h264 \\(avc1\\) .* 1/12800 s +720x576, 25.* 255 pictures"))
                .anyMatch(line -> line.matches("1 +audio +aac.* 1/48000 s +48000 Hz, 2 channels"));
        for (Path unknown : List.of(TestMedia.media("balle1-vp9.avi"), TestMedia.stream("flac.flac"))) {
            assertThat(run("info", unknown)).isZero();
            assertThat(output).contains("(not supported)");
        }
        assertThat(run("info", "--json", TestMedia.stream("mp3.mp3"))).isZero();
        assertThat(json(output)).containsEntry("/container", "mp3").containsEntry("/streams/kind", "audio")
                .containsEntry("/streams/sampleRate", "44100").containsEntry("/streams/bitRate", "128000")
                .containsEntry("/streams/supported", "true").containsEntry("/streams/timeBase", "1/14112000");
    }

    @Test
    void formatsAreListed() throws IOException {
        assertThat(run("formats")).isZero();
        assertThat(errors).isEmpty();
        assertThat(output.lines()).anyMatch(line -> line.matches("H.264, Annex B +H264 +34363248-.* yes"))
                .anyMatch(line -> line.matches("MP3 +0x0055 +yes +yes +mp3"))
                .anyMatch(line -> line.matches("VoxWare +0x0075 +no +no")).noneMatch(line -> line.contains("unnamed"));
        assertThat(run("formats", "--json")).isZero();
        assertThat(json(output)).containsEntry("/audio/tag", "27765").containsEntry("/audio/decode", "true");
    }

    /** The last value under each path of names. */
    private static Map<String, String> json(String text) throws IOException {
        Map<String, String> values = new HashMap<>();
        try (JsonParser parser = new JsonFactory().createParser(text)) {
            while (parser.nextToken() != null) {
                if (parser.currentToken().isScalarValue()) {
                    values.put(parser.getParsingContext().pathAsPointer().toString().replaceAll("/\\d+", ""),
                            parser.getText());
                }
            }
        }
        return values;
    }

    @ParameterizedTest
    @CsvSource({"h264_b_320x240.mp4", "h264_b_322x242.h264", "h264_444_321x241.mp4", "h264_sizechange.h264",
        "h264_b_720x576.mkv", "mpeg1_b_321x241.mpg", "wmv2_wma2.asf", "cinepak_160x120.avi", "mpeg2_ac3.ts",
        "mpeg2_ac3.ts --audio", "h264_aac.flv --audio", "ac3_5.1.ac3 --audio", "gsm.wav --stream 0"})
    void hashesAreThoseOfTheProgramFfmpeg(String line) throws Exception {
        List<String> words = List.of(line.split(" "));
        Path file = TestMedia.stream(words.get(0));
        List<Object> args = new ArrayList<>(List.of("frames-md5", file));
        args.addAll(words.subList(1, words.size()));
        assertThat(run(args.toArray())).as(errors).isZero();
        String options = words.size() > 1 ? "-map 0:a:0 -c:a pcm_s16le"
                : "-map 0:v:0 -fps_mode passthrough -enc_time_base -1 -autoscale 0";
        assertThat(output).isEqualTo(new String(ffmpeg(file, options + " -fflags +bitexact -f framemd5")));
    }

    @Test
    void hashesAreThoseOfTheSameLibrariesWhereNewerOnesGiveOtherBytes() {
        for (String name : List.of("msmpeg4v2_320x240.avi", "wmv1_320x241.asf", "mpeg4_b_322x242.avi")) {
            assertThat(run("frames-md5", TestMedia.stream(name))).isZero();
            assertThat(output.lines().filter(line -> !line.startsWith("#")).map(line -> line.replaceAll(".* ", "")))
                    .isEqualTo(Reference.decode(TestMedia.stream(name)).pictures().stream()
                            .map(Reference.Picture::md5).toList());
        }
    }

    private static byte[] ffmpeg(Path file, String options) throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of("ffmpeg", "-nostdin", "-v", "error", "-copyts", "-i",
                file.toString()));
        command.addAll(List.of(options.split(" ")));
        command.add("-");
        Process process = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        byte[] output = process.getInputStream().readAllBytes();
        assertThat(process.waitFor()).isZero();
        return output;
    }

    @ParameterizedTest
    @CsvSource({"h264_422_322x242.mp4, a.y4m, -f yuv4mpegpipe", "h264_sizechange.h264, a.y4m, -f yuv4mpegpipe",
        "cinepak_160x120.avi, a.yuv, -f rawvideo", "h264_b_320x240.mp4, a.yuv, -f rawvideo"})
    void rawPicturesAreThoseOfTheProgramFfmpeg(String name, String file, String options) throws Exception {
        Path out = directory.resolve(file);
        assertThat(run("decode", "-q", TestMedia.stream(name), "-o", out)).as(errors).isZero();
        assertThat(output).isEmpty();
        assertThat(out).hasBinaryContent(ffmpeg(TestMedia.stream(name), "-fps_mode passthrough " + options));
    }

    @Test
    void aTimeRangeIsCutExactly() throws IOException {
        Path file = TestMedia.stream("h264_b_320x240.mp4");
        Path whole = directory.resolve("whole.yuv");
        assertThat(run("decode", "-q", file, "-o", whole, "--size", "32x-1", "--pixel-format", "gray")).isZero();
        for (String range : List.of("--from 1.7 --to 0:00:02.1", "--from 2.35", "--to 0.25")) {
            List<Object> args = new ArrayList<>(List.of("decode", "-q", file, "--out", directory, "--format", "yuv",
                    "--size", "32x24", "--pixel-format", "gray"));
            args.addAll(List.of(range.split(" ")));
            assertThat(run(args.toArray())).as(errors).isZero();
            int from = range.contains("1.7") ? 43 : range.contains("2.35") ? 59 : 0;
            int to = range.contains("2.1") ? 53 : range.contains("0.25") ? 7 : 60;
            assertThat(directory.resolve("h264_b_320x240.yuv")).hasBinaryContent(
                    Arrays.copyOfRange(Files.readAllBytes(whole), from * 32 * 24, to * 32 * 24));
        }
        assertThat(run("decode", TestMedia.film(), "--from", 3.5, "--to", 3.75, "-o", directory.resolve("a.wav")))
                .isZero();
        assertThat(output.lines()).anyMatch(line -> line.matches("sound .*, 12000 samples \\(0:00:00.250\\).*"));
    }

    @Test
    void theLogIsShownOnDemand() {
        assertThat(run("info", "-v", TestMedia.film())).isZero();
        assertThat(run("decode", TestMedia.film(), "--limit", 1, "--out", directory)).isZero();
        assertThat(errors.lines()).allMatch(line -> line.startsWith("decoding: "));
    }

    @Test
    void whatIsUnusableIsToldInOneLine() throws IOException {
        Path text = Files.writeString(directory.resolve("text.mp4"), "no film");
        refuse(1, "no such file", directory.resolve("none.mp4"));
        refuse(1, "is a directory", directory);
        refuse(1, "not a media file", text);
        refuse(1, "not a media file", Files.write(directory.resolve("empty.mp4"), new byte[0]));
        refuse(1, "not a file", Path.of("/dev/null"));
        refuse(1, "no video stream", TestMedia.stream("pcm_s16.wav"), "--no-sound");
        refuse(1, "no audio stream", TestMedia.stream("h264_baseline_320x240.mp4"), "--no-pictures");
        refuse(1, "no picture from 0:01:00.000", TestMedia.film(), "--from", "1:00");
        refuse(3, "unsupported audio codec vorbis", TestMedia.stream("vorbis.ogg"));
        refuse(3, "unsupported video codec vp9", TestMedia.media("balle1-vp9.avi"));
        refuse(3, "unsupported video codec theora", TestMedia.media("Effet_force_magnetique.ogv"));
        for (Path output : List.of(directory, directory.resolve("none/a.y4m"), Path.of("/dev/full"))) {
            assertThat(run("decode", "-q", TestMedia.film(), "-o", output, "--format", "y4m")).isEqualTo(4);
            assertThat(errors.lines()).singleElement().asString().startsWith("error: " + output + ": ");
        }
        assertThat(run("decode", TestMedia.film(), "--out", text)).isEqualTo(4);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: " + text);
        assertThat(run("info", TestMedia.film(), "--ffmpeg", directory)).isEqualTo(5);
        assertThat(errors.lines()).singleElement().asString().contains("already loaded");
        assertThat(written(directory)).containsExactly("empty.mp4", "text.mp4");
    }

    private void refuse(int status, String reason, Path file, Object... more) {
        List<Object> args = new ArrayList<>(List.of("decode", file, "-q", "--out", directory.resolve("out")));
        args.addAll(List.of(more));
        assertThat(run(args.toArray())).as(errors).isEqualTo(status);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: " + file).contains(reason);
        assertThat(output).isEmpty();
    }

    @ParameterizedTest
    @CsvSource({"decode", "decode a b", "decode a --every 0", "decode a --limit x", "decode a --format bmp",
        "decode a --no-audio --no-video", "decode a --from 5 --to 5", "decode a --from 1:60", "decode a --from -1",
        "decode a --to 1e9", "decode a --size 0x1", "decode a --size -1x-1", "decode a -o b", "decode a -o b.png",
        "decode a -o -", "decode a -o b.wav --no-sound", "decode a -o b.y4m --format png", "decode a --pixel-format x",
        "frames-md5 a --audio --stream 1", "info a --jsn", "encode a", "encode a b.wav",
        "encode a b.wav --format nonsense", "encode a b.mp3 --format aac", "encode a b.wav --format amr-nb",
        "encode a b.wav --format alaw --bitrate 5", "encode a b.mp3 --format mp3 --bitrate 0", "--nonsense"})
    void wrongUsageIsToldInOneLine(String line) {
        assertThat(run((Object[]) line.split(" "))).isEqualTo(2);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: ").contains("--help");
    }

    @Test
    void wrongUsageThatOnlyTheFileTellsIsToldInOneLine() {
        Path film = TestMedia.film();
        for (Object[] args : new Object[][] {{"frames-md5", film, "--stream", 2}, {"decode", film, "-o", film,
            "--format", "yuv"}, {"decode", film, "-o", directory.resolve("a.y4m"), "--pixel-format", "rgb24"},
            {"decode", film, "-o", directory.resolve("a.yuv"), "--pixel-format", "nonsense"}}) {
            assertThat(run(args)).isEqualTo(2);
            assertThat(errors.lines()).singleElement().asString().startsWith("error: ");
        }
    }

    @Test
    void helpAndVersionAreThere() {
        for (String command : List.of("info", "decode", "encode", "frames-md5", "formats", "completion", "help")) {
            assertThat(run(command, "--help")).isZero();
            assertThat(output.lines()).allMatch(line -> line.length() <= 80);
            assertThat(run("--help")).isZero();
            assertThat(output).contains("  " + command + " ", "141");
        }
        assertThat(run("completion")).isZero();
        assertThat(output).contains("--pixel-format", "frames-md5");
        assertThat(run("--version")).isZero();
        assertThat(output).matches("kivjniffmpeg \\d+\\.\\d+\\.\\d+\\RFFmpeg 2\\.\\d.*\\RJava .*\\R");
        assertThat(run()).isEqualTo(2);
        assertThat(errors).contains("Usage");
    }
}
