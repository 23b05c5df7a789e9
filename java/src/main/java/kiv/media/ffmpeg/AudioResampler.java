package kiv.media.ffmpeg;

import java.io.ByteArrayOutputStream;
import java.util.Objects;
import kiv.media.ffmpeg.wall.Resampler;

/**
 * Changes the sample rate of decoded sound, for encoders that do not take its own.
 *
 * <pre>{@code
 * try (AudioResampler resampler = AudioResampler.open(44_100, 48_000, 2, SampleFormat.PCM_16)) {
 *     for (AudioBlock block : blocks) {
 *         file.write(encoder.encode(resampler.resample(block)));
 *     }
 *     file.write(encoder.encode(resampler.finish()));
 * }
 * }</pre>
 *
 * <p>A resampler may move from thread to thread, but two threads must not call it at the same time: the second one gets a
 * {@link MediaStateException}. So does each call after {@link #close()}.
 */
public final class AudioResampler implements AutoCloseable {

    private static final int MOST_CHANNELS = 32;
    /** Bytes of one native call, so that its output fits into an array. */
    private static final int PIECE = 1 << 20;

    private final NativeHandle<Resampler> handle;
    private final int from;
    private final int channels;
    private final SampleFormat samples;
    private boolean finished;

    private AudioResampler(Resampler made, int from, int channels, SampleFormat samples) {
        this.handle = new NativeHandle<>("resampler", this, made, Resampler::delete);
        this.from = from;
        this.channels = channels;
        this.samples = samples;
    }

    /**
     * Opens a resampler.
     *
     * @param from samples per second and channel of the sound
     * @param to samples per second and channel that are wanted; less than 64 times more or less, and both at most a million
     *     unless they are equal
     * @param channels number of channels, 1 to 32
     * @param samples the kind of the samples, before and after
     * @return the resampler, to be closed
     * @throws IllegalArgumentException when a number is out of its range, or the rates are too far apart
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioResampler open(int from, int to, int channels, SampleFormat samples) {
        return open(from, to, channels, samples, Isolation.usual());
    }

    /**
     * Opens a resampler in a place of the caller's. Otherwise as {@link #open(int, int, int, SampleFormat)}.
     *
     * @param from samples per second and channel of the sound
     * @param to samples per second and channel that are wanted
     * @param channels number of channels, 1 to 32
     * @param samples the kind of the samples, before and after
     * @param isolation where the resampler works
     * @return the resampler, to be closed
     * @throws IllegalArgumentException when a number is out of its range, or the rates are too far apart
     */
    public static AudioResampler open(int from, int to, int channels, SampleFormat samples, Isolation isolation) {
        Objects.requireNonNull(samples, "samples");
        Objects.requireNonNull(isolation, "isolation");
        if (channels < 1 || channels > MOST_CHANNELS || from < 1 || to < 1) {
            throw new IllegalArgumentException("no change of " + channels + " channels from " + from + " Hz to " + to
                    + " Hz");
        }
        try {
            return new AudioResampler(isolation.place().createResampler(samples.number(), channels, from, to), from,
                    channels, samples);
        } catch (MediaException e) {
            throw e;
        } catch (RuntimeException e) {
            throw new IllegalArgumentException("no change of " + channels + " channels from " + from + " Hz to " + to
                    + " Hz: " + MediaException.plain(e), e);
        }
    }

    /**
     * Changes the rate of a block of sound. Some samples stay in the resampler until the next call.
     *
     * @param block sound of the resampler's rate, channels and kind of samples
     * @return PCM of the wanted rate, of the same kind
     * @throws IllegalArgumentException when the block is of another kind
     * @throws MediaStateException when the resampler is finished, closed or in use
     * @throws MediaException when there is no memory left
     */
    public byte[] resample(AudioBlock block) {
        if (Objects.requireNonNull(block, "block").sampleRate() != from || block.channels() != channels
                || block.sampleFormat() != samples) {
            throw new IllegalArgumentException(block + " is not " + from + " Hz, " + channels + " channels of the kind "
                    + samples);
        }
        byte[] pcm = block.pcm();
        return call(made -> {
            int piece = PIECE / (channels * samples.bytes()) * channels * samples.bytes();
            ByteArrayOutputStream out = new ByteArrayOutputStream();
            for (int at = 0; at < pcm.length; at += piece) {
                out.writeBytes(made.convert(pcm, at, Math.min(piece, pcm.length - at)));
            }
            return out.toByteArray();
        });
    }

    /**
     * Ends the sound.
     *
     * @return the samples that were kept
     * @throws MediaStateException when the resampler is finished, closed or in use
     * @throws MediaException when there is no memory left
     */
    public byte[] finish() {
        return call(made -> {
            finished = true;
            return made.convert(null, 0, 0);
        });
    }

    /** Frees the resampler. A second call does nothing. */
    @Override
    public void close() {
        handle.close();
    }

    private byte[] call(NativeHandle.Call<Resampler, byte[], RuntimeException> work) {
        return handle.call(made -> {
            if (finished) {
                throw new MediaStateException("the resampler is finished; open another one");
            }
            try {
                return work.on(made);
            } catch (RuntimeException | Error e) {
                throw MediaException.of(e, "resampling", MediaException::new);
            }
        });
    }
}
