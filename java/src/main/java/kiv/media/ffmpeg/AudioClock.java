package kiv.media.ffmpeg;

import java.math.BigInteger;

/** Tells when decoded sound begins: by its packet's time, and by counting on where packets tell none. */
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
     * @param sampleRate samples a second and channel
     * @param start when sound begins whose packets have told no time yet; may be {@link Packet#NO_TIME}
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

    /** A packet begins. */
    void at(long packetTime) {
        if (packetTime != Packet.NO_TIME) {
            anchor = packetTime;
            frames = 0;
        }
    }

    /** Sound was given out. */
    void advance(int given) {
        frames += given;
    }

    /** When the next sound begins; the end of the time's range is not passed. */
    long time() {
        if (anchor == Packet.NO_TIME || frames == 0 || !timeBase.isKnown()) {
            return anchor;
        }
        BigInteger units = BigInteger.valueOf(frames).multiply(BigInteger.valueOf(timeBase.denominator()))
                .divide(BigInteger.valueOf(sampleRate).multiply(BigInteger.valueOf(timeBase.numerator())));
        BigInteger time = BigInteger.valueOf(anchor).add(units);
        return time.min(LATEST).max(EARLIEST).longValue();
    }

    /** Another stream begins, or the same one elsewhere. */
    void reset() {
        anchor = start;
        frames = 0;
    }
}
