package kiv.media.ffmpeg;

import java.io.Closeable;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Objects;

/**
 * The sound of a file, any part of it in any order.
 *
 * <pre>{@code
 * try (Sound sound = Sound.open(Path.of("song.mp3"))) {
 *     AudioBlock refrain = sound.samples(Duration.ofSeconds(61), Duration.ofMillis(74_500));
 * }
 * }</pre>
 *
 * <p>Sample number i of each channel, from 0, is the one that decoding the whole audio stream with
 * {@link AudioDecoder#blocks} gives after i others, with the same value. What is not to be heard is not counted. Codecs
 * depend on what was decoded before, some of them without an end. So the first request decodes everything up to the wanted
 * part, which is fast for sound, and keeps a checksum of each packet's samples, some 60 bytes a packet. Each later request
 * begins shortly before its part, and returns only samples that are the same as at first; where they are not, it begins further
 * back. What was learned can be {@linkplain #saveIndex saved}, so that the first request of another time need not decode
 * everything.
 *
 * <p>A sample is heard at the time of the block that it comes with, and those behind it follow at the sample rate. Times that
 * differ by less than a twentieth of a second from that are taken for rounded by the container; more is a gap.
 *
 * <p>One thread at a time uses a sound: a second one gets a {@link MediaStateException}. So does each call after
 * {@link #close()}. Blocks do not depend on the sound.
 */
public final class Sound implements Closeable {

    private static final int MOST_BYTES = Integer.MAX_VALUE - 64;

    /** Stands for the first audio stream. */
    private static final int FIRST = -1;

    private final MediaStream stream;
    private final String formatName;
    private final SeekableByteChannel channel;
    private final SampleFormat samples;
    private final SoundDecoder decoder;
    private final ExclusiveAccess access = new ExclusiveAccess("sound");

    private Sound(SeekableByteChannel channel, int index, SampleFormat samples, ReaderLimits limits, Isolation isolation)
            throws IOException {
        this.channel = channel;
        this.samples = samples;
        Workplace place = isolation.place();
        MediaReader reader = MediaReader.open(new SharedChannel(channel), limits, place);
        try {
            stream = index == FIRST ? reader.firstAudioOrThrow() : choose(reader, index);
            formatName = reader.formatName();
            decoder = new SoundDecoder(reader, stream, samples,
                    () -> MediaReader.open(new SharedChannel(channel), limits, place));
        } catch (Throwable e) {
            reader.release();
            throw e;
        }
    }

    /**
     * Opens the first audio stream of a file, in samples of 16 bits.
     *
     * @param file the file
     * @return the sound, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws MediaFormatException when it is no media file of a known kind, or has no sound
     * @throws UnsupportedCodecException when its sound cannot be decoded
     * @throws LibraryException when the library cannot be loaded
     */
    public static Sound open(Path file) throws IOException {
        return open(file, SampleFormat.PCM_16);
    }

    /**
     * Opens the first audio stream of a file. Otherwise as {@link #open(Path)}.
     *
     * @param file the file
     * @param samples the kind of the samples
     * @return the sound, which the caller closes
     * @throws IOException when the file cannot be read
     */
    public static Sound open(Path file, SampleFormat samples) throws IOException {
        return open(file, samples, Isolation.usual());
    }

    /**
     * Opens the first audio stream of a file in a place of the caller's. Otherwise as {@link #open(Path)}. The call that finds
     * the process of the sound ended throws a {@link WorkerException}, and so does each later one: open the sound again.
     *
     * @param file the file
     * @param samples the kind of the samples
     * @param isolation where the sound works
     * @return the sound, which the caller closes
     * @throws IOException when the file cannot be read
     */
    public static Sound open(Path file, SampleFormat samples, Isolation isolation) throws IOException {
        Objects.requireNonNull(samples, "samples");
        Objects.requireNonNull(isolation, "isolation");
        return MediaFile.open(file, channel -> open(channel, samples, ReaderLimits.USUAL, isolation));
    }

    /**
     * Opens an audio stream of a file, such as that of another language. Otherwise as {@link #open(Path)}.
     *
     * @param file the file
     * @param stream the stream's {@linkplain MediaStream#index() index}
     * @param samples the kind of the samples
     * @return the sound, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws IndexOutOfBoundsException when there is no such stream
     * @throws IllegalArgumentException when the stream is no audio stream
     */
    public static Sound open(Path file, int stream, SampleFormat samples) throws IOException {
        return open(file, stream, samples, Isolation.usual());
    }

