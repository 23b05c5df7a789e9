package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.ClosedChannelException;

/** A channel over an array that does one thing which channels should not do, from some read on. */
final class HostileChannel extends MemoryChannel {

    /** What it does. */
    enum Way {
        HONEST, NOTHING, END, MORE_THAN_ASKED, LESS_THAN_TOLD, NEGATIVE, THROWS, FAILS, CLOSES, HUGE, NEGATIVE_SIZE, ELSEWHERE,
        DAMAGED
    }

    interface Hook {
        void run() throws IOException;
    }

    Hook hook;
    private final Way way;
    private int honestReads;

    HostileChannel(byte[] bytes, Way way, int honestReads) {
        super(bytes);
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
        // Small reads, so that there are many.
        int limit = to.limit();
        to.limit(to.position() + Math.min(to.remaining(), 4096));
        int start = to.position();
        int count = super.read(to);
        to.limit(limit);
        if (way == Way.HONEST || honestReads-- > 0 || count < 0) {
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
        return way == Way.HUGE ? Long.MAX_VALUE : way == Way.NEGATIVE_SIZE ? Long.MIN_VALUE : super.size();
    }

    @Override
    public long position() {
        return way == Way.ELSEWHERE ? -7 : super.position();
    }
}
