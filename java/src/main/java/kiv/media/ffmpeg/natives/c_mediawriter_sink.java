package kiv.media.ffmpeg.natives;

import java.io.IOException;
import java.lang.annotation.Native;
import java.lang.ref.WeakReference;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import java.nio.channels.WritableByteChannel;
import java.util.Objects;

/**
 * Takes the bytes of a container from the native writer, through one direct buffer, so that no array is pinned while a
 * channel is written. The library calls these methods by name, on the thread that is inside a native of the writer. Their
 * exceptions reach the caller of that native.
 */
public final class c_mediawriter_sink {

    /** Bytes of the buffer, the most that one call of {@link #m_write} writes. */
    @Native public static final int BUFFER_SIZE = 64 * 1024;

    /** A channel that takes no bytes this many times in a row has failed. */
    private static final int EMPTY_WRITES = 1000;

    /**
     * Weak, because native code keeps this sink, and a channel that refers to its writer would keep the writer too.
     */
    private final WeakReference<WritableByteChannel> channel;
    private final ByteBuffer buffer = ByteBuffer.allocateDirect(BUFFER_SIZE);
    /** Where the container begins in a channel that can seek. */
    private final long start;
    private Throwable failure;

    /**
     * Creates the sink for one writer. The caller keeps the channel reachable: this object does not.
     *
     * @param channel receives the container, from its position on, and is used by this sink alone
     * @throws IOException when the channel throws it
     */
    public c_mediawriter_sink(WritableByteChannel channel) throws IOException {
        this.channel = new WeakReference<>(Objects.requireNonNull(channel, "channel"));
        this.start = channel instanceof SeekableByteChannel seekable ? seekable.position() : 0;
    }

    /** {@return the buffer that {@link #m_write} writes from its start; it lives as long as the sink} */
    public ByteBuffer m_buffer() {
        return buffer;
    }

    /**
     * Writes the first bytes of the buffer.
     *
     * @param length how many, at least 1
     * @return how many were written: the length, but not more than the buffer holds
     * @throws IOException when the channel throws it, or returns an impossible count
     */
    public int m_write(int length) throws IOException {
        if (length < 1) {
            throw new IllegalArgumentException("length to write: " + length);
        }
        // A view has its own position, so that calls from other threads cannot move it.
        ByteBuffer view = buffer.duplicate().clear().limit(Math.min(length, BUFFER_SIZE));
        int idle = 0;
        while (view.hasRemaining()) {
            idle = write(view) > 0 ? 0 : idle + 1;
            if (idle == EMPTY_WRITES) {
                throw new IOException("the channel keeps taking no bytes");
            }
        }
        return view.limit();
    }

    /**
     * Moves to a position of the container.
     *
     * @param position in bytes from the container's start
     * @return the position
     * @throws IOException when the channel throws it or cannot seek
     */
    public long m_seek(long position) throws IOException {
        if (position < 0 || !(channel() instanceof SeekableByteChannel seekable)) {
            throw new IOException("seek to the position " + position);
        }
        try {
            seekable.position(start + position);
            return seekable.position() - start;
        } catch (RuntimeException | Error e) {
            failure = e;
            throw e;
        }
    }

    /**
     * Checks whether the channel threw an exception that a native of the writer threw.
     *
     * @param exception the exception of the native
     * @return whether the channel threw it
     */
    public boolean threw(Throwable exception) {
        return exception == failure;
    }

    private int write(ByteBuffer view) throws IOException {
        int before = view.position();
        int count;
        try {
            count = channel().write(view);
        } catch (RuntimeException | Error e) {
            failure = e;
            throw e;
        }
        if (count < 0 || view.position() != before + count) {
            throw new IOException("the channel says that it wrote " + count + " bytes, but took "
                    + (view.position() - before));
        }
        return count;
    }

    private WritableByteChannel channel() throws IOException {
        WritableByteChannel open = channel.get();
        if (open == null) {
            throw new IOException("the channel is gone");
        }
        return open;
    }
}