    /**
     * Opens an audio stream of a file in a place of the caller's. Otherwise as {@link #open(Path, SampleFormat, Isolation)}.
     *
     * @param file the file
     * @param stream the stream's {@linkplain MediaStream#index() index}
     * @param samples the kind of the samples
     * @param isolation where the sound works
     * @return the sound, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws IndexOutOfBoundsException when there is no such stream
     * @throws IllegalArgumentException when the stream is no audio stream
     */
    public static Sound open(Path file, int stream, SampleFormat samples, Isolation isolation) throws IOException {
        Objects.requireNonNull(samples, "samples");
        Objects.requireNonNull(isolation, "isolation");
        return MediaFile.open(file, channel -> open(channel, stream, samples, ReaderLimits.USUAL, isolation));
    }

    /**
     * Opens the first audio stream of a channel. The sound uses the channel alone and closes it. When this method throws, the
     * channel stays open. Otherwise as {@link #open(Path)}.
     *
     * @param channel the bytes
     * @param samples the kind of the samples
     * @param limits what opening may cost
     * @return the sound, which the caller closes
     * @throws IOException when the channel cannot be read
     */
    public static Sound open(SeekableByteChannel channel, SampleFormat samples, ReaderLimits limits) throws IOException {
        return open(channel, samples, limits, Isolation.usual());
    }

    /**
     * Opens the first audio stream of a channel in a place of the caller's. Otherwise as
     * {@link #open(SeekableByteChannel, SampleFormat, ReaderLimits)} and {@link #open(Path, SampleFormat, Isolation)}.
     *
     * @param channel the bytes
     * @param samples the kind of the samples
     * @param limits what opening may cost
     * @param isolation where the sound works
     * @return the sound, which the caller closes
     * @throws IOException when the channel cannot be read
     */
    public static Sound open(SeekableByteChannel channel, SampleFormat samples, ReaderLimits limits, Isolation isolation)
            throws IOException {
        return new Sound(Objects.requireNonNull(channel, "channel"), FIRST, Objects.requireNonNull(samples, "samples"),
                Objects.requireNonNull(limits, "limits"), Objects.requireNonNull(isolation, "isolation"));
    }

    /**
     * Opens an audio stream of a channel. Otherwise as {@link #open(SeekableByteChannel, SampleFormat, ReaderLimits)}.
     *
     * @param channel the bytes
     * @param stream the stream's {@linkplain MediaStream#index() index}
     * @param samples the kind of the samples
     * @param limits what opening may cost
     * @return the sound, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws IndexOutOfBoundsException when there is no such stream
     * @throws IllegalArgumentException when the stream is no audio stream
     */
    public static Sound open(SeekableByteChannel channel, int stream, SampleFormat samples, ReaderLimits limits)
            throws IOException {
        return open(channel, stream, samples, limits, Isolation.usual());
    }

    /**
     * Opens an audio stream of a channel in a place of the caller's. Otherwise as
     * {@link #open(SeekableByteChannel, SampleFormat, ReaderLimits, Isolation)}.
     *
     * @param channel the bytes
     * @param stream the stream's {@linkplain MediaStream#index() index}
     * @param samples the kind of the samples
     * @param limits what opening may cost
     * @param isolation where the sound works
     * @return the sound, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws IndexOutOfBoundsException when there is no such stream
     * @throws IllegalArgumentException when the stream is no audio stream
     */
    public static Sound open(SeekableByteChannel channel, int stream, SampleFormat samples, ReaderLimits limits,
            Isolation isolation) throws IOException {
        if (stream < 0) {
            throw new IndexOutOfBoundsException("there is no stream " + stream);
        }
        return new Sound(Objects.requireNonNull(channel, "channel"), stream, Objects.requireNonNull(samples, "samples"),
                Objects.requireNonNull(limits, "limits"), Objects.requireNonNull(isolation, "isolation"));
    }

    private static MediaStream choose(MediaReader reader, int index) {
        if (index >= reader.streams().size()) {
            throw new IndexOutOfBoundsException("there is no stream " + index + ", of " + reader.streams().size());
        }
        MediaStream stream = reader.streams().get(index);
        if (stream.kind() != MediaKind.AUDIO) {
            throw new IllegalArgumentException("not an audio stream: " + stream);
        }
        return stream;
    }

    /** {@return the stream of the sound} */
    public MediaStream stream() {
        return stream;
    }

    /** {@return the format of the samples: PCM of the kind that the sound was opened for} */
    public WaveFormat format() {
        return decoder.format();
    }

    /**
     * Returns how long the sound is, as decoding all of it gives. The first call decodes what was not decoded yet.
     *
     * @return the number of samples of each channel
     * @throws IOException when the bytes cannot be read
     */
    public long length() throws IOException {
        return access.call(decoder::length);
    }

