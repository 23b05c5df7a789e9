package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Path;
import java.util.OptionalLong;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import kiv.media.ffmpeg.headers.WaveFileLength;

/**
 * Opens the sound of media for JavaSound: as PCM of 16 bits, signed, little-endian, the samples of a frame one after
 * the other, with the channels and the sample rate of the first stream of sound.
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
 * <p>A stream gives every sample that {@link AudioDecoder} gives, those at the end included. It knows its length only
 * where that is certain, which it is in WAV files of uncompressed sound; otherwise its frame length is
 * {@link AudioSystem#NOT_SPECIFIED}. It cannot be marked. As of every {@link AudioInputStream}, whole frames are read,
 * single bytes are not.
 *
 * <p>A packet that cannot be decoded is left out, and the sound goes on behind it; to learn of damage, decode
 * {@linkplain AudioDecoder#decode(Packet) packet by packet}. Whatever else goes wrong is an {@link IOException}, with what
 * this library throws by itself as its cause. One thread at a time reads. Any thread may close a stream, also while
 * another one reads, which then gets an {@link IOException}, as does everybody who reads later. Closing it again does
 * nothing.
 *
 * <p>Programs that know nothing of this class get the same sound from {@link AudioSystem}, by the service providers in
 * {@link kiv.media.ffmpeg.javasound}.
 */
public final class MediaAudio {

    private MediaAudio() {
    }

    /**
     * Opens the sound of a file.
     *
     * @param file the file
     * @return its sound, to be closed
     * @throws IOException when the file cannot be read
     * @throws MediaFormatException when it is no media file of a known kind, or one without sound
     * @throws UnsupportedCodecException when its sound cannot be decoded
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioInputStream open(Path file) throws IOException {
        return MediaReader.openFile(file, MediaAudio::open);
    }

    /**
     * Opens the sound of a channel, from its first byte. The stream uses the channel alone and closes it at the end;
     * when this method throws, it stays open.
     *
     * @param channel the bytes of a media file
     * @return its sound, to be closed
     * @throws IOException when the channel cannot be read
     * @throws MediaFormatException when the bytes are no media of a known kind, or without sound
     * @throws UnsupportedCodecException when their sound cannot be decoded
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioInputStream open(SeekableByteChannel channel) throws IOException {
        MediaReader reader = MediaReader.open(channel);
        try {
            AudioDecoder decoder = AudioDecoder.open(
                    reader.firstAudio().orElseThrow(() -> new MediaFormatException("no audio stream")));
            try {
                // The reader goes on where it is.
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
     * Opens the sound of one of a reader's streams, from the reader's place on. The stream uses the reader alone and
     * closes it at the end; when this method throws, it stays open. {@link AudioDecoder#sound(MediaReader)} leaves the
     * reader to its owner.
     *
     * @param reader a reader
     * @param stream one of its streams of sound
     * @return its sound, to be closed
     * @throws UnsupportedCodecException when the sound cannot be decoded
     * @throws IllegalArgumentException when the stream is not one of the reader's, or carries no sound
     */
    public static AudioInputStream open(MediaReader reader, MediaStream stream) {
        reader.check(stream);
        return stream(reader, AudioDecoder.open(stream), true, AudioSystem.NOT_SPECIFIED);
    }

    static AudioInputStream stream(MediaReader reader, AudioDecoder decoder, boolean owner, long frames) {
        return new PcmAudioInputStream(new PcmInputStream(reader, decoder, owner), decoder.pcmFormat(), frames);
    }
}
