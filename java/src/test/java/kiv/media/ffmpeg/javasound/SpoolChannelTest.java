package kiv.media.ffmpeg.javasound;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.ClosedChannelException;
import java.util.Arrays;
import java.util.Random;
import javax.sound.sampled.AudioFormat;
import javax.sound.sampled.AudioInputStream;
import org.junit.jupiter.api.Test;

class SpoolChannelTest {

    private static final int SIZE = SpoolChannel.CHUNK * SpoolChannel.CHUNKS * 2 + 12345;

    private final byte[] bytes = new byte[SIZE];
    /** Delivers no bytes the first time that it is asked for a chunk. */
    private final ByteArrayInputStream source = new ByteArrayInputStream(bytes) {
        private int asked = -1;

        @Override
        public synchronized int read(byte[] to, int offset, int length) {
            boolean first = offset == 0 && asked != pos;
            asked = pos;
            return first ? 0 : super.read(to, offset, length);
        }
    };

    SpoolChannelTest() {
        new Random(3).nextBytes(bytes);
    }

    @Test
    void everyByteCanBeReadAgain() throws IOException {
        Random random = new Random(5);
        SpoolChannel spool = new SpoolChannel(source);
        assertThat(spool.size()).isEqualTo(-1);
        expect(spool, 1000, 100);
        assertThat(source.available()).as("not read farther than needed").isGreaterThan(SIZE - 2 * SpoolChannel.CHUNK);
        for (int i = 0; i < 300; i++) {
            expect(spool, random.nextInt(Math.min(SIZE, (i + 1) * (SIZE / 250))), 1 + random.nextInt(100_000));
        }
        expect(spool, SIZE - 1, 1);
        assertThat(spool.position(SIZE + 5L).read(ByteBuffer.allocate(1))).isEqualTo(-1);
        assertThat(spool.size()).isEqualTo(SIZE);
        spool.goForwardOnly();
        assertThatThrownBy(() -> expect(spool, 0, 1)).isInstanceOf(IOException.class);
        expect(spool, SIZE - 5_000_000, 5_000_000);
        spool.close();
        assertThatThrownBy(() -> spool.read(ByteBuffer.allocate(1))).isInstanceOf(ClosedChannelException.class);
    }

    @Test
    void soundOfLongFramesIsReadToItsEnd() throws IOException {
        AudioFormat format = new AudioFormat(AudioFormat.Encoding.PCM_SIGNED, 1, -1, 1, 1000, 1, false);
        AudioInputStream framed = new AudioInputStream(new ByteArrayInputStream(bytes), format, SIZE / 1000);
        expect(new SpoolChannel(framed), 0, SIZE / 1000 * 1000);
    }

    private void expect(SpoolChannel spool, int position, int wanted) throws IOException {
        ByteBuffer buffer = ByteBuffer.allocate(Math.min(wanted, SIZE - position));
        spool.position(position);
        while (buffer.hasRemaining()) {
            assertThat(spool.read(buffer)).isNotNegative();
        }
        assertThat(buffer.array()).isEqualTo(Arrays.copyOfRange(bytes, position, position + buffer.limit()));
    }
}
