package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assumptions.assumeThat;

import com.fasterxml.jackson.core.JsonFactory;
import com.fasterxml.jackson.core.JsonParser;
import com.fasterxml.jackson.core.JsonToken;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.Stream;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** {@code info --json} beside the program ffprobe of the same FFmpeg. */
class ProbeTest {

    /** The names that only ffprobe has: mostly what it asks opened decoders for. */
    private static final String ONLY_FFPROBE = ".*/(nb_stream_groups|probe_score|coded_width|coded_height"
            + "|closed_captions|film_grain|is_avc|nal_length_size|missing_streams|quarter_sample|divx_packed"
            + "|view_\\w+|ts_\\w+|\\w+mixlev|dmix_mode)";
    /** The names that only we have. */
    private static final String ONLY_OURS = "program_version/.*|.*/(supported|shown_\\w+|rotation|mirrored"
            + "|disposition/\\w+)"; // parts that are younger than the program

    @ParameterizedTest
    @ValueSource(strings = {"tagged.mp4", "tagged.mkv", "tagged.mp3", "tagged.m4a", "tagged.flac", "tagged.ogg", "programs.ts",
        "hdr.hevc", "mpeg2_interlaced_b_720x576.ts", "mpeg2_ac3.ts", "dv_pal.avi", "h264_aac.flv", "wmv2_wma2.asf",
        "av1.mp4", "vp9_444.webm", "opus_5.1.mkv", "pcm_s24le.w64", "eac3.mp4", "dts_5.1.dts", "prores_4444.mov",
        "animation.gif"})
    void equalsTheProgram(String name) throws Exception {
        compare(TestMedia.stream(name).toString());
    }

    @Test
    void equalsTheProgramOnPicturesThatAreTurnedAndForTwoEyes(@TempDir Path directory) throws Exception {
        for (String name : List.of("turned.mp4", "both.mkv")) {
            Path file = directory.resolve(name);
            assumeThat(FfmpegLibrary.build().version()).matches("[678]\\..*"); // older programs turn nothing
            Programs.output(Stream.concat(TestMedia.ffmpegProgram().stream(), Stream.of("-v", "error", "-display_rotation", "37",
                    "-i", TestMedia.stream("h264_b_320x240.mp4").toString(), "-c", "copy", "-metadata:s:v:0",
                    "stereo_mode=right_left", file.toString())).toList());
            compare(file.toString());
        }
    }

    private static void compare(String file) throws Exception {
        List<String> program = new ArrayList<>(TestMedia.ffmpegProgram());
        String last = program.set(program.size() - 1, program.get(program.size() - 1).replaceFirst("ffmpeg$", "ffprobe"));
        assumeThat(Files.isExecutable(Path.of(last))).isTrue(); // none for 2.8, and Debian's is of another build
        program.addAll(List.of("-v", "error", "-of", "json", "-show_format", "-show_streams", "-show_chapters",
                "-show_programs", file));
        Map<String, String> theirs = values(Programs.output(program));
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        PrintStream out = System.out;
        System.setOut(new PrintStream(bytes, true));
        try {
            assertThat(Main.run("info", "--json", file)).isZero();
        } finally {
            System.setOut(out);
        }
        Map<String, String> ours = values(bytes.toByteArray());
        ours.keySet().removeIf(key -> !theirs.containsKey(key) && key.matches(ONLY_OURS));
        theirs.keySet().removeIf(key -> !ours.containsKey(key) && key.matches(ONLY_FFPROBE));
        assertThat(ours).isEqualTo(theirs);
    }

    /** All values by their path, with their quotes where they are texts. */
    private static Map<String, String> values(byte[] json) throws IOException {
        Map<String, String> values = new TreeMap<>();
        try (JsonParser parser = new JsonFactory().createParser(json)) {
            for (JsonToken token = parser.nextToken(); token != null; token = parser.nextToken()) {
                if (token.isScalarValue()) {
                    String quote = token == JsonToken.VALUE_STRING ? "\"" : "";
                    values.put(parser.getParsingContext().pathAsPointer(false).toString().substring(1),
                            quote + parser.getText() + quote);
                }
            }
        }
        return values;
    }
}
