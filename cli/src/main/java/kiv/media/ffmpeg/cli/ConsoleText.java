package kiv.media.ffmpeg.cli;

import java.time.Duration;
import java.util.Locale;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaStream;

/** Formats streams, sizes and times for the lines that commands print. */
final class ConsoleText {

    private static final int BITS_PER_KILOBIT = 1000;

    private ConsoleText() {
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

    /** Returns size, rate and number of the pictures. */
    static String pictures(MediaStream stream) {
        StringBuilder text = new StringBuilder().append(stream.width()).append('x').append(stream.height());
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

    static String bitRate(long bitsPerSecond) {
        return bitsPerSecond < BITS_PER_KILOBIT ? bitsPerSecond + " bit/s"
                : Math.round((double) bitsPerSecond / BITS_PER_KILOBIT) + " kbit/s";
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
