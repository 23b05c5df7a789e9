package kiv.media.ffmpeg.io;

import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.util.Objects;

/**
 * A stream of bytes that arrive in blocks. One thread reads. Any thread may close, also while another one reads: that
 * read, and each later one, throws an {@link IOException}.
 */
public abstract class BlockInputStream extends InputStream {

    private ByteBuffer current = ByteBuffer.allocate(0);
    private volatile boolean closed;

    /** An open stream. */
    protected BlockInputStream() {
    }

    /**
     * Fetches the next block. The reading thread calls it, and again after the end if it reads again.
     *
     * @return bytes, perhaps none; null at the end
     * @throws IOException when they cannot be read
     */
    protected abstract ByteBuffer nextBlock() throws IOException;

    /**
     * Ends a {@link #nextBlock()} in which another thread waits for bytes.
     *
     * @throws IOException when the source of the bytes cannot be closed
     */
    protected abstract void interrupt() throws IOException;

    /**
     * Releases what the stream owns. No other method is at work.
     *
     * @throws IOException when it cannot be closed
     */
    protected abstract void release() throws IOException;

    @Override
    public int read() throws IOException {
        byte[] one = new byte[1];
        return read(one, 0, 1) < 0 ? -1 : one[0] & 0xFF;
    }

    /** {@return bytes of one block at most, so that a failure in the next block loses none} */
    @Override
    public synchronized int read(byte[] to, int offset, int length) throws IOException {
        Objects.checkFromIndexSize(offset, length, to.length);
        ensureOpen();
        while (length > 0 && !current.hasRemaining()) {
            ByteBuffer next = nextBlock();
            if (next == null) {
                ensureOpen(); // closing may have ended the source
                return -1;
            }
            current = next;
        }
        int count = Math.min(length, current.remaining());
        current.get(to, offset, count);
        return count;
    }

    /** {@return how many bytes are left of the current block; 0 when closed} */
    @Override
    public synchronized int available() {
        return closed ? 0 : current.remaining();
    }

    /** Ends the reading without releasing anything. */
    public void refuseReads() {
        closed = true;
    }

    /**
     * Demands that the stream is open.
     *
     * @throws IOException when it is closed
     */
    public void ensureOpen() throws IOException {
        if (closed) {
            throw new IOException("the sound is closed");
        }
    }

    @Override
    public void close() throws IOException {
        closed = true;
        try {
            // A thread that waits for bytes holds the lock.
            interrupt();
        } finally {
            synchronized (this) {
                release();
            }
        }
    }
}
