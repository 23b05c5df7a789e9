package kiv.media.ffmpeg.io;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.Iterator;
import java.util.List;
import org.junit.jupiter.api.Test;

class BlockInputStreamTest {

    private static final byte[] FAILS = {};
    private final Iterator<byte[]> blocks = List.of(new byte[] {0, 127}, new byte[0], new byte[] {-128, -1, 5}, FAILS,
            new byte[] {6}).iterator();
    private boolean released;

    private final BlockInputStream stream = new BlockInputStream() {
        @Override
        protected ByteBuffer nextBlock() throws IOException {
            byte[] block = blocks.hasNext() ? blocks.next() : null;
            if (block == FAILS) {
                throw new IOException("a bad block");
            }
            return block == null ? null : ByteBuffer.wrap(block);
        }

        @Override
        protected void interrupt() throws IOException {
            throw new IOException("not interrupted");
        }

        @Override
        protected void release() {
            released = true;
        }
    };

    @Test
    void bytesAreUnsignedAndNoneIsLost() throws IOException {
        assertThat(List.of(stream.read(), stream.read(), stream.read(), stream.read())).containsExactly(0, 127, 128, 255);
        byte[] bytes = new byte[4];
        assertThat(stream.available()).isOne();
        assertThat(stream.read(bytes, 4, 0)).isZero();
        assertThat(stream.read(bytes, 1, 3)).isOne();
        assertThatThrownBy(() -> stream.read(bytes)).hasMessage("a bad block");
        assertThat(stream.read(bytes, 2, 2)).isOne();
        assertThat(bytes).containsExactly(0, 5, 6, 0);
        assertThat(List.of(stream.read(), stream.read(bytes))).containsOnly(-1);
        assertThatThrownBy(() -> stream.read(bytes, 3, 2)).isInstanceOf(IndexOutOfBoundsException.class);
    }

    @Test
    void closingReleasesWhateverFails() {
        assertThatThrownBy(stream::close).hasMessage("not interrupted");
        assertThat(released).isTrue();
        assertThatThrownBy(stream::read).isInstanceOf(IOException.class).hasMessage("the sound is closed");
        assertThat(stream.available()).isZero();
    }
}
