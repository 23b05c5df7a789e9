package kiv.media.ffmpeg;

import java.math.BigInteger;
import java.time.Duration;
import java.util.Optional;

/**
 * A fraction, such as a rate or a unit of time.
 *
 * <pre>{@code
 * Rational tick = new Rational(1, 90_000); // seconds
 * Duration tenMinutes = tick.times(54_000_000);
 * double rate = stream.frameRate().toDouble();
 * }</pre>
 *
 * @param numerator the numerator
 * @param denominator the denominator; 0 when the value is unknown
 */
public record Rational(long numerator, long denominator) {

    private static final BigInteger NANOS = BigInteger.valueOf(1_000_000_000L);

    /** {@return whether the value is known: neither part is 0} */
    public boolean isKnown() {
        return numerator != 0 && denominator != 0;
    }

    /** {@return the value, or 0 when it is unknown} */
    public double toDouble() {
        return isKnown() ? (double) numerator / denominator : 0;
    }

    /**
     * Multiplies this unit of time, in seconds, by a number of units. The result is rounded down to nanoseconds.
     *
     * @param units number of units
     * @return their duration
     * @throws ArithmeticException when this value is unknown or the result is beyond the range of a duration
     */
    public Duration times(long units) {
        if (!isKnown()) {
            throw new ArithmeticException("the unit of time is unknown");
        }
        BigInteger divisor = BigInteger.valueOf(denominator);
        BigInteger product = BigInteger.valueOf(units).multiply(BigInteger.valueOf(numerator)).multiply(NANOS);
        if (divisor.signum() < 0) {
            divisor = divisor.negate();
            product = product.negate();
        }
        BigInteger[] parts = product.divideAndRemainder(divisor);
        BigInteger nanos = parts[1].signum() < 0 ? parts[0].subtract(BigInteger.ONE) : parts[0];
        BigInteger[] split = nanos.divideAndRemainder(NANOS);
        if (split[0].bitLength() >= Long.SIZE) {
            throw new ArithmeticException(units + " times " + this + " seconds are more than a duration can hold");
        }
        return Duration.ofSeconds(split[0].longValue(), split[1].longValue());
    }

    /** The last number of these units of time that a duration reaches, as near to it as 64 bits allow. */
    long units(Duration time) {
        BigInteger nanos = BigInteger.valueOf(time.getSeconds()).multiply(NANOS).add(BigInteger.valueOf(time.getNano() + 1L));
        BigInteger divisor = BigInteger.valueOf(numerator).multiply(NANOS);
        BigInteger product = nanos.multiply(BigInteger.valueOf(denominator));
        if (divisor.signum() < 0) {
            divisor = divisor.negate();
            product = product.negate();
        }
        // Units are rounded down to nanoseconds, so the last one may begin within the next nanosecond.
        BigInteger before = product.subtract(BigInteger.ONE);
        BigInteger units = before.subtract(before.mod(divisor)).divide(divisor);
        return units.bitLength() < Long.SIZE ? units.longValue() : units.signum() < 0 ? Long.MIN_VALUE + 1 : Long.MAX_VALUE;
    }

    /** {@return this value in lowest terms} */
    public Rational reduced() {
        return times(1, 1);
    }

    /** This value times a positive fraction, in lowest terms; rounded where its parts do not fit. */
    Rational times(int by, int dividedBy) {
        BigInteger above = BigInteger.valueOf(numerator).multiply(BigInteger.valueOf(by));
        BigInteger below = BigInteger.valueOf(denominator).multiply(BigInteger.valueOf(dividedBy));
        BigInteger common = above.gcd(below).max(BigInteger.ONE);
        above = above.divide(common);
        below = below.divide(common);
        int excess = Math.max(0, Math.max(above.bitLength(), below.bitLength()) - (Long.SIZE - 1));
        return new Rational(above.shiftRight(excess).longValue(), below.shiftRight(excess).longValue());
    }

    /** A time in these units as a duration; empty when either is unknown or the result is beyond its range. */
    Optional<Duration> time(long units) {
        if (units == Packet.NO_TIME || !isKnown()) {
            return Optional.empty();
        }
        try {
            return Optional.of(times(units));
        } catch (ArithmeticException e) {
            // Damaged files contain such times.
            return Optional.empty();
        }
    }

    @Override
    public String toString() {
        return numerator + "/" + denominator;
    }
}
