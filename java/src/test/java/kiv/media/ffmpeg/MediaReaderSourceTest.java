package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.io.IOException;
import java.lang.ref.Reference;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import org.junit.jupiter.api.Test;

class MediaReaderSourceTest {

    @Test
    void readsWhatIsThereFromTheBuffersStart() throws IOException {
        byte[] bytes = new byte[100_000];
        bytes[99_999] = 42;
        MemoryChannel channel = new MemoryChannel(bytes);
        c_mediareader_source source = new c_mediareader_source(channel);
        assertThat(source.m_buffer().isDirect()).isTrue();
        assertThat(source.m_size()).isEqualTo(100_000);
        assertThat(source.m_read(1 << 20)).isEqualTo(c_mediareader_source.BUFFER_SIZE);
        assertThat(source.m_read(1 << 20)).isEqualTo(100_000 - c_mediareader_source.BUFFER_SIZE);
        assertThat(source.m_read(1)).isEqualTo(-1);
        assertThat(source.m_seek(99_999)).isEqualTo(99_999);
        assertThat(source.m_read(10)).isEqualTo(1);
        assertThat(source.m_buffer().get(0)).isEqualTo((byte) 42);
        assertThat(source.m_seek(200_000)).isEqualTo(200_000);
        assertThat(source.m_read(10)).isEqualTo(-1);
        // The source alone does not keep its channel.
        Reference.reachabilityFence(channel);
    }

    @Test
    void aChannelThatPausesIsReadAndOneThatStallsIsGivenUp() throws IOException {
        MemoryChannel pausing = new MemoryChannel(new byte[] {1, 2, 3});
        pausing.emptyReads = 5;
        assertThat(new c_mediareader_source(pausing).m_read(10)).isEqualTo(3);
        MemoryChannel stalled = new MemoryChannel(new byte[] {1, 2, 3});
        stalled.emptyReads = Integer.MAX_VALUE;
        c_mediareader_source source = new c_mediareader_source(stalled);
        assertThatThrownBy(() -> source.m_read(10)).isInstanceOf(IOException.class);
    }

    @Test
    void impossibleRequestsAreRefused() {
        MemoryChannel channel = new MemoryChannel(new byte[1]);
        c_mediareader_source source = new c_mediareader_source(channel);
        assertThatThrownBy(() -> source.m_read(0)).isInstanceOf(IllegalArgumentException.class);
        assertThatThrownBy(() -> source.m_seek(-1)).isInstanceOf(IOException.class);
        assertThatThrownBy(() -> new c_mediareader_source(null)).isInstanceOf(NullPointerException.class);
    }

    /** A channel over an array that can return nothing for a while. */
    static class MemoryChannel implements SeekableByteChannel {
        final byte[] bytes;
        int emptyReads;
        long position;
        boolean open = true;

        MemoryChannel(byte[] bytes) {
            this.bytes = bytes;
        }

        @Override
        public int read(ByteBuffer to) throws IOException {
            if (emptyReads > 0) {
                emptyReads--;
                return 0;
            }
            if (position >= bytes.length) {
                return -1;
            }
            int count = (int) Math.min(to.remaining(), bytes.length - position);
            to.put(bytes, (int) position, count);
            position += count;
            return count;
        }

        @Override
        public int write(ByteBuffer from) {
            throw new UnsupportedOperationException();
        }

        @Override
        public long position() {
            return position;
        }

        @Override
        public SeekableByteChannel position(long to) {
            position = to;
            return this;
        }

        @Override
        public long size() {
            return bytes.length;
        }

        @Override
        public SeekableByteChannel truncate(long size) {
            throw new UnsupportedOperationException();
        }

        @Override
        public boolean isOpen() {
            return open;
        }

        @Override
        public void close() {
            open = false;
        }
    }
}
