package kiv.media.ffmpeg.headers;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.HexFormat;
import java.util.List;
import kiv.media.ffmpeg.WaveFormat;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class HeadersTest {

    private static final long LARGEST = (1L << 32) - 1;
    private static final int HEADER = 44;

    private static LeadingBytes head(byte[] bytes) {
        return new LeadingBytes(new ByteArrayInputStream(bytes));
    }

    @Test
    void adtsHeadersHoldSevenChannelsAndFramesOf13Bits() {
        // Object type 2, the rate of number 4, configuration 7.
        AdtsHeader header = AdtsHeader.of(new byte[] {0x12, 0x38});
        assertThat(header.before(8184)).containsExactly(0xFF, 0xF1, 0x51, 0xC3, 0xFF, 0xFF, 0xFC);
        refused(IllegalArgumentException.class, "", () -> header.before(8185));
        for (String configuration : List.of("12", "1240", "1200", "1790", "2A10", "0210")) {
            refused(IllegalArgumentException.class, "", () -> AdtsHeader.of(HexFormat.of().parseHex(configuration)));
        }
    }

    @Test
    void chunksOfOddSizesAreFollowedByAByte() throws IOException {
        byte[] wave = "RIFF....WAVEodd \3\0\0\0abc\0fmt \2\0\0\0xy".getBytes(StandardCharsets.US_ASCII);
        assertThat(head(wave).riffChunk("fmt ")).isEqualTo(32);
        assertThat(head(wave).riffChunk("odd ")).isEqualTo(20);
        assertThat(head(wave).riffChunk("data")).isEqualTo(-1);
        assertThat(head(wave).has(wave.length + 1)).isFalse();
        assertThat(MediaSignatures.match(head("RF64....WAVE".getBytes(StandardCharsets.US_ASCII)))).isTrue();
        assertThat(head(new byte[16 * 1024 + 1]).has(16 * 1024 + 1)).as("beyond what is looked at").isFalse();
    }

    /** Packets of transport streams, and frames of MPEG-1, MPEG-2 and AC-3, with a header every so many bytes. */
    @ParameterizedTest
    @CsvSource({"0, 47, 188, true", "4, 47, 192, true", "0, 47, 204, true", "0, 47, 192, false", "4, 47, 188, false",
        "0, FFFB9000, 417, true", "0, FFF39000, 261, true", "0, 0B7700004940, 280, true", "0, 0B7700004840, 278, true"})
    void streamsAreKnownByTheirFrames(int first, String header, int size, boolean known) throws IOException {
        ByteBuffer stream = ByteBuffer.allocate(first + 5 * size);
        for (int at = first; at < stream.limit(); at += size) {
            stream.put(at, HexFormat.of().parseHex(header));
        }
        assertThat(MediaSignatures.match(head(stream.array()))).isEqualTo(known);
    }

    @Test
    void aWaveFileOfAlmost4GibHasItsLengthAndALargerOneNone(@TempDir Path directory) throws IOException {
        WaveFileHeader header = new WaveFileHeader(WaveFormat.pcm16(8000, 1).toBytes());
        assertThat(header.hasRoomFor(LARGEST - HEADER)).isTrue();
        assertThat(header.hasRoomFor(LARGEST - HEADER + 1)).isFalse();
        long bytes = LARGEST - HEADER - 1;
        assertThat(bytes).isEven();
        try (FileChannel file = FileChannel.open(directory.resolve("long.wav"), StandardOpenOption.CREATE_NEW,
                StandardOpenOption.SPARSE, StandardOpenOption.READ, StandardOpenOption.WRITE)) {
            file.write(ByteBuffer.wrap(header.toBytes(bytes, 0)));
            for (long size : new long[] {bytes, bytes + 1, bytes - 1, bytes + LARGEST + 1}) {
                file.truncate(HEADER + size);
                file.write(ByteBuffer.allocate(1), HEADER + size - 1);
                assertThat(WaveFileLength.frames(file, 1, 1).orElse(-1)).as(size + " bytes")
                        .isEqualTo(size == bytes ? bytes / 2 : -1);
            }
            file.truncate(HEADER + bytes);
            assertThat(WaveFileLength.frames(file, 1, 2)).as("channels").isEmpty();
            assertThat(WaveFileLength.frames(file, 3, 1)).as("format").isEmpty();
            file.write(ByteBuffer.wrap(header.toBytes(3, 0)), 0);
            file.truncate(HEADER + 3);
            assertThat(WaveFileLength.frames(file, 1, 1)).as("half a frame").isEmpty();
        }
    }
}
