package kiv.media.ffmpeg.javasound;

import java.io.BufferedInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.channels.ClosedChannelException;
import java.nio.channels.FileChannel;
import java.nio.channels.NonWritableChannelException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Objects;
import javax.sound.sampled.AudioInputStream;

/**
 * Makes a forward-only stream seekable for the reader of a container. It reads no more of the stream than the reader
 * needs. The last 8 MiB stay in memory. Older bytes go into a temporary file, or are dropped when the reader does not
 * go back so far, as in an endless broadcast.
 *
 * <p>One thread uses it. Any thread may close it.
 */
final class SpoolChannel implements SeekableByteChannel {

    static final int CHUNK = 64 * 1024;
    static final int CHUNKS = 128;
    private static final int FRAMED_BUFFER = 1 << 20;

    private final InputStream source;
    private final byte[][] memory = new byte[CHUNKS][];
    /** The range of the stream that is in memory. */
    private long begin;
    private long end;
    private long position;
    private boolean complete;
    private boolean forwardOnly;
    private volatile FileChannel older;
    private volatile boolean ownsSource;
    private volatile boolean closed;

    /** @param source the stream; closing the channel leaves it open before {@link #adoptSource()} */
    SpoolChannel(InputStream source) {
        Objects.requireNonNull(source, "source");
        // Such a stream delivers whole frames only, and nothing when they do not fit.
        boolean framed = source instanceof AudioInputStream sound && sound.getFormat().getFrameSize() > 1;
        this.source = framed ? new BufferedInputStream(source, FRAMED_BUFFER) : source;
    }

    /** Makes {@link #close()} close the stream too. */
    void adoptSource() {
        ownsSource = true;
    }

    /** Keeps no more bytes than memory holds from now on. */
    void goForwardOnly() throws IOException {
        forwardOnly = true;
        if (older != null) {
            older.close();
            older = null;
        }
    }

    @Override
    public int read(ByteBuffer to) throws IOException {
        ensureOpen();
        while (position >= end && !complete) {
            if (!fetch()) {
                return 0;
            }
        }
        if (position >= end) {
            return -1;
        }
        int count = position < begin ? readOlder(to) : readMemory(to);
        position += count;
        return count;
    }

    private int readMemory(ByteBuffer to) {
        int from = (int) (position % CHUNK);
        int count = (int) Math.min(to.remaining(), Math.min(CHUNK - from, end - position));
        to.put(memory[slot(position)], from, count);
        return count;
    }

    private int readOlder(ByteBuffer to) throws IOException {
        if (older == null) {
            throw new IOException("the stream cannot go back to byte " + position);
        }
        int limit = to.limit();
        to.limit(to.position() + (int) Math.min(to.remaining(), begin - position));
        try {
            return older.read(to, position);
        } finally {
            to.limit(limit);
        }
    }

    /** @return false when the stream delivers no bytes although it has not ended */
    private boolean fetch() throws IOException {
        int slot = slot(end);
        int from = (int) (end % CHUNK);
        if (from == 0) {
            if (memory[slot] == null) {
                memory[slot] = new byte[CHUNK];
            } else {
                evict(memory[slot]);
            }
        }
        int count = source.read(memory[slot], from, CHUNK - from);
        complete = count < 0;
        end += Math.max(0, count);
        return count != 0;
    }

    private void evict(byte[] oldest) throws IOException {
        if (end - begin < (long) CHUNKS * CHUNK) {
            return; // evicted by an earlier call, which then got no bytes from the stream
        }
        if (!forwardOnly) {
            if (older == null) {
                Path file = Files.createTempFile("kivjniffmpeg", ".spool");
                try {
                    older = FileChannel.open(file, StandardOpenOption.READ, StandardOpenOption.WRITE,
                            StandardOpenOption.DELETE_ON_CLOSE);
                } catch (Throwable e) {
                    Files.deleteIfExists(file);
                    throw e;
                }
            }
            ByteBuffer bytes = ByteBuffer.wrap(oldest);
            for (long to = begin; bytes.hasRemaining();) {
                to += older.write(bytes, to);
            }
        }
        begin += CHUNK;
    }

    private static int slot(long position) {
        return (int) (position / CHUNK % CHUNKS);
    }

    @Override
    public long position() throws IOException {
        ensureOpen();
        return position;
    }

    @Override
    public SeekableByteChannel position(long to) throws IOException {
        ensureOpen();
        if (to < 0) {
            throw new IllegalArgumentException("negative position " + to);
        }
        position = to;
        return this;
    }

    /** {@return the size, or -1 before the end of the stream was read} */
    @Override
    public long size() throws IOException {
        ensureOpen();
        return complete ? end : -1;
    }

    @Override
    public int write(ByteBuffer from) {
        throw new NonWritableChannelException();
    }

    @Override
    public SeekableByteChannel truncate(long size) {
        throw new NonWritableChannelException();
    }

    @Override
    public boolean isOpen() {
        return !closed;
    }

    @Override
    public void close() throws IOException {
        if (closed) {
            return;
        }
        closed = true;
        try {
            if (ownsSource) {
                source.close();
            }
        } finally {
            FileChannel file = older;
            if (file != null) {
                file.close();
            }
        }
    }

    private void ensureOpen() throws ClosedChannelException {
        if (closed) {
            throw new ClosedChannelException();
        }
    }
}
