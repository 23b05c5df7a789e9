package kiv.media.ffmpeg;

import java.math.BigInteger;

/** Computes when decoded sound starts: at its packet's time, plus the frames that were delivered since that time. */
final class AudioClock {

    private static final BigInteger LATEST = BigInteger.valueOf(Long.MAX_VALUE);
    private static final BigInteger EARLIEST = BigInteger.valueOf(Packet.NO_TIME + 1);

    private final Rational timeBase;
    private final int sampleRate;
    private final long start;
    private long anchor;
    private long frames;

    /**
     * @param timeBase the unit of the packets' times
     * @param sampleRate samples per second and channel
     * @param start when the sound starts if its packets have no time; may be {@link Packet#NO_TIME}
     */
    AudioClock(Rational timeBase, int sampleRate, long start) {
        this.timeBase = timeBase;
        this.sampleRate = sampleRate;
        this.start = start;
        reset();
    }

    Rational timeBase() {
        return timeBase;
    }

    /** Starts a packet. A packet without a time continues the one before it. */
    void at(long packetTime) {
        if (packetTime != Packet.NO_TIME) {
            anchor = packetTime;
            frames = 0;
        }
    }

    /** Counts delivered frames. */
    void advance(int delivered) {
        frames += delivered;
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
    }
}
