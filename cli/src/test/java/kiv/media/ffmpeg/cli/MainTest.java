package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import com.fasterxml.jackson.core.JsonFactory;
import com.fasterxml.jackson.core.JsonParser;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.Arrays;
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

/** The command line in this process: what it tells and writes, and how it refuses. */
class MainTest {

    @TempDir
    Path directory;

    private String output;
    private String errors;

    /** A command line's words; {@code media/} and {@code streams/} are the build's, {@code tmp} is the directory. */
    static String[] words(String line, Path directory) {
        return Stream.of(line.split(" ")).filter(word -> !word.isEmpty())
                .map(word -> word.startsWith("media/") ? TestMedia.media(word.substring("media/".length())).toString()
                        : word.startsWith("streams/") ? TestMedia.stream(word.substring("streams/".length())).toString()
                        : word.replaceFirst("^tmp", directory.toString())).toArray(String[]::new);
    }

    static void writeWave(Path file, WaveFormat format, byte[] sound) throws IOException {
        try (AudioFileWriter writer = AudioFileWriter.create(file, format, AudioContainer.WAV)) {
            writer.write(List.of(Packet.of(sound, 0, 0, 0, true)));
            writer.finish(0);
        }
    }

    private int run(String line) {
        PrintStream out = System.out;
        PrintStream err = System.err;
        ByteArrayOutputStream outBytes = new ByteArrayOutputStream();
        ByteArrayOutputStream errBytes = new ByteArrayOutputStream();
        System.setOut(new PrintStream(outBytes, true));
        System.setErr(new PrintStream(errBytes, true));
        try {
            return Main.run(words(line, directory));
        } finally {
            System.setOut(out);
            System.setErr(err);
            output = outBytes.toString();
            errors = errBytes.toString();
        }
    }

    private void succeed(String line) {
        assertThat(run(line)).as(() -> line + ": " + errors).isZero();
    }

    private String[] list(String place) {
        return directory.resolve(place).toFile().list();
    }

    private void assertTold(String... lines) {
        for (String line : lines) {
            assertThat(output.lines()).anyMatch(told -> told.matches(line));
        }
    }

    @Test
    void picturesBecomeFiles() throws IOException {
        succeed("decode streams/h264_baseline_320x240.mp4 --out tmp/a/b");
        assertThat(list("a/b")).hasSize(31).contains("h264_baseline_320x240-00001.png",
                "h264_baseline_320x240-00030.png", "index.html");
        assertThat(ImageIO.read(directory.resolve("a/b/h264_baseline_320x240-00001.png").toFile()))
                .matches(image -> image.getWidth() == 320 && image.getHeight() == 240);
        assertTold("codec +h264 \\(avc1\\)", "size +320x240", "pictures +30 decoded, 30 written to .*",
                "time +.* s, .*");
        assertThat(errors.lines()).isNotEmpty().allMatch(line -> line.matches("decoding: \\d+ of 30 pictures"));
        succeed("decode media/balle-jbart.mp4 --out tmp/c --every 100 --limit 2 --format PNG --no-audio");
        assertThat(list("c")).containsExactlyInAnyOrder("balle-jbart-00001.png", "balle-jbart-00101.png", "index.html");
        assertThat(directory.resolve("c/index.html")).content().contains("101 pictures, 2 written");
    }

    @Test
    void soundBecomesAFileBesideThePictures() throws Exception {
        succeed("decode streams/h264_aac.mp4 --out tmp --every 1000");
        assertThat(list("")).containsExactlyInAnyOrder("h264_aac-00001.png", "h264_aac.wav", "index.html");
        assertTold("sound +aac \\(mp4a\\), 44100 Hz, 2 channels, 46080 samples \\(0:00:01.044\\) written to .*.wav");
        byte[] whole = Files.readAllBytes(directory.resolve("h264_aac.wav"));
        assertThat(whole).hasSize(44 + 46080 * 4);
        succeed("decode streams/h264_aac.mp4 --out tmp/b --no-video");
        assertThat(list("b")).containsExactlyInAnyOrder("h264_aac.wav", "index.html");
        assertThat(directory.resolve("b/h264_aac.wav")).hasBinaryContent(whole);
        assertThat(output).doesNotContain("pictures");
        succeed("decode streams/wma2.asf --out tmp");
        assertThat(errors.lines()).allMatch(line -> line.matches("decoding: 1 of 1 seconds"));
        succeed("decode media/balle-jbart.mp4 --from 3.5 --to 3.75 -o tmp/a.wav");
        assertTold("sound .*, 12000 samples \\(0:00:00.250\\).*");
        // With the last wanted picture the sound ends as well, wherever the container put it.
        succeed("decode media/balle-jbart.mp4 --limit 25 --format yuv --size 2x2 --out tmp/c");
        assertTold("sound .*, 48000 samples \\(0:00:01.000\\).*");
        // Pictures are not refused because of the sound.
        succeed("decode streams/h264_vorbis.mkv --out tmp --limit 1");
        assertThat(errors.lines()).first().asString().matches("warning: .*vorbis");
    }

