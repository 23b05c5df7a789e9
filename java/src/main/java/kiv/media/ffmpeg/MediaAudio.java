package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Objects;
import java.util.OptionalLong;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import kiv.media.ffmpeg.headers.WaveFileLength;

/**
 * Opens the sound of media for JavaSound: interleaved signed little-endian PCM of 16 bits, with the channels and the
 * sample rate of the first audio stream.
 *
 * <pre>{@code
 * try (AudioInputStream sound = MediaAudio.open(Path.of("song.mp3"));
 *         Clip clip = AudioSystem.getClip()) {
 *     clip.open(sound);
 *     clip.start();
 *     Thread.sleep(clip.getMicrosecondLength() / 1000);
 * }
 * }</pre>
 *
 * <p>A stream delivers every sample that {@link AudioDecoder} delivers, up to the last one. It reports its length only
 * for WAV files of uncompressed sound, where the length is certain. Otherwise its frame length is
 * {@link AudioSystem#NOT_SPECIFIED}. It does not support marks. Like every {@link AudioInputStream} it reads whole
 * frames, not single bytes.
 *
 * <p>A stream skips damaged packets. To learn of damage, decode
 * {@linkplain AudioDecoder#decode(Packet) packet by packet}. Every other failure is an {@link IOException}; its cause
 * is the exception of this library, if there is one. One thread at a time reads. Any thread may close a stream, also
 * while another one reads: that read, and each later one, throws an {@link IOException}. A second close does nothing.
 *
 * <p>Programs that do not know this class get the same sound from {@link AudioSystem}, through the service providers in
 * {@link kiv.media.ffmpeg.javasound}.
 */
public final class MediaAudio {

    private MediaAudio() {
    }

    /**
     * Opens the sound of a file.
     *
     * @param file the file
     * @return its sound, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws MediaFormatException when it is no media file of a known kind, or has no sound
     * @throws UnsupportedCodecException when the library has no decoder for its sound
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioInputStream open(Path file) throws IOException {
        return open(file, Isolation.usual());
    }

    /**
     * Opens the sound of a file in a place of the caller's. Otherwise as {@link #open(Path)}. When the process of the sound has
     * ended, the stream throws an {@link IOException} whose cause is the {@link WorkerException}.
     *
     * @param file the file
     * @param isolation where the sound is read and decoded
     * @return its sound, which the caller closes
     * @throws IOException when the file cannot be read
     */
    public static AudioInputStream open(Path file, Isolation isolation) throws IOException {
        Objects.requireNonNull(isolation, "isolation");
        return MediaFile.open(file, channel -> open(channel, isolation));
    }

    /**
     * Opens the sound of a channel, from its first byte. The stream uses the channel alone and closes it. When this
     * method throws, the channel stays open.
     *
     * @param channel the bytes of a media file
     * @return its sound, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws MediaFormatException when the bytes are no media of a known kind, or have no sound
     * @throws UnsupportedCodecException when the library has no decoder for their sound
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioInputStream open(SeekableByteChannel channel) throws IOException {
        return open(channel, Isolation.usual());
    }

    /**
     * Opens the sound of a channel in a place of the caller's. Otherwise as {@link #open(SeekableByteChannel)} and
     * {@link #open(Path, Isolation)}.
     *
     * @param channel the bytes of a media file
     * @param isolation where the sound is read and decoded
     * @return its sound, which the caller closes
     * @throws IOException when the channel cannot be read
     */
    public static AudioInputStream open(SeekableByteChannel channel, Isolation isolation) throws IOException {
        MediaReader reader = MediaReader.open(channel, ReaderLimits.USUAL, isolation);
        try {
            AudioDecoder decoder = AudioDecoder.open(
                    reader.firstAudio().orElseThrow(() -> new MediaFormatException("no audio stream")));
            try {
                // The reader continues at its own position.
                long position = channel.position();
                WaveFormat format = decoder.format();
                OptionalLong frames = WaveFileLength.frames(channel, format.formatTag(), format.channels());
                channel.position(position);
                return stream(reader, decoder, true, frames.orElse(AudioSystem.NOT_SPECIFIED));
            } catch (Throwable e) {
                decoder.close();
                throw e;
            }
        } catch (Throwable e) {
            reader.release();
            throw e;
        }
    }

    /**
     * Returns how many frames the sound of a file has, where its packets state exactly how many samples they give: FLAC, MP3,
     * Opus and FLAC in Ogg, AAC and ALAC in MP4, TTA, and PCM in WAV, Wave64, AIFF, AU and CAF. They are read for that, but only
     * the first and the last ones are decoded. It is what {@link Sound#length()} returns of an undamaged file.
     *
     * @param file the file
     * @return samples of each channel; empty when that is not certain, and for files of more than 256 MiB
     * @throws IOException when the file cannot be read
     * @throws MediaFormatException when it is no media file of a known kind, or has no sound
     * @throws UnsupportedCodecException when the library has no decoder for its sound
     * @throws LibraryException when the library cannot be loaded
     */
    public static OptionalLong frames(Path file) throws IOException {
        return frames(file, Isolation.usual());
    }

    /**
     * Returns how many frames the sound of a file has, in a place of the caller's. Otherwise as {@link #frames(Path)}.
     *
     * @param file the file
     * @param isolation where the sound is read and decoded
     * @return samples of each channel; empty when that is not certain, and for files of more than 256 MiB
     * @throws IOException when the file cannot be read
     * @throws WorkerException when the process of the sound has ended
     */
    public static OptionalLong frames(Path file, Isolation isolation) throws IOException {
        long size = Files.size(file);
        try (MediaReader reader = MediaReader.open(file, isolation)) {
            return SoundLength.count(reader, reader.firstAudioOrThrow(), size);
        }
    }

    /**
     * Opens the sound of one of a reader's streams, from the reader's position. The returned stream uses the reader
     * alone and closes it. When this method throws, the reader stays open. {@link AudioDecoder#sound(MediaReader)} does
     * not close the reader.
     *
     * @param reader a reader
     * @param stream one of its audio streams
     * @return its sound, which the caller closes
     * @throws UnsupportedCodecException when the library has no decoder for the sound
     * @throws IllegalArgumentException when the stream belongs to another reader, or is no audio stream
     */
    public static AudioInputStream open(MediaReader reader, MediaStream stream) {
        return open(reader, stream, SampleFormat.PCM_16);
    }

    /**
     * Opens the sound of one of a reader's streams in samples of a kind. Otherwise as
     * {@link #open(MediaReader, MediaStream)}.
     *
     * @param reader a reader
     * @param stream one of its audio streams
     * @param samples the kind of the samples
     * @return its sound, which the caller closes
     * @throws UnsupportedCodecException when the library has no decoder for the sound
     * @throws IllegalArgumentException when the stream belongs to another reader, or is no audio stream
     */
    public static AudioInputStream open(MediaReader reader, MediaStream stream, SampleFormat samples) {
        reader.check(stream);
        return stream(reader, AudioDecoder.open(stream, samples), true, AudioSystem.NOT_SPECIFIED);
    }

    static AudioInputStream stream(MediaReader reader, AudioDecoder decoder, boolean owner, long frames) {
        return new PcmAudioInputStream(new PcmInputStream(reader, decoder, owner), decoder.pcmFormat(), frames);
    }
}
