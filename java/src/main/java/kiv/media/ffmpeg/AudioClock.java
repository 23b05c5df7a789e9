package kiv.media.ffmpeg;

import java.math.BigInteger;
import java.util.ArrayDeque;
import java.util.Deque;

/** Computes when decoded sound starts: at its packet's time, plus the frames that were delivered since that time. */
final class AudioClock {

    private static final BigInteger LATEST = BigInteger.valueOf(Long.MAX_VALUE);
    private static final BigInteger EARLIEST = BigInteger.valueOf(Packet.NO_TIME + 1);

    private final Rational timeBase;
    private final int sampleRate;
    private final long start;
    private final boolean holdsBack;
    private long anchor;
    private long frames;
    /** Times of packets whose sound has not begun, the oldest first. */
    private final Deque<Long> waiting = new ArrayDeque<>();
    /** The most packets in a row that were answered with nothing. The sound is that many packets late. */
    private int late;
    private int silent;

    /**
     * @param timeBase the unit of the packets' times
     * @param sampleRate samples per second and channel
     * @param start when the sound starts if its packets have no time; may be {@link Packet#NO_TIME}
     * @param holdsBack whether the decoder may deliver the sound of a packet with a later one
     */
    AudioClock(Rational timeBase, int sampleRate, long start, boolean holdsBack) {
        this.timeBase = timeBase;
        this.sampleRate = sampleRate;
        this.start = start;
        this.holdsBack = holdsBack;
        reset();
    }

    Rational timeBase() {
        return timeBase;
    }

    /** Starts a packet. A packet without a time continues the one before it. */
    void at(long packetTime) {
        waiting.add(packetTime);
        begin(late);
    }

    /** Reports that the packet was answered with nothing. */
    void silent() {
        silent++;
        late = holdsBack ? Math.max(late, silent) : 0;
    }

    /** Starts the sound that the decoder still holds. */
    void end() {
        begin(Math.max(0, late - 1));
    }

    /** Starts the sound of all waiting packets but the last ones. */
    private void begin(int last) {
        while (waiting.size() > last) {
            long time = waiting.remove();
            if (time != Packet.NO_TIME) {
                anchor = time;
                frames = 0;
            }
        }
    }

    /** Counts delivered frames. */
    void advance(int delivered) {
        silent = 0;
        frames += delivered;
    }

    /** Passes over frames that are not delivered. As in FFmpeg the next one then begins at the nearest unit of time. */
    void skip(long skipped) {
        if (frames == 0 && skipped > 0 && anchor != Packet.NO_TIME && timeBase.isKnown()) {
            BigInteger unit = BigInteger.valueOf(sampleRate).multiply(BigInteger.valueOf(timeBase.numerator()));
            BigInteger units = BigInteger.valueOf(skipped).multiply(BigInteger.valueOf(timeBase.denominator()))
                    .shiftLeft(1).add(unit).divide(unit.shiftLeft(1));
            anchor = BigInteger.valueOf(anchor).add(units).min(LATEST).max(EARLIEST).longValue();
            silent = 0;
        } else {
            frames += skipped;
        }
    }

    /** When the next frame starts, rounded down and limited to the range of times. */
    long time() {
        if (anchor == Packet.NO_TIME || frames == 0 || !timeBase.isKnown()) {
            return anchor;
        }
        BigInteger units = BigInteger.valueOf(frames).multiply(BigInteger.valueOf(timeBase.denominator()))
                .divide(BigInteger.valueOf(sampleRate).multiply(BigInteger.valueOf(timeBase.numerator())));
        BigInteger time = BigInteger.valueOf(anchor).add(units);
        return time.min(LATEST).max(EARLIEST).longValue();
    }

    /** Starts another stream, or continues the same one at another position. */
    void reset() {
        anchor = start;
        frames = 0;
        waiting.clear();
        late = 0;
        silent = 0;
    }
}