    @ParameterizedTest
    @EnumSource(AudioCodec.class)
    void soundIsEncodedIntoAFileThatCanBeReadAgain(AudioCodec codec) throws IOException {
        int rate = codec == AudioCodec.AMR_NB ? 8000 : 48000;
        writeWave(directory.resolve("in.wav"), WaveFormat.pcm16(rate, 1), Sounds.voice(rate, 1, rate));
        String out = codec == AudioCodec.AMR_NB ? "out.amr" : "out.wav";
        succeed("encode --format " + codec.toString().toUpperCase(Locale.ROOT) + " tmp/in.wav tmp/" + out);
        assertTold("sound +pcm_s16le, " + rate + " Hz, 1 channel, " + rate + " samples \\(0:00:01.000\\)",
                "format +" + codec + "(, \\d+ bit/s)?",
                "written +" + Files.size(directory.resolve(out)) + " bytes to .*" + out);
        succeed("decode tmp/" + out + " --out tmp/back");
        assertThat(Files.size(directory.resolve("back/out.wav")) - 44).isBetween(2L * rate, 2L * rate + 4 * 2048 * 2);
        assertThat(list("")).containsExactlyInAnyOrder("back", "in.wav", out);
    }

    @Test
    void aFileIsDescribed() throws IOException {
        succeed("info media/balle-jbart.mp4");
        assertTold("container +.*mp4.*", "0 +video +h264 \\(avc1\\) .* 1/12800 s +720x576, 25.* 255 pictures",
                "1 +audio +aac.* 1/48000 s +48000 Hz, 2 channels.*");
        for (String unknown : List.of("media/balle1-vp9.avi", "streams/flac.flac")) {
            succeed("info " + unknown);
            assertThat(output).contains("(not supported)");
        }
        succeed("info --json streams/mp3.mp3");
        assertThat(compact(output)).contains("\"container\":\"mp3\"", "\"streams\":[{", "\"kind\":\"audio\"",
                "\"sampleRate\":44100", "\"bitRate\":128000", "\"supported\":true",
                "\"timeBase\":\"1/14112000\"");
    }

    @Test
    void formatsAreListed() throws IOException {
        succeed("formats");
        assertThat(errors).isEmpty();
        assertTold("H.264, Annex B +H264 +34363248-.* yes", "MP3 +0x0055 +yes +yes +mp3", "VoxWare +0x0075 +no +no");
        assertThat(output).doesNotContain("unnamed");
        succeed("formats --json");
        assertThat(compact(output)).contains("\"audio\":[{", "\"tag\":27765,", "\"decode\":true")
                .as("only VoxWare is not decoded").containsOnlyOnce("\"decode\":false");
    }

    /** JSON, which must be valid, without its spaces. */
    private static String compact(String json) throws IOException {
        try (JsonParser parser = new JsonFactory().createParser(json)) {
            while (parser.nextToken() != null) {
                parser.skipChildren();
            }
        }
        return json.replaceAll("\\s", "");
    }

    @ParameterizedTest
    @CsvSource({"h264_b_320x240.mp4", "h264_b_322x242.h264", "h264_444_321x241.mp4", "h264_sizechange.h264",
        "h264_b_720x576.mkv", "mpeg1_b_321x241.mpg", "wmv2_wma2.asf", "cinepak_160x120.avi", "mpeg2_ac3.ts",
        "mpeg2_ac3.ts --audio", "h264_aac.flv --audio", "ac3_5.1.ac3 --audio", "gsm.wav --stream 0"})
    void hashesAreThoseOfTheProgramFfmpeg(String line) throws Exception {
        succeed("frames-md5 streams/" + line);
        String options = line.contains(" ") ? "-map 0:a:0 -c:a pcm_s16le"
                : "-map 0:v:0 -fps_mode passthrough -enc_time_base -1 -autoscale 0";
        assertThat(output).isEqualTo(
                new String(ffmpeg(line.split(" ")[0], options + " -fflags +bitexact -f framemd5")));
    }

