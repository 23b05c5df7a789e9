package kiv.media.ffmpeg.cli.report;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.time.Duration;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.concurrent.atomic.AtomicReference;
import java.util.function.Supplier;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.cli.report.ContactSheet.Thumbnail;

/**
 * Collects what is decoded of a file and shows it on a page of HTML: a contact sheet, the sound's waveform, players,
 * tables of streams and timings. It keeps a few thumbnails and a few thousand samples, however long the film is.
 *
 * <pre>{@code
 * DecodeReport report = new DecodeReport("film.mp4", reader, video, sound);
 * report.picture(picture, "film-00001.png");
 * report.sound(0, 48_000, 2, pcm);
 * report.write(page, new Outcome(List.of(new Timing("Decoding", time)), 0, 0, List.of()));
 * }</pre>
 *
 * <p>One thread at a time may use it.
 */
public final class DecodeReport {

    private final String name;
    private final MediaReader reader;
    private final MediaStream video;
    private final MediaStream audio;
    private final ContactSheet all = new ContactSheet();
    private final ContactSheet linked = new ContactSheet();
    private Waveform waveform;
    private double firstShown = Double.POSITIVE_INFINITY;
    private double lastShown = Double.NEGATIVE_INFINITY;
    private double soundBegins;
    private String sourceLink;
    private String soundLink;

    /**
     * How long a part of the work took.
     *
     * @param what its name, such as {@code Decoding}
     * @param time how long it took
     */
    public record Timing(String what, Duration time) {
        public Timing {
            Objects.requireNonNull(what, "what");
            Objects.requireNonNull(time, "time");
        }
    }

    /**
     * How the decoding went.
     *
     * @param timings the parts of the work, the most interesting one first; may be empty
     * @param damagedPictures packets of the pictures' stream that could not be decoded
     * @param damagedSound packets of the sound's stream that could not be decoded
     * @param warnings what else the reader of the page must know, in one sentence each
     */
    public record Outcome(List<Timing> timings, long damagedPictures, long damagedSound, List<String> warnings) {
        public Outcome {
            timings = List.copyOf(timings);
            warnings = List.copyOf(warnings);
        }
    }

    /**
     * Begins a report.
     *
     * @param name the file's name; any characters
     * @param reader its reader, which may be closed before the report is written
     * @param video the stream whose pictures are decoded, or null
     * @param audio the stream whose sound is decoded, or null
     */
    public DecodeReport(String name, MediaReader reader, MediaStream video, MediaStream audio) {
        this.name = Objects.requireNonNull(name, "name");
        this.reader = Objects.requireNonNull(reader, "reader");
        this.video = video;
        this.audio = audio;
    }

    /**
     * Takes a decoded picture. Call it for every picture, in order; the picture is used only until this returns.
     *
     * @param picture the picture, which stays the caller's
     * @param link the picture's own file, relative to the page, or null when there is none
     * @throws kiv.media.ffmpeg.MediaStateException when the picture is closed
     */
    public void picture(Picture picture, String link) {
        long number = all.pictures() + 1;
        Supplier<Thumbnail> thumbnail = once(() -> ContactSheet.thumbnail(picture, number, link));
        all.add(thumbnail);
        if (link != null) {
            linked.add(thumbnail);
        }
        picture.time().ifPresent(time -> {
            double begins = PageText.inSeconds(time);
            firstShown = Math.min(firstShown, begins);
            lastShown = Math.max(lastShown, begins + lengthOf(picture));
        });
    }

    /** Makes a value when it is first wanted, because both sheets may want the same thumbnail. */
    private static <T> Supplier<T> once(Supplier<T> maker) {
        AtomicReference<T> made = new AtomicReference<>();
        return () -> made.updateAndGet(old -> old == null ? maker.get() : old);
    }

    private double lengthOf(Picture picture) {
        return video == null ? 0 : picture.duration() > 0 && video.timeBase().isKnown()
                ? picture.duration() * video.timeBase().toDouble() : secondsAPicture();
    }

    private double secondsAPicture() {
        return video != null && video.frameRate().isKnown() ? 1 / video.frameRate().toDouble() : 0;
    }

    /**
     * Takes decoded sound. Call it for all of the sound, in order.
     *
     * @param seconds when it is heard, on the container's clock
     * @param sampleRate samples of a channel a second
     * @param channels number of channels
     * @param pcm interleaved samples of 16 bits, little-endian
     * @throws IllegalArgumentException when it has other channels or another sample rate than the one before
     */
    public void sound(double seconds, int sampleRate, int channels, ByteBuffer pcm) {
        if (waveform == null) {
            waveform = new Waveform(channels, sampleRate);
            soundBegins = seconds;
        }
        waveform.add(sampleRate, channels, pcm);
    }

    /**
     * Lets the page play what lies beside it. It loads that only when somebody plays it.
     *
     * @param source the decoded file, relative to the page, or null when there is none
     * @param sound a WAV file of the decoded sound, relative to the page, or null when there is none
     */
    public void players(String source, String sound) {
        sourceLink = source;
        soundLink = sound;
    }

    /**
     * Writes the page.
     *
     * @param to receives the page, whose text must be encoded in UTF-8; it stays open
     * @param outcome how the decoding went
     * @throws IOException when it cannot be written
     */
    public void write(Appendable to, Outcome outcome) throws IOException {
        Objects.requireNonNull(outcome, "outcome");
        new ReportPage(this, outcome).render(to);
    }

    String name() {
        return name;
    }

    MediaReader reader() {
        return reader;
    }

    Optional<MediaStream> video() {
        return Optional.ofNullable(video);
    }

    Optional<MediaStream> audio() {
        return Optional.ofNullable(audio);
    }

    /** Returns the decoded file, relative to the page. */
    Optional<String> sourceLink() {
        return Optional.ofNullable(sourceLink);
    }

    /** Returns the file of the decoded sound, relative to the page. */
    Optional<String> soundLink() {
        return Optional.ofNullable(soundLink);
    }

    /** Returns the sheet that represents the film: of the pictures that have files, unless they are too few. */
    ContactSheet sheet() {
        return linked.pictures() >= ContactSheet.LARGEST / 4 ? linked : all;
    }

    long pictures() {
        return all.pictures();
    }

    /** Returns how many of the pictures have a file. */
    long linkedPictures() {
        return linked.pictures();
    }

    Optional<Waveform> waveform() {
        return Optional.ofNullable(waveform);
    }

    /** Returns when the waveform begins on the container's clock, in seconds. */
    double soundBegins() {
        return soundBegins;
    }

    /** Returns how many seconds of film or sound were decoded; 0 when that is unknown. */
    double played() {
        double pictures = firstShown < lastShown ? lastShown - firstShown : all.pictures() * secondsAPicture();
        return Math.max(pictures, waveform == null ? 0 : waveform.seconds());
    }
}
