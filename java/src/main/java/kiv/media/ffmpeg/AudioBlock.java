package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.FloatBuffer;
import java.nio.IntBuffer;
import java.nio.ShortBuffer;
import java.time.Duration;
import java.util.Optional;

/**
 * A block of decoded sound: interleaved PCM, of 16 bits unless the decoder was opened for others. A frame is one sample
 * of each channel. A block is immutable, owns its memory and does not depend on its decoder. Any thread may use it.
 *
 * <pre>{@code
 * ShortBuffer samples = block.samples();
 * for (int frame = 0; frame < block.frames(); frame++) {
 *     draw(samples.get(frame * block.channels())); // the first channel, on the left
 * }
 * }</pre>
 */
public final class AudioBlock {

    private final byte[] pcm;
    private final SampleFormat format;
    private final int sampleRate;
    private final int channels;
    private final long timestamp;
    private final Rational timeBase;

    /**
     * Keeps the array without a copy.
     *
     * @param pcm whole frames, little-endian
     * @param timestamp when the first frame starts, in units of the time base, or {@link Packet#NO_TIME}
     */
    AudioBlock(byte[] pcm, SampleFormat format, int sampleRate, int channels, long timestamp, Rational timeBase) {
        this.pcm = pcm;
        this.format = format;
        this.sampleRate = sampleRate;
        this.channels = channels;
        this.timestamp = timestamp;
        this.timeBase = timeBase;
    }

    /** {@return the kind of its samples} */
    public SampleFormat sampleFormat() {
        return format;
    }

    /** {@return samples per second and channel} */
    public int sampleRate() {
        return sampleRate;
    }

    /** {@return number of channels} */
    public int channels() {
        return channels;
    }

    /** {@return number of frames, which is the number of samples of each channel} */
    public int frames() {
        return pcm.length / (channels * format.bytes());
    }

    /** {@return a read-only view of the PCM in bytes, little-endian} */
    public ByteBuffer data() {
        return ByteBuffer.wrap(pcm).asReadOnlyBuffer().order(ByteOrder.LITTLE_ENDIAN);
    }

    /** {@return a copy of the PCM in bytes, little-endian, as JavaSound's lines and streams take it} */
    public byte[] toBytes() {
        return pcm.clone();
    }

    /**
     * {@return a read-only view of the samples, interleaved}
     *
     * @throws MediaStateException when they are not {@link SampleFormat#PCM_16}
     */
    public ShortBuffer samples() {
        check(SampleFormat.PCM_16);
        return data().asShortBuffer();
    }

    /**
     * {@return a read-only view of the samples, interleaved}
     *
     * @throws MediaStateException when they are not {@link SampleFormat#PCM_32}
     */
    public IntBuffer ints() {
        check(SampleFormat.PCM_32);
        return data().asIntBuffer();
    }

    /**
     * {@return a read-only view of the samples, interleaved}
     *
     * @throws MediaStateException when they are not {@link SampleFormat#FLOAT}
     */
    public FloatBuffer floats() {
        check(SampleFormat.FLOAT);
        return data().asFloatBuffer();
    }

    private void check(SampleFormat wanted) {
        if (format != wanted) {
            throw new MediaStateException("the samples are " + format + ", not " + wanted
                    + "; open the decoder for them");
        }
    }

    /** {@return when it starts, in units of the stream's time base, or {@link Packet#NO_TIME} when that is unknown} */
    public long timestamp() {
        return timestamp;
    }

    /** {@return when it starts on the container's time line; empty when unknown or beyond the range of a duration} */
    public Optional<Duration> time() {
        return timeBase.time(timestamp);
    }

    /** {@return its duration} */
    public Duration duration() {
        return new Rational(1, sampleRate).times(frames());
    }

    /** The array itself, which callers only read. */
    byte[] pcm() {
        return pcm;
    }

    @Override
    public String toString() {
        return "AudioBlock[" + frames() + " frames, " + sampleRate + " Hz, " + channels
                + (channels == 1 ? " channel]" : " channels]");
    }
}
