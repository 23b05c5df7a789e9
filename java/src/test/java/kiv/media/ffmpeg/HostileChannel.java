package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.ClosedChannelException;
import java.nio.channels.SeekableByteChannel;

/** A channel over an array, which can do one thing that channels should not do, from some read on. */
public final class HostileChannel implements SeekableByteChannel {

    /** What it does; bytes that come one by one come with a read between that takes none. */
    enum Way {
        HONEST, ONE_BY_ONE, NOTHING, END, MORE_THAN_ASKED, LESS_THAN_TOLD, NEGATIVE, THROWS, FAILS, CLOSES, HUGE,
        NEGATIVE_SIZE, ELSEWHERE, DAMAGED
    }

    public interface Hook {
        void run() throws IOException;
    }

    public Hook hook;
    boolean open = true;
    private final byte[] bytes;
    private final Way way;
    private long position;
    private int honestReads;

    public HostileChannel(byte[] bytes) {
        this(bytes, Way.HONEST, 0);
    }

    HostileChannel(byte[] bytes, Way way, int honestReads) {
        this.bytes = bytes;
        this.way = way;
        this.honestReads = honestReads;
    }

    @Override
    public int read(ByteBuffer to) throws IOException {
        if (!open) {
            throw new ClosedChannelException();
        }
        if (hook != null) {
            hook.run();
        }
        if (position >= bytes.length) {
            return -1;
        }
        // Small reads, so that there are many.
        int start = to.position();
        int most = way == Way.ONE_BY_ONE ? honestReads & 1 : 4096;
        int count = (int) Math.min(Math.min(to.remaining(), most), bytes.length - position);
        to.put(bytes, (int) position, count);
        position += count;
        if (way == Way.HONEST || honestReads-- > 0) {
            return count;
        }
        switch (way) {
            case NOTHING -> to.position(start);
            case LESS_THAN_TOLD -> to.position(start + count / 2);
            case CLOSES -> close();
            case DAMAGED -> to.put(start + count / 2, (byte) ~to.get(start + count / 2));
            case THROWS -> throw new RuntimeException("hostile");
            case FAILS -> throw new AssertionError("hostile");
            default -> { }
        }
        return switch (way) {
            case NOTHING -> 0;
            case END -> -1;
            case MORE_THAN_ASKED -> Integer.MAX_VALUE;
            case NEGATIVE -> Integer.MIN_VALUE;
            default -> count;
        };
    }

    @Override
    public long size() {
        return way == Way.HUGE ? Long.MAX_VALUE : way == Way.NEGATIVE_SIZE ? Long.MIN_VALUE : bytes.length;
    }

    @Override
    public long position() {
        return way == Way.ELSEWHERE ? -7 : position;
    }

    @Override
    public SeekableByteChannel position(long to) {
        position = to;
        return this;
    }

    @Override
    public int write(ByteBuffer from) {
        throw new UnsupportedOperationException("this channel is not for writing");
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
