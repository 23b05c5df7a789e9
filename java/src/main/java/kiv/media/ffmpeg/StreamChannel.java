package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.channels.ReadableByteChannel;
import java.util.Objects;

/** A stream as a channel, which reads no more of it than one read returns. */
final class StreamChannel implements ReadableByteChannel {

    private static final int MOST = 1 << 16;

    private final InputStream stream;
    private final byte[] bytes = new byte[MOST];
    private boolean closed;

    StreamChannel(InputStream stream) {
        this.stream = Objects.requireNonNull(stream, "stream");
    }

    @Override
    public int read(ByteBuffer to) throws IOException {
        int most = Math.min(MOST, to.remaining());
        int count = stream.read(bytes, 0, most);
        if (count > most) {
            throw new IOException("the stream says that it read " + count + " of at most " + most + " bytes");
        }
        if (count == 0 && most > 0) {
            // A read of one byte has no way to return none.
            int next = stream.read();
            bytes[0] = (byte) next;
            count = next < 0 ? -1 : 1;
        }
        to.put(bytes, 0, Math.max(count, 0));
        return count;
    }

    @Override
    public boolean isOpen() {
        return !closed;
    }

    @Override
    public void close() throws IOException {
        closed = true;
        stream.close();
    }
}