    static byte[] ffmpeg(String stream, String options) throws IOException, InterruptedException {
        String line = "ffmpeg -nostdin -v error -copyts -i streams/" + stream + " " + options + " -";
        Process process = new ProcessBuilder(words(line, Path.of("/"))).redirectError(ProcessBuilder.Redirect.INHERIT)
                .start();
        byte[] output = process.getInputStream().readAllBytes();
        assertThat(process.waitFor()).isZero();
        return output;
    }

    @ParameterizedTest
    @CsvSource({"h264_422_322x242.mp4, a.y4m, -f yuv4mpegpipe", "h264_sizechange.h264, a.y4m, -f yuv4mpegpipe",
        "cinepak_160x120.avi, a.yuv, -f rawvideo"})
    void rawPicturesAreThoseOfTheProgramFfmpeg(String name, String file, String options) throws Exception {
        succeed("decode -q streams/" + name + " -o tmp/" + file);
        assertThat(output).isEmpty();
        assertThat(directory.resolve(file)).hasBinaryContent(ffmpeg(name, "-fps_mode passthrough " + options));
    }

    @ParameterizedTest
    @CsvSource({"It, mpeg2_interlaced_b_720x576.ts", "Ib, dv_pal.dv", "Ip, dv_pal.dv --size 720x288",
        "Ip, h264_b_320x240.mp4"})
    void theHeaderSaysWhichFieldComesFirst(String order, String line) throws IOException {
        succeed("decode -q --limit 1 --no-sound streams/" + line + " -o tmp/a.y4m");
        assertThat(new String(Files.readAllBytes(directory.resolve("a.y4m")), StandardCharsets.ISO_8859_1))
                .matches("(?s)YUV4MPEG2 [^\n]* " + order + " .*");
    }

    @Test
    void anExistingFileIsReplacedInOneStep() throws IOException {
        Path file = Files.writeString(directory.resolve("a"), "old");
        try (OutputFile output = OutputFile.create(file)) {
            output.write("new");
            assertThat(file).hasContent("old");
        }
        assertThat(list("")).as("after a failure").containsExactly("a");
        assertThat(file).hasContent("old");
        try (OutputFile output = OutputFile.create(file)) {
            output.write("new");
            Path written = directory.resolve(Stream.of(list("")).filter(name -> !name.equals("a")).findAny().orElseThrow());
            Object key = Files.readAttributes(written, BasicFileAttributes.class).fileKey();
            output.finish();
            assertThat(Files.readAttributes(file, BasicFileAttributes.class).fileKey()).as("renamed").isEqualTo(key);
        }
        assertThat(file).hasContent("new");
    }

    @ParameterizedTest
    @CsvSource({"43, 53, --from 1.7 --to 0:00:02.1", "59, 60, --from 2.36", "0, 6, --to 0.24"})
    void aTimeRangeIsCutExactly(int from, int to, String range) throws IOException {
        String gray = "decode -q streams/h264_b_320x240.mp4 --pixel-format gray --size 32x";
        succeed(gray + "-1 -o tmp/whole.yuv");
        succeed(gray + "24 --format yuv --out tmp " + range);
        byte[] whole = Files.readAllBytes(directory.resolve("whole.yuv"));
        assertThat(directory.resolve("h264_b_320x240.yuv"))
                .hasBinaryContent(Arrays.copyOfRange(whole, from * 32 * 24, to * 32 * 24));
    }

