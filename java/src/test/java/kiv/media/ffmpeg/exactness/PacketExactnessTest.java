package kiv.media.ffmpeg.exactness;

import static org.assertj.core.api.Assertions.assertThat;

import java.nio.file.Path;
import java.security.MessageDigest;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.stream.Stream;
import kiv.media.ffmpeg.NativeSources;
import kiv.media.ffmpeg.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** The reader gives the streams and packets that FFmpeg itself finds in the file. */
class PacketExactnessTest {

    static Stream<Path> files() {
        return Stream.concat(TestMedia.clips().stream().map(TestMedia.Clip::file), TestMedia.sounds().stream());
    }

    @ParameterizedTest
    @MethodSource("files")
    void everyPacketIsThatOfFfmpeg(Path file) throws Exception {
        List<String> expected = Reference.run(List.of(file.toString(), "--list-packets")).stream()
                .map(row -> String.join(" ", row)).toList();
        assertThat(read(file)).isEqualTo(expected);
    }

    private static List<String> read(Path file) throws Exception {
        List<String> lines = new ArrayList<>();
        long context = c_multimediaapi_ffmpeg.n_init(TestMedia.ffmpeg().toString(), null, 0);
        long reader = c_mediareader_ffmpeg.n_reader_open(context, NativeSources.open(file));
        for (int i = 0; i < c_mediareader_ffmpeg.n_reader_get_info(reader)[0]; i++) {
            long[] stream = c_mediareader_ffmpeg.n_reader_get_stream(reader, i);
            byte[] extradata = c_mediareader_ffmpeg.n_reader_get_extradata(reader, i);
            lines.add("stream " + i + " " + stream[0] + " " + stream[1] + " " + stream[2] + " " + stream[3] + " "
                    + stream[4] + " " + stream[7] + " " + stream[8] + " " + extradata.length + " " + md5(extradata));
        }
        long[] fields = new long[6];
        for (byte[] bytes; (bytes = c_mediareader_ffmpeg.n_reader_read(reader, fields)) != null;) {
            lines.add("packet " + fields[0] + " " + fields[1] + " " + fields[2] + " " + fields[3] + " " + fields[4] + " "
                    + bytes.length + " " + md5(bytes));
        }
        c_mediareader_ffmpeg.n_reader_delete(reader);
        c_multimediaapi_ffmpeg.n_close(context);
        return lines;
    }

    private static String md5(byte[] bytes) throws Exception {
        return HexFormat.of().formatHex(MessageDigest.getInstance("MD5").digest(bytes));
    }
}
