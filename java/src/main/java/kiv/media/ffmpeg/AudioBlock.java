package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ShortBuffer;
import java.time.Duration;
import java.util.Optional;

/**
 * A piece of decoded sound: interleaved PCM of 16 bits. A frame of it is one sample of each channel. It owns its
 * memory, is independent of its decoder, and does not change; any thread may use it.
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
    private final int sampleRate;
    private final int channels;
    private final long timestamp;
    private final Rational timeBase;

    /**
     * Takes over sound from the library.
     *
     * @param pcm whole frames, each sample with its low byte first
     * @param timestamp when the first frame is heard, in units of the time base, or {@link Packet#NO_TIME}
     */
    AudioBlock(byte[] pcm, int sampleRate, int channels, long timestamp, Rational timeBase) {
        this.pcm = pcm;
        this.sampleRate = sampleRate;
        this.channels = channels;
        this.timestamp = timestamp;
        this.timeBase = timeBase;
    }

    /** {@return samples a second and channel} */
    public int sampleRate() {
        return sampleRate;
    }

    /** {@return number of channels} */
    public int channels() {
        return channels;
    }

    /** {@return number of frames, that is of samples of each channel} */
    public int frames() {
        return pcm.length / (channels * Short.BYTES);
    }

    /** {@return the PCM as bytes, the low byte of a sample first, read-only and without a copy} */
    public ByteBuffer data() {
        return ByteBuffer.wrap(pcm).asReadOnlyBuffer().order(ByteOrder.LITTLE_ENDIAN);
    }

    /** {@return the samples, those of a frame one after the other, read-only and without a copy} */
    public ShortBuffer samples() {
        return data().asShortBuffer();
    }

    /** {@return when it begins, in the stream's time base, or {@link Packet#NO_TIME} when that is unknown} */
    public long timestamp() {
        return timestamp;
    }

    /** {@return when it begins, from the container's zero; empty when unknown or beyond what a duration can hold} */
    public Optional<Duration> time() {
        return timeBase.time(timestamp);
    }

    /** {@return how long it lasts} */
    public Duration duration() {
        return new Rational(1, sampleRate).times(frames());
    }

    /** The array itself, for those who only read it. */
    byte[] pcm() {
        return pcm;
    }

    @Override
    public String toString() {
        return "AudioBlock[" + frames() + " frames, " + sampleRate + " Hz, " + channels
                + (channels == 1 ? " channel]" : " channels]");
    }
}