    /** The input, which comes first, is named by what is wrong with it, and the output, which comes last, likewise. */
    @ParameterizedTest
    @CsvSource({
        "1, no such file, decode tmp/none.mp4 -q --out tmp/out",
        "1, is a directory, decode tmp -q --out tmp/out",
        "1, not a media file, decode tmp/text.mp4 -q --out tmp/out",
        "1, not a file, decode /dev/null -q --out tmp/out",
        "1, no video stream, decode streams/pcm_s16.wav -q --no-sound --out tmp/out",
        "1, no audio stream, decode streams/h264_baseline_320x240.mp4 -q --no-pictures --out tmp/out",
        "1, no picture from 0:01:00.000, decode media/balle-jbart.mp4 -q --from 1:00 --out tmp/out",
        "1, no sound, encode tmp/empty.wav tmp/deep.wav --format alaw",
        "1, no audio stream, encode streams/mpeg4_320x240.avi tmp/a.wav --format alaw",
        "2, the streams 0 to 1, frames-md5 media/balle-jbart.mp4 --stream 2",
        "2, is the input itself, decode media/balle-jbart.mp4 --format yuv -o media/balle-jbart.mp4",
        "2, Y4M does not hold, decode media/balle-jbart.mp4 -o tmp/a.y4m --pixel-format rgb24",
        "2, nonsense, decode media/balle-jbart.mp4 -o tmp/a.yuv --pixel-format nonsense",
        "2, 8000 Hz and 1 channel, encode tmp/in.wav tmp/a.amr --format amr-nb",
        "2, another bit rate, encode tmp/in.wav tmp/a.wav --format wma2 --bitrate 7",
        "2, is the input itself, encode tmp/in.wav tmp/in.wav --format alaw",
        "3, unsupported audio codec vorbis, decode streams/vorbis.ogg -q --out tmp/out",
        "3, unsupported video codec vp9, decode media/balle1-vp9.avi -q --out tmp/out",
        "3, pcm_s24le, encode tmp/deep.wav tmp/a.wav --format alaw",
        "4, is a directory, decode media/balle-jbart.mp4 -q --format y4m -o tmp",
        "4, directory does not exist, decode media/balle-jbart.mp4 -q --format y4m -o tmp/none/a.y4m",
        "4, No space left, decode media/balle-jbart.mp4 -q --format y4m -o /dev/full",
        "4, not a directory, decode media/balle-jbart.mp4 -q --out tmp/text.mp4",
        "5, already loaded, info media/balle-jbart.mp4 --ffmpeg tmp"})
    void whatCannotBeDoneIsToldInOneLine(int status, String reason, String line) throws IOException {
        Files.writeString(directory.resolve("text.mp4"), "no film");
        writeWave(directory.resolve("in.wav"), WaveFormat.pcm16(44100, 2), new byte[4000]);
        writeWave(directory.resolve("deep.wav"), WaveFormat.of(1, 1, 8000, 24_000, 3, 24, new byte[0]), new byte[3000]);
        writeWave(directory.resolve("empty.wav"), WaveFormat.pcm16(44100, 2), new byte[0]);
        assertThat(run(line)).as(errors).isEqualTo(status);
        String[] words = words(line, directory);
        String named = status == 1 || status == 3 ? words[1] : status == 4 ? words[words.length - 1] : "";
        assertThat(errors.lines()).singleElement().asString().startsWith("error: " + named).contains(reason);
        assertThat(output).isEmpty();
        assertThat(list("")).containsExactlyInAnyOrder("text.mp4", "in.wav", "deep.wav", "empty.wav");
        assertThat(directory.resolve("deep.wav")).as("the file before the failure").hasSize(3044);
    }

    @ParameterizedTest
    @CsvSource({"decode", "decode a b", "decode a --every 0", "decode a --limit x", "decode a --format bmp",
        "decode a --no-audio --no-video", "decode a --from 5 --to 5", "decode a --from 1:60", "decode a --from -1",
        "decode a --to 1e9", "decode a --size 0x1", "decode a --size -1x-1", "decode a -o b", "decode a -o b.png",
        "decode a -o -", "decode a -o b.wav --no-sound", "decode a -o b.wav --limit 10", "decode a -o b.y4m --out c",
        "decode a --no-video --size 9x9", "decode a -o b.y4m --format png", "decode a --pixel-format x",
        "frames-md5 a --audio --stream 1", "info a --jsn", "encode a", "encode a b.wav",
        "encode a b.wav --format nonsense", "encode a b.mp3 --format aac", "encode a b.wav --format amr-nb",
        "encode a b.wav --format alaw --bitrate 5", "encode a b.mp3 --format mp3 --bitrate 0", "--nonsense"})
    void wrongUsageIsToldInOneLine(String line) {
        assertThat(run(line)).isEqualTo(2);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: ").contains("--help");
    }

    @Test
    void helpAndVersionAreThere() {
        for (String command : List.of("info", "decode", "encode", "frames-md5", "formats", "completion", "help")) {
            succeed(command + " --help");
            assertThat(output.lines()).allMatch(line -> line.length() <= 80);
            succeed("--help");
            assertThat(output).contains("  " + command + " ", "141");
        }
        succeed("completion");
        assertThat(output).contains("--pixel-format", "frames-md5");
        succeed("--version");
        assertThat(output).matches("kivjniffmpeg \\d+\\.\\d+\\.\\d+\\RFFmpeg 2\\.\\d.*\\RJava .*\\R");
        assertThat(run("")).isEqualTo(2);
        assertThat(errors).contains("Usage");
    }
}
