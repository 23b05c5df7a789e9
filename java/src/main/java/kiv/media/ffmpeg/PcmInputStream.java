package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.util.Objects;

/**
 * The sound of one stream as bytes: what {@link AudioDecoder#blocks} gives. One thread reads; any thread may close, also in
 * the middle of a read.
 */
final class PcmInputStream extends InputStream {

    private final MediaReader reader;
    private final AudioDecoder decoder;
    private final OneByOne<AudioBlock> blocks;
    private final boolean owner;
    private ByteBuffer current = ByteBuffer.allocate(0);
    private boolean finished;
    private volatile boolean closed;

    /** @param owner whether closing the stream closes the decoder and the reader */
    PcmInputStream(MediaReader reader, AudioDecoder decoder, boolean owner) {
        this.reader = reader;
        this.decoder = decoder;
        this.blocks = decoder.source(reader);
        this.owner = owner;
    }

    @Override
    public int read() throws IOException {
        byte[] one = new byte[1];
        return read(one, 0, 1) < 0 ? -1 : one[0] & 0xFF;
    }

    /** Gives bytes of one block at most, so that nothing is lost when what comes next cannot be read. */
    @Override
    public synchronized int read(byte[] to, int offset, int length) throws IOException {
        Objects.checkFromIndexSize(offset, length, to.length);
        ensureOpen();
        if (length == 0) {
            return 0;
        }
        while (!current.hasRemaining()) {
            AudioBlock block = finished ? null : decodeMore();
            if (block == null) {
                finished = true;
                return -1;
            }
            current = block.data();
        }
        int count = Math.min(length, current.remaining());
        current.get(to, offset, count);
        return count;
    }

    /** {@return how many bytes are decoded already} */
    @Override
    public synchronized int available() throws IOException {
        ensureOpen();
        return current.remaining();
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
        if (owner) {
            try (reader; decoder) {
                finished = true;
            } catch (MediaStateException e) {
                throw new IOException("the sound cannot be closed: " + e.getMessage(), e);
            }
        }
    }

    /** @return the next block, or null at the end */
    private AudioBlock decodeMore() throws IOException {
        try {
            return blocks.next();
        } catch (UncheckedIOException e) {
            throw e.getCause();
        } catch (MediaException e) {
            throw new IOException("the sound cannot be decoded: " + e.getMessage(), e);
        }
    }
}
