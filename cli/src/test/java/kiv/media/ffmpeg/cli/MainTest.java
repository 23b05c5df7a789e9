package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.assertj.core.api.Assertions.within;
import static org.assertj.core.api.Assumptions.assumeThat;

import com.fasterxml.jackson.core.JsonFactory;
import com.fasterxml.jackson.core.JsonParser;
import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.IOException;
import java.io.PrintStream;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.function.UnaryOperator;
import java.util.stream.Stream;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.cli.report.VisibleText;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvFileSource;
import org.junit.jupiter.params.provider.CsvSource;

/** The command line in this process: what it prints and writes, and how it refuses. */
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

    /** What a command says and writes; JSON is looked at without its spaces, and help is for narrow screens. */
    @ParameterizedTest
    @CsvFileSource(resources = "/done.csv", delimiter = ';')
    void whatIsDoneIsTold(String line, String told, String errorLine, String files) throws IOException {
        int status = run(line);
        // Debian's FFmpeg has no encoder for AMR; the packages must have all.
        assumeThat(System.getProperty(FfmpegLibrary.DIRECTORY_PROPERTY, "").startsWith("/usr/")
                && errors.contains("this FFmpeg has no encoder")).isFalse();
        assertThat(status).as(() -> line + ": " + errors).isZero();
        String lines = line.contains("--json") ? compact(output) : output;
        for (String regex : told.split(" && ")) {
            boolean none = regex.startsWith("!");
            assertThat(lines.lines().anyMatch(text -> text.matches(none ? regex.substring(1) : regex))).as("%s in %s", regex,
                    lines).isNotEqualTo(none);
        }
        assertThat(output.lines()).allMatch(text -> !line.contains("--help") || text.length() <= 80);
        assertThat(errors.lines()).allMatch(text -> errorLine != null && text.matches(errorLine));
        try (Stream<Path> written = Files.walk(directory).filter(Files::isRegularFile)) {
            assertThat(written.map(file -> directory.relativize(file).toString()))
                    .containsExactlyInAnyOrder(files == null ? new String[0] : files.split(" "));
        }
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
        "h264_b_720x576.mkv", "h264_b_720x576.mkv --threads 3", "mpeg1_b_321x241.mpg", "wmv2_wma2.asf",
        "cinepak_160x120.avi", "mpeg2_ac3.ts", "mpeg2_ac3.ts --audio",
        "h264_aac.flv --audio", "ac3_5.1.ac3 --audio", "gsm.wav --stream 0"})
    void hashesAreThoseOfTheProgramFfmpeg(String line) throws Exception {
        succeed("frames-md5 streams/" + line);
        String options = line.matches(".*--(audio|stream).*") ? "-map 0:a:0 -c:a pcm_s16le"
                : "-map 0:v:0 -fps_mode passthrough -enc_time_base -1 -noautoscale";
        String table = new String(ffmpeg(line.split(" ")[0], options + " -fflags +bitexact -f framemd5"));
        // The newer programs guess times of more precision than FLV has.
        UnaryOperator<String> compared = text -> line.contains(".flv") ? text.replaceAll("\n0, +\\d+, +\\d+", "\n0") : text;
        assertThat(compared.apply(output)).isEqualTo(compared.apply(table));
    }

    static byte[] ffmpeg(String stream, String options) {
        String line = "-nostdin -v error -copyts -i streams/" + stream + " " + options + " -";
        return Programs.output(
                Stream.concat(TestMedia.ffmpegProgram().stream(), Stream.of(words(line, Path.of("/")))).toList());
    }

    @ParameterizedTest
    @CsvSource({"h264_422_322x242.mp4, a.y4m, -f yuv4mpegpipe", "h264_sizechange.h264, a.y4m, -f yuv4mpegpipe",
        "cinepak_160x120.avi, a.yuv, -f rawvideo"})
    void rawPicturesAreThoseOfTheProgramFfmpeg(String name, String file, String options) throws Exception {
        succeed("decode -q streams/" + name + " -o tmp/" + file);
        assertThat(output).isEmpty();
        assertThat(directory.resolve(file)).hasBinaryContent(ffmpeg(name, "-fps_mode passthrough " + options));
    }

    /** The program stretches nothing, and so do planes, but its header and ours tell the shape of the pixels. */
    @ParameterizedTest
    @CsvSource({"0, 1, -1, 0, 3:4", "-1, 0, 0, -1, 4:3", "0, -1, 1, 0, 3:4"})
    void filmsAreTurnedAsByTheProgramFfmpeg(double a, double b, double c, double d, String shape) throws IOException {
        Path film = directory.resolve("a.mp4");
        Programs.output(List.of(words("ffmpeg -nostdin -v error -i streams/h264_baseline_320x240.mp4 -c copy -aspect 16:9 "
                + film, directory)));
        TestMedia.placed(film, film, a, b, c, d);
        for (String options : List.of("", " -noautorotate")) {
            succeed("decode -q tmp/a.mp4 -o tmp/a.y4m" + (options.isEmpty() ? "" : " --as-stored"));
            assertThat(directory.resolve("a.y4m")).hasBinaryContent(Programs.output(List.of(words("ffmpeg -nostdin -v error"
                    + options + " -i tmp/a.mp4 -fps_mode passthrough -f yuv4mpegpipe -", directory))))
                    .content(StandardCharsets.ISO_8859_1).contains(options.isEmpty() ? " A" + shape + " " : " A4:3 ");
        }
        succeed("decode -q tmp/a.mp4 -o tmp/a.png --size 300x300");
        assertThat(pixelsPerUnit()).isEqualTo(shape.equals("4:3") ? List.of(9, 16) : List.of(16, 9));
        succeed("frames-md5 tmp/a.mp4");
        assertThat(output).contains("#dimensions 0: 320x240", "#sar 0: 4/3");
    }

    /** The chunk "pHYs" has fewer pixels in a unit of length where they are wider: 15 of them beside 16. */
    @ParameterizedTest
    @CsvSource({"768, 576, ''", "720, 576, --as-stored", "320, 240, --size 320x-1", "320, 256, --as-stored --size 320x-1",
        "320, 320, --size 320x320"})
    void picturesKeepTheirShape(int width, int height, String options) throws IOException {
        succeed("decode -q --limit 1 streams/dv_pal.dv -o tmp/a.png " + options);
        ByteBuffer png = ByteBuffer.wrap(Files.readAllBytes(directory.resolve("a.png")));
        assertThat(List.of(png.getInt(16), png.getInt(20))).containsExactly(width, height);
        assertThat(pixelsPerUnit())
                .isEqualTo(options.startsWith("--as") ? List.of(15, 16) : width == height ? List.of(3, 4) : List.of());
    }

    private List<Integer> pixelsPerUnit() throws IOException {
        ByteBuffer png = ByteBuffer.wrap(Files.readAllBytes(directory.resolve("a.png")));
        int place = new String(png.array(), StandardCharsets.ISO_8859_1).indexOf("pHYs");
        return place > 0 ? List.of(png.getInt(place + 4), png.getInt(place + 8)) : List.of();
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
            output.write("lost");
        }
        assertThat(list("")).containsExactly("a");
        try (OutputFile output = OutputFile.create(file)) {
            output.write("new");
            assertThat(file).hasContent("old");
            output.finish();
        }
        assertThat(file).hasContent("new");
        try (OutputFile output = OutputFile.create(file)) {
            Files.delete(file);
            Files.createDirectory(file);
            assertThatThrownBy(output::finish).isInstanceOf(OutputException.class);
        }
        assertThat(file).as("what only several steps could replace").isDirectory();
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
    @CsvFileSource(resources = "/refused.csv", delimiter = ';')
    void whatCannotBeDoneIsToldInOneLine(int status, String reason, String line) throws IOException {
        Files.writeString(directory.resolve("text.mp4"), "no film");
        writeWave(directory.resolve("in.wav"), WaveFormat.pcm16(44100, 2), new byte[4000]);
        writeWave(directory.resolve("deep.wav"), WaveFormat.of(1, 1, 8000, 24_000, 3, 24, new byte[0]), new byte[3000]);
        writeWave(directory.resolve("empty.wav"), WaveFormat.pcm16(44100, 2), new byte[0]);
        Files.createFile(directory.resolve("nothing.mp4"));
        Files.writeString(directory.resolve("page.mp4"), " <!DOCTYPE html>");
        Files.write(directory.resolve("image.avi"), new byte[] {'B', 'M', 0, 0, 0, 0, 0, 0, 0});
        cut("media/balle-jbart.mp4", "cut.mp4");
        String[] before = list("");
        assertThat(run(line)).as(errors).isEqualTo(status);
        String[] words = words(line, directory);
        String named = status == 1 || status == 3 ? words[1] : status == 4 ? words[words.length - 1] : "";
        assertThat(errors.lines()).singleElement().asString().startsWith("error: " + named).contains(reason);
        assertThat(output).isEmpty();
        assertThat(list("")).containsExactlyInAnyOrder(before);
        assertThat(directory.resolve("deep.wav")).as("the file before the failure").hasSize(3044);
    }

    /** Writes the first part of a file. */
    private void cut(String file, String name) throws IOException {
        byte[] whole = Files.readAllBytes(Path.of(words(file, directory)[0]));
        Files.write(directory.resolve(name), Arrays.copyOf(whole, whole.length * 3 / 5 + 1));
    }

    /** The last one is cut from the beginning, and its pictures cannot be decoded at all. */
    @ParameterizedTest
    @CsvSource({"streams/h264_b_256x256.avi, png", "streams/h264_b_720x576.mkv, png", "streams/wmv2_wma2.asf, png",
        "streams/h264_aac.flv, png", "streams/mpeg2_ac3.ts, png", "streams/mpeg1_mp2.mpg, png", "media/quicktime.mp4, png",
        "media/breakdance.flv, wav"})
    void aFilmThatIsCutOffGivesWhatIsThere(String film, String written) throws IOException {
        cut(film, "cut");
        assertThat(run("decode -q tmp/cut --out tmp/out --every 1000")).as(errors).isEqualTo(7);
        assertThat(errors).containsPattern("warning: the file was cut off: \\d+ of at least \\d+ bytes are there\n");
        assertThat(list("out")).contains("index.html").anyMatch(name -> name.endsWith(written));
        assertThat(run("frames-md5 --audio tmp/cut")).as(errors).isIn(7, 1);
        succeed("info tmp/cut");
    }

    @Test
    void bothSidesOfTheWallSayTheSame() {
        int step = "full".equals(System.getProperty("kiv.test.tier")) ? 1 : 16;
        File[] streams = TestMedia.stream("manifest.tsv").getParent().toFile().listFiles(File::isFile);
        Arrays.sort(streams);
        for (int i = 0; i < streams.length; i += step) {
            for (String command : List.of("info --json ", "frames-md5 ", "frames-md5 --audio ")) {
                List<Object> behind = List.of(run(command + streams[i]), output, errors);
                assertThat(List.<Object>of(run(command + "--no-wall " + streams[i]), output, errors)).isEqualTo(behind);
            }
        }
    }

    @Test
    void noWholeFileIsTakenForCutOff() throws IOException {
        for (File stream : TestMedia.stream("manifest.tsv").getParent().toFile().listFiles(File::isFile)) {
            try (SeekableByteChannel file = Files.newByteChannel(stream.toPath())) {
                assertThat(FileEnd.missing(file)).as(stream.getName()).isEmpty();
            }
        }
    }

    @Test
    void soundBeginsWithThePictures() throws IOException {
        byte[] film = Files.readAllBytes(TestMedia.stream("h264_aac.flv"));
        Files.write(directory.resolve("earlier.flv"), film);
        ByteBuffer tags = ByteBuffer.wrap(film);
        for (int at = 13; at < film.length; at += 15 + (tags.getInt(at) & 0xFFFFFF)) {
            int later = film[at] == 8 ? 500 << 8 : 0;
            tags.putInt(at + 4, tags.getInt(at + 4) + later);
        }
        Files.write(directory.resolve("later.flv"), film);
        for (String name : List.of("earlier", "later")) {
            succeed("decode tmp/" + name + ".flv --size 16x16 --out tmp/whole --no-align");
            byte[] whole = Files.readAllBytes(directory.resolve("whole/" + name + ".wav"));
            succeed("decode tmp/" + name + ".flv --size 16x16 --out tmp/beside");
            byte[] beside = Files.readAllBytes(directory.resolve("beside/" + name + ".wav"));
            int difference = beside.length - whole.length;
            // The sound of the film has 23 ms of the encoder's delay, and begins with the pictures.
            assertThat(difference / 176.4).isCloseTo(name.equals("later") ? 477 : -23, within(2.0));
            int common = Math.min(beside.length, whole.length) - 44;
            assertThat(Arrays.copyOfRange(beside, beside.length - common, beside.length))
                    .isEqualTo(Arrays.copyOfRange(whole, whole.length - common, whole.length));
            byte[] silence = new byte[Math.max(0, difference)];
            assertThat(Arrays.copyOfRange(beside, 44, 44 + silence.length)).isEqualTo(silence);
            assertThat(output).contains(name.equals("later") ? "0.477 s of silence" : "first 0.023 s");
        }
        assertThat(run("decode tmp/later.flv --sound-stream 0 --out tmp/beside")).isEqualTo(2);
        succeed("decode tmp/later.flv --sound-stream 1 --no-pictures --out tmp/beside");
    }

    @Test
    void oneOfSeveralFilesMayFail() throws IOException {
        cut("streams/h264_aac.flv", "cut.flv");
        assertThat(run("info tmp/none tmp/cut.flv streams/vorbis.ogg tmp")).isEqualTo(1);
        assertThat(output).contains("cut.flv", "vorbis.ogg");
        assertThat(errors.lines()).hasSize(3).anyMatch(line -> line.matches("error: .*none: no such file"));
        assertThat(run("decode -q --no-video tmp/cut.flv streams/flv1_nellymoser.flv streams/mp3.mp3 --out tmp")).isEqualTo(3);
        assertThat(run("decode -q tmp/cut.flv streams/mp3.mp3 --out tmp")).isEqualTo(7);
        assertThat(list("mp3")).containsExactlyInAnyOrder("mp3.wav", "index.html");
    }

    @Test
    void aNameThatIsNotUtf8NamesItsFile() throws Exception {
        String name = directory.resolve("$(printf 'f\\351.mp4')").toString();
        Programs.output(List.of("sh", "-c", "cp \"$0\" \"" + name + "\"", TestMedia.stream("h264_aac.mp4").toString()));
        succeed("decode -q tmp/f\uFFFD.mp4 --limit 1 -o tmp/a.png");
        assertThat(run("info tmp/\uFFFD.mp4")).isEqualTo(1);
        assertThat(run("decode streams/h264_aac.mp4 -o tmp/\uFFFD.wav")).isEqualTo(2);
    }

    @Test
    void onlyPicturesOfAnEarlierRunAreRemoved() throws IOException {
        succeed("decode -q streams/h264_aac.mp4 --out tmp --limit 5");
        Path second = directory.resolve("h264_aac-00002.png");
        Files.copy(second, directory.resolve("h264_aac-2.png"));
        Files.copy(second, directory.resolve("other-00002.png"));
        Files.write(directory.resolve("h264_aac-00009.png"), Files.readString(second, StandardCharsets.ISO_8859_1)
                .replace("kivjniffmpeg", "kivjniffmpe_").getBytes(StandardCharsets.ISO_8859_1));
        Files.createSymbolicLink(directory.resolve("h264_aac-00008.png"), second);
        succeed("decode streams/h264_aac.mp4 --out tmp --every 2 --limit 2");
        assertThat(output).containsPattern("removed +3 pictures of an earlier run");
        assertThat(list("")).containsExactlyInAnyOrder("h264_aac-00001.png", "h264_aac-00003.png", "h264_aac-2.png",
                "other-00002.png", "h264_aac-00009.png", "h264_aac-00008.png", "h264_aac.wav", "index.html");
    }

    @Test
    void picturesThatFillTheDiskAreAnnounced() throws IOException {
        assertThat(DiskSpace.announcement(1e6, directory)).isEmpty();
        assertThat(DiskSpace.announcement(1e18, directory).orElseThrow()).contains("about 1.00 EB, and ", " free in ", "--every");
    }

    @ParameterizedTest
    @CsvFileSource(resources = "/wrong.csv", delimiter = ';')
    void wrongUsageIsToldInOneLine(String line) {
        assertThat(run(line)).isEqualTo(2);
        assertThat(errors.lines()).singleElement().asString().startsWith("error: ").contains("--help");
    }

    @Test
    void namesDoNothingToTheTerminal() throws IOException {
        String name = "a\u001b[2J\u007f.wav";
        writeWave(directory.resolve(name), WaveFormat.pcm16(44100, 2), new byte[400]);
        String shown = directory + "/a\u241b[2J\u2421.wav";
        succeed("info tmp/" + name);
        assertThat(output.lines().findFirst()).hasValueSatisfying(line -> assertThat(line).endsWith(" " + shown));
        run("info -v tmp/" + name + "x");
        assertThat(errors).contains("error: " + shown).doesNotContain("\u001b");
        StringWriter json = new StringWriter();
        try (Json object = new Json(new PrintWriter(json), false)) {
            object.write(to -> to.writeStringField("file", name + "\u202e\u00e4"));
        }
        assertThat(json.toString()).contains("\"a\\u001B[2J\\u007F.wav\\u202e\u00e4\"");
        assertThat(VisibleText.of("a\u200f\u2066\u00e4\u0085")).isEqualTo("a\ufffd\ufffd\u00e4\ufffd");
    }

    @Test
    void aTableOfManyLinesIsPrintedAtOnce() {
        Table table = new Table();
        for (int line = 0; line < 100_000; line++) {
            table.row("stream", Integer.toString(line));
        }
        StringWriter text = new StringWriter();
        table.print(new PrintWriter(text)); // half an hour where each line costs all the others
        assertThat(text.toString().lines().count()).isEqualTo(100_000);
    }

    @Test
    void aLoopWhileOpeningIsNoticed() throws IOException {
        AtomicBoolean ended = new AtomicBoolean();
        assertThat(LoopGuard.<String>watch(Duration.ofMillis(1), () -> ended.set(true), () -> {
            while (!ended.get()) {
                Thread.onSpinWait();
            }
            return "opened";
        })).isEqualTo("opened");
    }

    @Test
    void withoutACommandThereIsHelp() {
        assertThat(run("")).isEqualTo(2);
        assertThat(errors).contains("Usage");
    }

    @Test
    void symbolicLinksStayAndWhatTheyLeadToIsWritten() throws IOException {
        Path link = Files.createSymbolicLink(directory.resolve("link"), Path.of("file"));
        Files.createSymbolicLink(directory.resolve("pictures"), Files.createDirectory(directory.resolve("other")));
        succeed("decode streams/mpeg1_320x240.m1v -q --limit 1 -o tmp/link --format yuv");
        succeed("decode streams/mpeg1_320x240.m1v -q --limit 1 --out tmp/pictures");
        assertThat(link).isSymbolicLink();
        assertThat(directory.resolve("file")).isRegularFile();
        assertThat(list("other")).contains("index.html");
    }
}