    /**
     * Returns samples.
     *
     * @param from the number of the first one, from 0
     * @param to the number of the first one that is not wanted any more; where the sound ends before, the block is shorter
     * @return the samples, perhaps none
     * @throws IllegalArgumentException when {@code from} is negative or greater than {@code to}, or the samples are more than
     *     2 GiB
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when the bytes have changed since the sound was opened
     */
    public AudioBlock samples(long from, long to) throws IOException {
        return access.call(() -> block(from, to));
    }

    /**
     * Returns the samples between two times. Pictures of a {@link Film} of the same file have times on the same line.
     *
     * @param from the first sample is the first one that is not heard before this time on the container's time line
     * @param to the samples end before the first one that is not heard before this time
     * @return the samples, perhaps none
     * @throws IllegalArgumentException when {@code from} is later than {@code to}, or the samples are more than 2 GiB
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when the bytes have changed since the sound was opened
     */
    public AudioBlock samples(Duration from, Duration to) throws IOException {
        if (Objects.requireNonNull(from, "from").compareTo(Objects.requireNonNull(to, "to")) > 0) {
            throw new IllegalArgumentException(from + " is later than " + to);
        }
        return access.call(() -> {
            long first = decoder.find(from);
            return block(first, Math.max(first, decoder.find(to)));
        });
    }

    private AudioBlock block(long from, long to) throws IOException {
        if (from < 0 || from > to) {
            throw new IllegalArgumentException("there are no samples from " + from + " to " + to);
        }
        if (to - from > MOST_BYTES / format().blockAlign()) {
            long length = decoder.length();
            if (Math.min(to, length) - from > MOST_BYTES / format().blockAlign()) {
                throw new IllegalArgumentException("more samples than a block can hold; ask for parts of them");
            }
        }
        byte[] pcm = decoder.pcm(from, to);
        int rate = format().sampleRate();
        return new AudioBlock(pcm, samples, rate, format().channels(), decoder.map().time(from), new Rational(1, rate));
    }

    /**
     * Returns the number of the first sample that is not heard before a time.
     *
     * @param time on the container's time line
     * @return the sample's number; the {@linkplain #length() length} when all are heard before
     * @throws IOException when the bytes cannot be read
     */
    public long numberAt(Duration time) throws IOException {
        Objects.requireNonNull(time, "time");
        return access.call(() -> decoder.find(time));
    }

    /**
     * Returns when a sample is heard.
     *
     * @param number the sample's number, from 0
     * @return its time on the container's time line, rounded down to nanoseconds
     * @throws IndexOutOfBoundsException when there is no such sample
     * @throws IOException when the bytes cannot be read
     */
    public Duration timeOf(long number) throws IOException {
        return access.call(() -> {
            if (number < 0 || !decoder.knows(number)) {
                throw new IndexOutOfBoundsException("there is no sample " + number);
            }
            return new Rational(1, format().sampleRate()).times(decoder.map().time(number));
        });
    }

    /**
     * Writes what decoding the whole sound gave, after all of it was decoded: some 60 bytes a packet. Another sound of the
     * same stream, bytes and kind of samples can {@linkplain #loadIndex load} it, and then decodes no more than it is asked
     * for.
     *
     * @param to where to; stays open
     * @throws IOException when the bytes cannot be read or written
     */
    public void saveIndex(OutputStream to) throws IOException {
        access.call(() -> {
            saved().write(decoder::save, to);
            return null;
        });
    }

    private SavedIndex saved() throws IOException {
        return new SavedIndex(SavedIndex.Kind.SOUND, channel.size(), formatName, stream.codecName(),
                String.valueOf(stream.index()), samples.name());
    }

    /**
     * Loads an index instead of decoding the whole sound. Each packet is compared with the index when it is read, and its
     * samples when they are decoded.
     *
     * @param from what {@link #saveIndex} wrote; read to its end
     * @throws MediaFormatException when it is damaged, or of another sound, another kind of samples or another FFmpeg; the
     *     sound then stays as it was
     * @throws IOException when the bytes cannot be read
     */
    public void loadIndex(InputStream from) throws IOException {
        access.call(() -> {
            saved().read(from, decoder::load);
            return null;
        });
    }

    /** {@return how many packets were decoded so far: what the samples have cost} */
    public long decodedPackets() {
        return decoder.decodedPackets();
    }

    /**
     * Closes the sound and its channel. A second call does nothing.
     *
     * @throws IOException when the channel cannot be closed
     * @throws MediaStateException when another thread calls the sound
     */
    @Override
    public void close() throws IOException {
        access.close("close it when its call has ended", decoder::close);
        channel.close();
    }
}
