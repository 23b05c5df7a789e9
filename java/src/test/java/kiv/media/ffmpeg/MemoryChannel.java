package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;

/** A channel over an array. */
class MemoryChannel implements SeekableByteChannel {
    final byte[] bytes;
    long position;
    boolean open = true;

    MemoryChannel(byte[] bytes) {
        this.bytes = bytes;
    }

    @Override
    public int read(ByteBuffer to) throws IOException {
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
