package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.NonWritableChannelException;
import java.nio.channels.SeekableByteChannel;

/** One of several readers of a channel, with a position of its own. Closing it does not close the channel. */
final class SharedChannel implements SeekableByteChannel {

    private final SeekableByteChannel channel;
    private long position;

    SharedChannel(SeekableByteChannel channel) {
        this.channel = channel;
    }

    @Override
    public int read(ByteBuffer to) throws IOException {
        if (channel.position() != position) {
            channel.position(position);
        }
        int count = channel.read(to);
        position += Math.max(count, 0);
        return count;
    }

    @Override
    public int write(ByteBuffer from) {
        throw new NonWritableChannelException();
    }

    @Override
    public long position() {
        return position;
    }

    @Override
    public SeekableByteChannel position(long newPosition) {
        position = newPosition;
        return this;
    }

    @Override
    public long size() throws IOException {
        return channel.size();
    }

    @Override
    public SeekableByteChannel truncate(long size) {
        throw new NonWritableChannelException();
    }

    @Override
    public boolean isOpen() {
        return channel.isOpen();
    }

    @Override
    public void close() {
        // The channel is its owner's.
    }
}
