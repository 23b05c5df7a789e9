package kiv.media.ffmpeg.cli;

import java.time.Duration;
import java.util.Locale;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.WaveFormatTags;

/** How things are put into words. */
final class Texts {

    private static final int BITS_PER_KILOBIT = 1000;

    private Texts() {
    }

    /** The codec's name, with its four-character code when it has a readable one. */
    static String codec(MediaStream stream) {
        String code = FourCharacterCode.toText(stream.codecTag());
        return code.startsWith("0x") ? stream.codecName() : stream.codecName() + " (" + code + ")";
    }

    /** Rate and channels. */
    static String sound(MediaStream stream) {
        return sound(stream.sampleRate(), stream.channels());
    }

    static String sound(int sampleRate, int channels) {
        return sampleRate + " Hz, " + channels + (channels == 1 ? " channel" : " channels");
    }

    /** Size, rate and number. */
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

    /** Whether a decoder of this library takes the stream. */
    static boolean isSupported(MediaStream stream) {
        return stream.isDecodable() && switch (stream.kind()) {
            case VIDEO -> MediaSubtypes.find(stream).isPresent();
            case AUDIO -> WaveFormatTags.find(stream).isPresent();
            default -> false;
        };
    }

    static boolean isMedia(MediaStream stream) {
        return stream.kind() == MediaKind.VIDEO || stream.kind() == MediaKind.AUDIO;
    }

    static String bitRate(long bitsPerSecond) {
        return bitsPerSecond < BITS_PER_KILOBIT ? bitsPerSecond + " bit/s"
                : Math.round((double) bitsPerSecond / BITS_PER_KILOBIT) + " kbit/s";
    }

    /** Hours, minutes, seconds and milliseconds. */
    static String clock(Duration duration) {
        return (duration.isNegative() ? "-" : "") + clockOf(duration.abs());
    }

    private static String clockOf(Duration duration) {
        return String.format(Locale.ROOT, "%d:%02d:%02d.%03d", duration.toHours(), duration.toMinutesPart(),
                duration.toSecondsPart(), duration.toMillisPart());
    }

    /** Damaged packets as the end of a line, or nothing. */
    static String damaged(long packets) {
        return packets == 0 ? "" : "; " + packets + (packets == 1 ? " damaged packet" : " damaged packets")
                + " skipped";
    }
}
