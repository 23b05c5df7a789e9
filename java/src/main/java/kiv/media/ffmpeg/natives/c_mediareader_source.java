package kiv.media.ffmpeg.natives;

import java.io.IOException;
import java.lang.annotation.Native;
import java.lang.ref.WeakReference;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.channels.ReadableByteChannel;
import java.nio.channels.SeekableByteChannel;
import java.util.Objects;

/**
 * Provides the bytes of a container to the native reader, through one direct buffer, so that no array is pinned while a
 * channel is read. The library calls these methods by name, on the thread that is inside a native of the reader. Their
 * exceptions reach the caller of that native.
 */
public final class c_mediareader_source {

    /** Returned by {@link #m_read} at the end. */
    @Native public static final int END = -1;

    /** The most bytes that one call of {@link #m_read} reads. */
    @Native public static final int BUFFER_SIZE = 64 * 1024;

    /** Bytes that can be read anywhere, and may cost something or change. */
    @Native public static final int ANYWHERE = 0;
    /** Bytes that are read forward only. */
    @Native public static final int FORWARD = 1;
    /** The bytes of a file, which may be read before they are wanted. */
    @Native public static final int FILE = 2;

    /** Stands for the place behind the bytes that were read last. */
    @Native public static final int NEXT = -1;

    /** A channel that returns no bytes this many times in a row has failed. */
    private static final int EMPTY_READS = 1000;

    /**
     * Weak, because native code keeps this source, and a channel that refers to its reader would keep the reader too.
     */
    private final WeakReference<ReadableByteChannel> channel;
    private final ByteBuffer buffer = ByteBuffer.allocateDirect(BUFFER_SIZE);
    private Throwable failure;

    /**
     * Creates the source for one reader. The caller keeps the channel reachable: this object does not.
     *
     * @param channel the container's bytes, used by this source alone; a {@link SeekableByteChannel}, unless the reader
     *     is opened by {@link c_mediareader_ffmpeg#n_reader_open_forward}
     */
    public c_mediareader_source(ReadableByteChannel channel) {
        this.channel = new WeakReference<>(Objects.requireNonNull(channel, "channel"));
    }

    /** {@return whether the bytes are a file's} */
    public boolean isFile() {
        return channel.get() instanceof FileChannel;
    }

    /** {@return the buffer that {@link #m_read} fills from its start; it lives as long as the source} */
    public ByteBuffer m_buffer() {
        return buffer;
    }

    /**
     * Reads into the buffer.
     *
     * @param length the most bytes to read, at least 1
     * @return how many were read, at least 1, or {@link #END}
     * @throws IOException when the channel throws it or returns an impossible count
     */
    public int m_read(int length) throws IOException {
        if (length < 1) {
            throw new IllegalArgumentException("length to read: " + length);
        }
        // A view has its own position, so that calls from other threads cannot move it.
        ByteBuffer view = buffer.duplicate().clear().limit(Math.min(length, BUFFER_SIZE));
        for (int attempt = 0; attempt < EMPTY_READS; attempt++) {
            int count = read(view);
            if (count != 0) {
                return count;
            }
            Thread.onSpinWait();
        }
        throw new IOException("the channel keeps returning no bytes without being at its end");
    }

    /**
     * Moves to an absolute position, which may be beyond the end.
     *
     * @param position in bytes from the start
     * @return the position
     * @throws IOException when the channel throws it
     */
    public long m_seek(long position) throws IOException {
        if (position < 0) {
            throw new IOException("seek to the negative position " + position);
        }
        try {
            seekable().position(position);
            return seekable().position();
        } catch (RuntimeException | Error e) {
            failure = e;
            throw e;
        }
    }

    /**
     * Reports the channel's size.
     *
     * @return the size in bytes; -1 when unknown
     * @throws IOException when the channel throws it
     */
    public long m_size() throws IOException {
        try {
            return seekable().size();
        } catch (RuntimeException | Error e) {
            failure = e;
            throw e;
        }
    }

    /**
     * Checks whether the channel threw an exception that a native of the reader threw.
     *
     * @param exception the exception of the native
     * @return whether the channel threw it
     */
    public boolean threw(Throwable exception) {
        return exception == failure;
    }

    private int read(ByteBuffer view) throws IOException {
        int count;
        try {
            count = channel().read(view);
        } catch (RuntimeException | Error e) {
            failure = e;
            throw e;
        }
        // A count without bytes would deliver what an earlier read left in the buffer.
        if (count < END || Math.max(count, 0) != view.position()) {
            throw new IOException("the channel says that it read " + count + " bytes, but put " + view.position()
                    + " into the buffer");
        }
        return count;
    }

    private SeekableByteChannel seekable() throws IOException {
        if (channel() instanceof SeekableByteChannel open) {
            return open;
        }
        throw new IOException("the channel does not seek");
    }

    private ReadableByteChannel channel() throws IOException {
        ReadableByteChannel open = channel.get();
        if (open == null) {
            throw new IOException("the channel is gone");
        }
        return open;
    }
}
