package kiv.media.ffmpeg.cli.report;

import java.net.URI;
import java.net.URISyntaxException;
import java.time.Duration;
import java.util.List;
import java.util.Locale;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaStream;

/** Formats texts, figures and streams for the page. */
final class PageText {

    private static final double DECIBELS = 20;
    private static final int KILO = 1000;
    private static final List<List<String>> CHANNELS = List.of(List.of("Mono"), List.of("Left", "Right"),
            List.of("Left", "Right", "Centre"), List.of("Left", "Right", "Centre", "Back centre"),
            List.of("Left", "Right", "Centre", "Back left", "Back right"),
            List.of("Left", "Right", "Centre", "LFE", "Back left", "Back right"),
            List.of("Left", "Right", "Centre", "LFE", "Back centre", "Side left", "Side right"),
            List.of("Left", "Right", "Centre", "LFE", "Back left", "Back right", "Side left", "Side right"));

    private PageText() {
    }

    /** Returns the reference to a file beside the page, whatever its name is. */
    static String reference(String link) {
        try {
            // With the dot in front, no browser takes what stands before a colon for a protocol.
            return new URI(null, null, "./" + link, null).getRawPath();
        } catch (URISyntaxException e) {
            throw new IllegalArgumentException("no relative path: " + link, e);
        }
    }

    static double inSeconds(Duration time) {
        return time.getSeconds() + time.getNano() / 1e9;
    }

    /** Returns minutes, seconds and milliseconds, and hours when there are any. */
    static String clock(Duration time) {
        return seconds(time) + String.format(Locale.ROOT, ".%03d", time.abs().toMillisPart());
    }

    /** Returns minutes and whole seconds, and hours when there are any. */
    static String seconds(Duration time) {
        Duration size = time.abs();
        String sign = time.isNegative() ? "\u2212" : "";
        return sign + (size.toHours() > 0
                ? String.format(Locale.ROOT, "%d:%02d:%02d", size.toHours(), size.toMinutesPart(), size.toSecondsPart())
                : String.format(Locale.ROOT, "%d:%02d", size.toMinutes(), size.toSecondsPart()));
    }

    /** Returns a count with separators between the thousands. */
    static String count(long number) {
        return String.format(Locale.ROOT, "%,d", number);
    }

    /** Returns a count of things. */
    static String count(long number, String thing) {
        return count(number) + " " + thing + (number == 1 ? "" : "s");
    }

    /** Returns a figure with about three digits. */
    static String figure(double value) {
        return value >= 100 ? count(Math.round(value))
                : String.format(Locale.ROOT, value >= 10 ? "%.1f" : "%.2f", value);
    }

    /** Returns how long something took. */
    static String took(Duration time) {
        double seconds = inSeconds(time);
        return seconds < 1 ? figure(seconds * KILO) + " ms" : figure(seconds) + " s";
    }

    /** Returns a level in decibels relative to full scale. */
    static String level(double size) {
        return size <= 0 ? "silent" : String.format(Locale.ROOT, "%.1f dBFS",
                Math.min(0, DECIBELS * Math.log10(size / Waveform.FULL_SCALE))).replace('-', '\u2212');
    }

    /** Returns a channel's name in the usual layout of so many channels, in which decoders deliver them. */
    static String channel(int index, int channels) {
        return channels <= CHANNELS.size() ? CHANNELS.get(channels - 1).get(index) : "Channel " + (index + 1);
    }

    /** Returns the codec's name, with its four-character code when that is readable. */
    static String codec(MediaStream stream) {
        String code = FourCharacterCode.toText(stream.codecTag());
        return VisibleText.of(code.startsWith("0x") ? stream.codecName() : stream.codecName() + " (" + code + ")");
    }

    /** Returns the size and rate of pictures, or the rate and channels of sound. */
    static String format(MediaStream stream) {
        if (stream.kind() == MediaKind.VIDEO) {
            boolean same = stream.shownWidth() == stream.width() && stream.shownHeight() == stream.height();
            String turned = stream.rotation() == 0 ? "" : ", turned " + stream.rotation() + " degrees";
            String shown = same ? "" : ", shown as " + stream.shownWidth() + "\u00d7" + stream.shownHeight();
            return stream.width() + "\u00d7" + stream.height() + turned + shown + (stream.frameRate().isKnown()
                    ? String.format(Locale.ROOT, ", %.4g pictures/s", stream.frameRate().toDouble()) : "");
        }
        return stream.kind() == MediaKind.AUDIO ? stream.sampleRate() + " Hz, " + count(stream.channels(), "channel")
                : "\u2013";
    }

    /** Returns a bit rate, or a dash when it is unknown. */
    static String bitRate(long rate) {
        return rate > 0 ? count(Math.round((double) rate / KILO)) + " kbit/s" : "\u2013";
    }
}
