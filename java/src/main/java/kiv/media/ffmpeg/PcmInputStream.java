package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.Objects;

/**
 * The sound of one stream as bytes: what {@link AudioDecoder} gives packet by packet, its end included. One thread
 * reads; any thread may close, also in the middle of a read.
 */
final class PcmInputStream extends InputStream {

    private final MediaReader reader;
    private final AudioDecoder decoder;
    private final boolean owner;
    private final Deque<AudioBlock> waiting = new ArrayDeque<>();
    private ByteBuffer current = ByteBuffer.allocate(0);
    private boolean finished;
    private volatile boolean closed;

    /** @param owner whether closing the stream closes the decoder and the reader */
    PcmInputStream(MediaReader reader, AudioDecoder decoder, boolean owner) {
        this.reader = Objects.requireNonNull(reader, "reader");
        this.decoder = decoder;
        this.owner = owner;
    }

    @Override
    public int read() throws IOException {
        byte[] one = new byte[1];
        return read(one, 0, 1) < 0 ? -1 : one[0] & 0xFF;
    }

    /** Gives bytes of one block at most, so that nothing is lost when the next packet turns out to be damaged. */
    @Override
    public synchronized int read(byte[] to, int offset, int length) throws IOException {
        Objects.checkFromIndexSize(offset, length, to.length);
        ensureOpen();
        if (length == 0) {
            return 0;
        }
        while (!current.hasRemaining()) {
            if (!waiting.isEmpty()) {
                current = waiting.remove().data();
            } else if (finished) {
                return -1;
            } else {
                decodeMore();
            }
        }
        int count = Math.min(length, current.remaining());
        current.get(to, offset, count);
        return count;
    }

    /** {@return how many bytes are decoded already} */
    @Override
    public synchronized int available() throws IOException {
        ensureOpen();
        long bytes = current.remaining();
        for (AudioBlock block : waiting) {
            bytes += block.pcm().length;
        }
        return (int) Math.min(Integer.MAX_VALUE, bytes);
    }

    @Override
    public void close() throws IOException {
        closed = true;
        try {
            if (owner) {
                // A thread that waits for bytes holds the lock; it stops waiting.
                reader.interrupt();
            }
        } finally {
            release();
        }
    }

    void ensureOpen() throws IOException {
        if (closed) {
            throw new IOException("the sound is closed");
        }
    }

    private synchronized void release() throws IOException {
        waiting.clear();
        if (owner) {
            try (reader; decoder) {
                finished = true;
            } catch (MediaStateException e) {
                throw new IOException("the sound cannot be closed: " + e.getMessage(), e);
            }
        }
    }

    private void decodeMore() throws IOException {
        try {
            Packet packet = reader.read();
            if (packet == null) {
                finished = true;
                waiting.addAll(decoder.finish());
            } else if (decoder.accepts(packet)) {
                waiting.addAll(decoder.decode(packet));
            }
        } catch (MediaException e) {
            throw new IOException("the sound cannot be decoded: " + e.getMessage(), e);
        }
    }
}
