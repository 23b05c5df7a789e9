package kiv.media.ffmpeg;

import java.util.Objects;
import java.util.Optional;
import kiv.media.ffmpeg.natives.LightFields;

/**
 * The screen on which a film of high dynamic range was made. What is unknown consists of fractions that contain a 0.
 * Immutable, for any thread.
 *
 * @param red the screen's red
 * @param green the screen's green
 * @param blue the screen's blue
 * @param white the screen's white
 * @param minimum luminance of its black, in candela for a square metre
 * @param maximum luminance of its white, in candela for a square metre
 */
public record MasteringDisplay(Point red, Point green, Point blue, Point white, Rational minimum, Rational maximum) {

    private static final int FRACTION = 2;
    private static final int POINT = 2 * FRACTION;

    /**
     * A colour's place in the diagram of the CIE of 1931.
     *
     * @param x its first coordinate, from 0 to 1
     * @param y its second coordinate, from 0 to 1
     */
    public record Point(Rational x, Rational y) {

        /**
         * Makes a place.
         *
         * @param x its first coordinate, from 0 to 1
         * @param y its second coordinate, from 0 to 1
         * @throws NullPointerException when something is null
         */
        public Point {
            Objects.requireNonNull(x, "x");
            Objects.requireNonNull(y, "y");
        }
    }

    /**
     * Makes a screen.
     *
     * @param red the screen's red
     * @param green the screen's green
     * @param blue the screen's blue
     * @param white the screen's white
     * @param minimum luminance of its black, in candela for a square metre
     * @param maximum luminance of its white, in candela for a square metre
     * @throws NullPointerException when something is null
     */
    public MasteringDisplay {
        Objects.requireNonNull(red, "red");
        Objects.requireNonNull(green, "green");
        Objects.requireNonNull(blue, "blue");
        Objects.requireNonNull(white, "white");
        Objects.requireNonNull(minimum, "minimum");
        Objects.requireNonNull(maximum, "maximum");
    }

    /** @param fields laid out as {@link LightFields}; null when the stream says nothing */
    static Optional<MasteringDisplay> of(long[] fields) {
        if (fields == null || fields[LightFields.HAS_COLORS] == 0 && fields[LightFields.HAS_LUMINANCE] == 0) {
            return Optional.empty();
        }
        return Optional.of(new MasteringDisplay(point(fields, 0), point(fields, 1), point(fields, 2), point(fields, 3),
                fraction(fields, LightFields.LUMINANCE), fraction(fields, LightFields.LUMINANCE + FRACTION)));
    }

    private static Point point(long[] fields, int number) {
        int at = LightFields.COLORS + POINT * number;
        return new Point(fraction(fields, at), fraction(fields, at + FRACTION));
    }

    private static Rational fraction(long[] fields, int at) {
        return new Rational(fields[at], fields[at + 1]);
    }
}
