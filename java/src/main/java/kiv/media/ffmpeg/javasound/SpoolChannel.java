package kiv.media.ffmpeg.javasound;

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

/**
 * Lets a container's reader move to and fro in a stream that can only be read on. The stream is read no farther than
 * the reader goes. Its last 8 MiB stay in memory; what is older goes into a temporary file that has no name any more,
 * or is dropped where nobody goes back so far, so that broadcasts without an end can be heard.
 *
 * <p>One thread uses it; any may close it.
 */
final class SpoolChannel implements SeekableByteChannel {

    static final int CHUNK = 64 * 1024;
    static final int CHUNKS = 128;

    private final InputStream source;
    private final byte[][] memory = new byte[CHUNKS][];
    /** Where memory begins and ends in the stream. */
    private long begin;
    private long end;
    private long position;
    private boolean complete;
    private boolean forwardOnly;
    private volatile FileChannel older;
    private volatile boolean ownsSource;
    private volatile boolean closed;

    /** @param source the stream, left open until {@link #adoptSource()} */
    SpoolChannel(InputStream source) {
        this.source = Objects.requireNonNull(source, "source");
    }

    /** From now on closing the channel closes the stream. */
    void adoptSource() {
        ownsSource = true;
    }

    /** From now on nobody goes back farther than memory reaches. */
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

    /** @return false when the stream gives nothing although it is not at its end */
    private boolean fetch() throws IOException {
        int slot = slot(end);
        int from = (int) (end % CHUNK);
        if (from == 0) {
            if (memory[slot] == null) {
                memory[slot] = new byte[CHUNK];
            } else {
                giveUp(memory[slot]);
            }
        }
        int count = source.read(memory[slot], from, CHUNK - from);
        complete = count < 0;
        end += Math.max(0, count);
        return count != 0;
    }

    private void giveUp(byte[] oldest) throws IOException {
        if (end - begin < (long) CHUNKS * CHUNK) {
            return; // given up already, but then the stream gave nothing
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

    /** {@return the size, or -1 while the stream's end has not been seen} */
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
