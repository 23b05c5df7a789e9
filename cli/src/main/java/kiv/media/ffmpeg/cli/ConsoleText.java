package kiv.media.ffmpeg.cli;

import java.math.BigDecimal;
import java.math.RoundingMode;
import java.time.Duration;
import java.util.Locale;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Rational;

/** Formats streams, sizes and times for the lines that commands print. */
final class ConsoleText {

    private static final int KILO = 1000;
    private static final int NANOS = 9;
    private static final int MICROS = 6;

    private ConsoleText() {
    }

    /** Names a kind of data. */
    static String kind(MediaKind kind) {
        return kind.name().toLowerCase(Locale.ROOT);
    }

    /** Returns the codec's name, with its four-character code when that is readable. */
    static String codec(MediaStream stream) {
        String code = FourCharacterCode.toText(stream.codecTag());
        return code.startsWith("0x") ? stream.codecName() : stream.codecName() + " (" + code + ")";
    }

    /** Returns sample rate and channels. */
    static String sound(MediaStream stream) {
        return stream.sampleRate() + " Hz, " + stream.channels() + (stream.channels() == 1 ? " channel" : " channels");
    }

    /** Returns the size of pictures as they are stored, and how players show them. */
    static String size(MediaStream stream) {
        StringBuilder text = new StringBuilder().append(stream.width()).append('x').append(stream.height());
        Rational shape = stream.pixelAspectRatio();
        if (shape.isKnown() && shape.numerator() != shape.denominator()) {
            text.append(", pixels ").append(shape.numerator()).append(':').append(shape.denominator());
        }
        if (stream.isMirrored()) {
            text.append(", mirrored");
        }
        if (stream.rotation() != 0) {
            text.append(", turned ").append(stream.rotation()).append(" degrees");
        }
        if (stream.shownWidth() != stream.width() || stream.shownHeight() != stream.height()) {
            text.append(", shown as ").append(stream.shownWidth()).append('x').append(stream.shownHeight());
        }
        return text.toString();
    }

    /** Returns size, rate and number of the pictures. */
    static String pictures(MediaStream stream) {
        StringBuilder text = new StringBuilder(size(stream));
        if (stream.isAttachedPicture()) {
            return text.append(", attached picture").toString();
        }
        if (stream.frameRate().isKnown()) {
            text.append(String.format(Locale.ROOT, ", %.4g pictures/s", stream.frameRate().toDouble()));
        }
        if (stream.frameCount() > 0) {
            text.append(", ").append(stream.frameCount()).append(" pictures");
        }
        return text.toString();
    }

    /** Returns a number of bytes in the unit that suits it, with three digits. */
    static String size(double bytes) {
        String[] units = {"bytes", "kB", "MB", "GB", "TB", "PB", "EB"};
        int unit = 0;
        while (bytes >= KILO && unit < units.length - 1) {
            bytes /= KILO;
            unit++;
        }
        int decimals = unit == 0 || bytes >= KILO / 10 ? 0 : bytes >= KILO / 100 ? 1 : 2;
        return String.format(Locale.ROOT, "%." + decimals + "f %s", bytes, units[unit]);
    }

    static String bitRate(long bitsPerSecond) {
        return bitsPerSecond < KILO ? bitsPerSecond + " bit/s"
                : Math.round((double) bitsPerSecond / KILO) + " kbit/s";
    }

    /** Returns seconds with six decimals. */
    static String seconds(Duration duration) {
        return BigDecimal.valueOf(duration.getSeconds()).add(BigDecimal.valueOf(duration.getNano(), NANOS))
                .setScale(MICROS, RoundingMode.HALF_UP).toPlainString();
    }

    /** Returns hours, minutes, seconds and milliseconds. */
    static String clock(Duration duration) {
        return (duration.isNegative() ? "-" : "") + clockOf(duration.abs());
    }

    private static String clockOf(Duration duration) {
        return String.format(Locale.ROOT, "%d:%02d:%02d.%03d", duration.toHours(), duration.toMinutesPart(),
                duration.toSecondsPart(), duration.toMillisPart());
    }

    /** Returns the number of damaged packets as the end of a line, or nothing when there are none. */
    static String damaged(long packets) {
        return packets == 0 ? "" : "; " + packets + (packets == 1 ? " damaged packet" : " damaged packets")
                + " skipped";
    }

    /** Returns why a packet could not be decoded, to follow a message; nothing when it is only damaged. */
    static String reason(DecodeException failure) {
        return failure.getCause() == null ? "" : ": " + failure.getMessage();
    }
}
