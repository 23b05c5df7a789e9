package kiv.media.ffmpeg;

import java.time.Duration;
import java.util.Optional;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;

/**
 * One stream of a container: what it carries and how. Immutable, and usable after its {@link MediaReader} is closed.
 * Figures that the container does not tell are 0, unknown fractions have a 0 in them. Any thread may use it.
 *
 * <pre>{@code
 * for (MediaStream stream : reader.streams()) {
 *     System.out.println(stream.index() + ": " + stream.kind() + " " + stream.codecName()
 *             + stream.duration().map(length -> ", " + length.toSeconds() + " s").orElse(""));
 * }
 * }</pre>
 */
public final class MediaStream {

    private static final int ATTACHED_PICTURE = 0x400;

    private final int index;
    private final long[] fields;
    private final String codecName;
    private final byte[] extradata;

    /**
     * Takes over what the native reader tells.
     *
     * @param index the stream's index
     * @param fields as in {@link c_mediareader_ffmpeg#n_reader_get_stream}
     * @param codecName as in {@link c_mediareader_ffmpeg#n_reader_get_codec_name}
     * @param extradata as in {@link c_mediareader_ffmpeg#n_reader_get_extradata}
     */
    MediaStream(int index, long[] fields, String codecName, byte[] extradata) {
        this.index = index;
        this.fields = fields.clone();
        this.codecName = codecName;
        this.extradata = extradata.clone();
    }

    /** {@return the stream's place in {@link MediaReader#streams()}, from 0} */
    public int index() {
        return index;
    }

    /** {@return what it carries} */
    public MediaKind kind() {
        return MediaKind.of(fields[0]);
    }

    /** {@return FFmpeg's number of the codec} */
    public int codecId() {
        return (int) fields[1];
    }

    /** {@return FFmpeg's short name of the codec, such as {@code h264}} */
    public String codecName() {
        return codecName;
    }

    /**
     * {@return the four-character code with its first character in the low byte, or a WAVE format tag, or 0}
     *
     * @see FourCharacterCode
     */
    public int codecTag() {
        return (int) fields[2];
    }

    /** {@return width of the pictures in pixels} */
    public int width() {
        return (int) fields[3];
    }

    /** {@return height of the pictures in pixels} */
    public int height() {
        return (int) fields[4];
    }

    /** {@return pictures a second, on average} */
    public Rational frameRate() {
        return new Rational(fields[5], fields[6]);
    }

    /** {@return the unit of the stream's times, in seconds} */
    public Rational timeBase() {
        return new Rational(fields[7], fields[8]);
    }

    /** {@return length of the stream; empty when it is unknown or beyond what a duration can hold} */
    public Optional<Duration> duration() {
        return time(fields[9]);
    }

    /** {@return where the stream's times begin; empty when it is unknown or beyond what a duration can hold} */
    public Optional<Duration> startTime() {
        return time(fields[10]);
    }

    /** {@return bits a second} */
    public long bitRate() {
        return fields[11];
    }

    /** {@return samples a second and channel} */
    public int sampleRate() {
        return (int) fields[12];
    }

    /** {@return number of sound channels} */
    public int channels() {
        return (int) fields[13];
    }

    /** {@return bits of a coded sample, or of a pixel for video} */
    public int bitsPerCodedSample() {
        return (int) fields[14];
    }

    /** {@return bytes of the smallest unit of coded sound} */
    public int blockAlign() {
        return (int) fields[15];
    }

    /** {@return how many pictures the container claims to hold} */
    public long frameCount() {
        return fields[16];
    }

    /** {@return width of a pixel to its height; unknown mostly means 1} */
    public Rational pixelAspectRatio() {
        return new Rational(fields[17], fields[18]);
    }

    /** {@return FFmpeg's number of the codec's profile; negative when unknown} */
    public int profile() {
        return (int) fields[19];
    }

    /** {@return whether this is no film but a picture that goes with a sound file, such as a record's cover} */
    public boolean isAttachedPicture() {
        return (fields[20] & ATTACHED_PICTURE) != 0;
    }

    /** {@return FFmpeg's number of the pixel format or the sample format; -1 when unknown} */
    public int sampleFormat() {
        return (int) fields[21];
    }

    /** {@return whether the loaded FFmpeg has a decoder for the codec} */
    public boolean isDecodable() {
        return fields[22] != 0;
    }

    /** {@return the codec's private data, as a new array; empty when there is none} */
    public byte[] extradata() {
        return extradata.clone();
    }

    /**
     * Turns a time of this stream into a duration from the container's zero.
     *
     * @param time in units of {@link #timeBase()}, or {@link Packet#NO_TIME}
     * @return the duration; empty for no time, no time base, or a time beyond what a duration can hold
     */
    public Optional<Duration> time(long time) {
        return timeBase().time(time);
    }

    @Override
    public String toString() {
        return "MediaStream[" + index + ": " + kind() + " " + codecName
                + (kind() == MediaKind.VIDEO ? " " + width() + "x" + height() : "") + "]";
    }
}
