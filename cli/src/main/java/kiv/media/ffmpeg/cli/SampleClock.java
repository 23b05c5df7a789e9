package kiv.media.ffmpeg.cli;

import java.math.BigInteger;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;

/**
 * Counts in samples when blocks of sound begin. Many containers count in coarser units and round their times. There a
 * block begins right behind the one before it if the rounded time allows that, as in the program {@code ffmpeg}.
 */
final class SampleClock {

    /** Damaged files hold any times; these bounds leave room for sums. */
    private static final BigInteger LATEST = BigInteger.ONE.shiftLeft(60);

    private final BigInteger factor;
    private final BigInteger divisor;
    private final boolean coarse;
    private long next;
    private boolean started;

    SampleClock(Rational timeBase, int sampleRate) {
        factor = BigInteger.valueOf(timeBase.numerator()).multiply(BigInteger.valueOf(sampleRate));
        divisor = BigInteger.valueOf(Math.max(1, timeBase.denominator()));
        coarse = factor.compareTo(divisor) > 0;
    }

    /**
     * Returns when the next block begins, in samples from the container's zero.
     *
     * @param timestamp the block's own time in the time base, or {@link Packet#NO_TIME}
     * @param frames the block's length
     */
    long next(long timestamp, int frames) {
        long begin = timestamp == Packet.NO_TIME ? next : begin(BigInteger.valueOf(timestamp));
        started = true;
        next = begin + frames;
        return begin;
    }

    private long begin(BigInteger time) {
        BigInteger doubled = time.shiftLeft(1);
        if (coarse && started) {
            // A rounded time stands for all times from half a unit before it to half a unit behind it.
            long first = bounded(floor(floor(doubled.subtract(BigInteger.ONE).multiply(factor), divisor),
                    BigInteger.TWO));
            BigInteger above = ceiling(doubled.add(BigInteger.ONE).multiply(factor), divisor);
            long last = bounded(floor(above.add(BigInteger.ONE), BigInteger.TWO));
            long unit = last - first;
            if (next >= first - unit && next <= last + unit) {
                return Math.max(first, Math.min(last, next));
            }
        }
        BigInteger nearest = floor(doubled.abs().multiply(factor).add(divisor), divisor.shiftLeft(1));
        return bounded(time.signum() < 0 ? nearest.negate() : nearest);
    }

    private static long bounded(BigInteger samples) {
        return samples.min(LATEST).max(LATEST.negate()).longValue();
    }

    private static BigInteger floor(BigInteger value, BigInteger by) {
        BigInteger[] parts = value.divideAndRemainder(by);
        return parts[1].signum() < 0 ? parts[0].subtract(BigInteger.ONE) : parts[0];
    }

    private static BigInteger ceiling(BigInteger value, BigInteger by) {
        return floor(value.negate(), by).negate();
    }
}
