package kiv.media.ffmpeg.exactness;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Stream;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.TestMedia;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** The reader gives the streams and packets that FFmpeg itself finds in the file. */
class PacketExactnessTest {

    static Stream<Path> files() {
        return Stream.of(TestMedia.clips().stream().map(TestMedia.Clip::file), Stream.of("vorbis.ogg", "flac.flac")
                .map(TestMedia::stream), TestMedia.pcmSources().stream().map(TestMedia.Sound::file)).flatMap(all -> all);
    }

    @ParameterizedTest
    @MethodSource("files")
    void everyPacketIsThatOfFfmpeg(Path file) throws IOException {
        List<String> expected = Reference.run(List.of(file.toString(), "--list-packets")).stream()
                .map(row -> String.join(" ", row)).toList();
        try (MediaReader reader = MediaReader.open(file)) {
            List<String> lines = new ArrayList<>(reader.streams().stream().map(PacketExactnessTest::line).toList());
            reader.packets().map(PacketExactnessTest::line).forEach(lines::add);
            assertThat(lines).isEqualTo(expected);
            assertThat(reader.read()).as("after the end").isNull();
        }
    }

    private static String line(MediaStream stream) {
        return "stream " + stream.index() + " " + stream.kind().ordinal() + " " + stream.codecId() + " "
                + Integer.toUnsignedString(stream.codecTag()) + " " + stream.width() + " " + stream.height() + " "
                + stream.timeBase().toString().replace('/', ' ') + " " + stream.extradata().length + " "
                + Reference.md5(stream.extradata());
    }

    private static String line(Packet packet) {
        return "packet " + packet.streamIndex() + " " + packet.presentationTime() + " " + packet.decodingTime() + " "
                + packet.duration() + " " + (packet.isKey() ? 1 : 0) + " " + packet.size() + " "
                + Reference.md5(Track.bytes(packet));
    }
}
