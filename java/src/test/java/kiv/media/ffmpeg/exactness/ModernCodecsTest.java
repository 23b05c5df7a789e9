package kiv.media.ffmpeg.exactness;

import static org.assertj.core.api.Assertions.assertThat;
import static org.junit.jupiter.api.Assumptions.assumeFalse;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.MessageDigest;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.SampleFormat;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.VideoDecoder;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** Codecs and containers that the old FFmpeg does not have are decoded as by the program of the FFmpeg that is loaded. */
@Tag("exactness")
class ModernCodecsTest {

    private static final List<String> ENCODERS = List.of("pcm_s16le", "pcm_s32le", "pcm_f32le");

    static Stream<String> streams() throws IOException {
        return Files.readAllLines(TestMedia.stream("codecs.tsv")).stream().skip(1);
    }

    @ParameterizedTest
    @MethodSource("streams")
    void everythingIsThatOfTheProgram(String row, @TempDir Path directory) throws Exception {
        assumeFalse(FfmpegLibrary.build().version().startsWith("2."), "half of them are younger");
        String[] fields = row.split("\t");
        Path file = TestMedia.stream(fields[0]);
        try (MediaReader reader = MediaReader.open(file)) {
            MediaStream stream = (fields[1].equals("video") ? reader.firstVideo() : reader.firstAudio()).orElseThrow();
            assertThat(stream.codecName()).isEqualTo(fields[2]);
            assertThat(stream.isSupported()).isTrue();
            if (fields[1].equals("video")) {
                checkPictures(file, reader, stream);
            }
        }
        if (fields[1].equals("audio")) {
            checkSound(file, fields[2], directory);
        }
    }

    private static void checkPictures(Path file, MediaReader reader, MediaStream stream) {
        List<String> expected = program(List.of("-copyts", "-i", file.toString(), "-map", "0:v:0", "-fps_mode",
                "passthrough", "-enc_time_base", "-1", "-fflags", "+bitexact", "-f", "framemd5", "-")).lines()
                .filter(line -> !line.startsWith("#")).map(line -> line.split(",\\s*"))
                .map(columns -> columns[2] + " " + columns[5]).toList();
        try (VideoDecoder decoder = VideoDecoder.open(stream)) {
            assertThat(decoder.pictures(reader).map(picture -> {
                try (picture) {
                    return picture.timestamp() + " " + Reference.md5(picture.toBytes());
                }
            })).isNotEmpty().containsExactlyElementsOf(expected);
        }
    }

    /** In each kind of samples, without what a container says to be skipped. */
    private static void checkSound(Path file, String codec, Path directory) throws Exception {
        List<String> command = new ArrayList<>(codec.matches("mp[12]") ? List.of("-c:a", codec) : List.of());
        command.addAll(List.of("-i", file.toString()));
        for (String encoder : ENCODERS) {
            command.addAll(List.of("-map", "0:a:0", "-c:a", encoder, "-f", "md5", directory.resolve(encoder).toString()));
        }
        program(command);
        for (SampleFormat samples : SampleFormat.values()) {
            MessageDigest md5 = MessageDigest.getInstance("MD5");
            try (MediaReader reader = MediaReader.open(file);
                    AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow(), samples)) {
                decoder.blocks(reader).forEach(block -> md5.update(block.data()));
            }
            assertThat("MD5=" + HexFormat.of().formatHex(md5.digest())).as(samples.toString())
                    .isEqualToIgnoringWhitespace(Files.readString(directory.resolve(ENCODERS.get(samples.ordinal()))));
        }
    }

    private static String program(List<String> arguments) {
        return new String(Programs.output(Stream.of(TestMedia.ffmpegProgram(),
                List.of("-nostdin", "-v", "error", "-threads", "1"), arguments).flatMap(List::stream)
                .collect(Collectors.toList())));
    }
}
