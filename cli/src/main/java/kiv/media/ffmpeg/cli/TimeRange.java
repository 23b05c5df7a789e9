package kiv.media.ffmpeg.cli;

import java.math.BigDecimal;
import java.time.Duration;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import kiv.media.ffmpeg.MediaReader;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.TypeConversionException;

/**
 * A part of a file.
 *
 * @param from its first moment, counted from the file's beginning
 * @param to the first moment that is not in it, or null for the file's end
 */
record TimeRange(Duration from, Duration to) {

    /** Containers round times and the file's beginning, to microseconds at worst. */
    private static final Duration ROUNDING = Duration.ofNanos(1000);

    static final TimeRange ALL = new TimeRange(null, null);

    /** Returns the time on the container's clock from which people count. What lies before it is not to be heard. */
    static Duration beginning(MediaReader reader) {
        return reader.startTime().filter(start -> !start.isNegative()).orElse(Duration.ZERO);
    }

    boolean beginsBefore(Duration time) {
        return from == null || time.plus(ROUNDING).compareTo(from) >= 0;
    }

    boolean endsBefore(Duration time) {
        return to != null && time.plus(ROUNDING).compareTo(to) >= 0;
    }

    @Override
    public String toString() {
        return (from == null ? "from the beginning" : "from " + ConsoleText.clock(from))
                + (to == null ? "" : " to " + ConsoleText.clock(to));
    }

    /** Reads {@code 12}, {@code 12.5}, {@code 1:02.5} or {@code 1:02:03.456}. */
    static final class Converter implements ITypeConverter<Duration> {

        private static final Pattern TIME =
                Pattern.compile("(?:(?:(?<h>\\d{1,6}):)?(?<m>\\d{1,2}):)?(?<s>\\d{1,9}(?:\\.\\d{1,9})?)");
        private static final int SIXTY = 60;
        private static final int NANOS = 9;

        @Override
        public Duration convert(String text) {
            Matcher parts = TIME.matcher(text);
            if (!parts.matches()) {
                throw new TypeConversionException("'" + text + "' is no time; write seconds or h:mm:ss.mmm");
            }
            BigDecimal seconds = new BigDecimal(parts.group("s"));
            boolean inSixties = parts.group("m") == null || seconds.intValue() < SIXTY
                    && (parts.group("h") == null || number(parts, "m") < SIXTY);
            if (!inSixties) {
                throw new TypeConversionException("'" + text + "' is no time: an hour has 60 minutes of 60 seconds");
            }
            return Duration.ofHours(number(parts, "h")).plusMinutes(number(parts, "m"))
                    .plusNanos(seconds.movePointRight(NANOS).longValueExact());
        }

        private static int number(Matcher parts, String name) {
            return parts.group(name) == null ? 0 : Integer.parseInt(parts.group(name));
        }
    }
}
