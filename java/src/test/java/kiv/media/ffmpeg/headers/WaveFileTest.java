package kiv.media.ffmpeg.headers;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import kiv.media.ffmpeg.WaveFormat;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class WaveFileTest {

    private static final long LARGEST = (1L << 32) - 1;
    private static final int HEADER = 44;

    @TempDir
    private Path directory;

    @Test
    void aFileOfAlmost4GibHasItsLengthAndALargerOneNone() throws IOException {
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
        }
    }
}
