package kiv.media.ffmpeg.javasound;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.Channel;
import java.nio.channels.SeekableByteChannel;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.MediaAudio;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStateException;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.SampleFormat;
import kiv.media.ffmpeg.io.BlockInputStream;

/**
 * Compressed sound that {@link AudioSystem} opens: the bytes of the packets of a medium's first audio stream.
 * {@link AudioSystem#getAudioInputStream(javax.sound.sampled.AudioFormat.Encoding, AudioInputStream)} decodes it packet
 * by packet, with the properties that the container states. For most formats the bytes alone are not enough, so convert
 * this object itself, not a stream that wraps it.
 *
 * <pre>{@code
 * AudioInputStream song = AudioSystem.getAudioInputStream(new File("song.m4a"));
 * if (song instanceof EncodedAudioInputStream encoded) {
 *     System.out.println(encoded.stream().codecName() + ", " + encoded.stream().channels() + " channels");
 * }
 * }</pre>
 *
 * <p>The encoding of its format has FFmpeg's name of the codec in capital letters: {@code MP3}, {@code AAC},
 * {@code WMAV2}. PCM, A-law and mu-law have the JDK's own encodings. The format's property {@code bitrate} is an
 * {@link Integer} with bits per second, if it is known. The length in frames is unknown.
 *
 * <p>After a conversion, read the sound from the result. Closing either stream closes the other. Packets that were read
 * before the conversion are not decoded again. One thread at a time reads. Any thread may close.
 */
public final class EncodedAudioInputStream extends AudioInputStream {

    /** The bytes of a stream's packets. */
    private static final class PacketInputStream extends BlockInputStream {
        private final MediaReader reader;
        private final MediaStream stream;
        private final Channel channel;

        PacketInputStream(MediaReader reader, MediaStream stream, Channel channel) {
            this.reader = reader;
            this.stream = stream;
            this.channel = channel;
        }

        @Override
        protected ByteBuffer nextBlock() throws IOException {
            try {
                Packet packet = reader.read();
                while (packet != null && packet.streamIndex() != stream.index()) {
                    packet = reader.read();
                }
                return packet == null ? null : packet.data();
            } catch (MediaException e) {
                throw new IOException("the sound cannot be read: " + e.getMessage(), e);
            }
        }

        @Override
        protected void interrupt() throws IOException {
            channel.close();
        }

        @Override
        protected void release() throws IOException {
            try {
                reader.close();
            } catch (MediaException e) {
                throw new IOException("the sound cannot be closed: " + e.getMessage(), e);
            }
        }
    }

    private final PacketInputStream packets;
    private AudioInputStream decoded;
    private SampleFormat samples;

    private EncodedAudioInputStream(PacketInputStream packets) {
        super(packets, SoundFormats.of(packets.stream), AudioSystem.NOT_SPECIFIED);
        this.packets = packets;
    }

    /**
     * Opens the first sound of a medium.
     *
     * @param channel the stream closes it; it may be closed when this method throws
     * @throws MediaException when the library has no decoder for its sound
     */
    static EncodedAudioInputStream open(SeekableByteChannel channel) throws IOException {
        MediaReader reader = MediaReader.open(channel);
        try {
            MediaStream stream = firstAudio(reader);
            AudioDecoder.open(stream).close();
            return new EncodedAudioInputStream(new PacketInputStream(reader, stream, channel));
        } catch (Throwable e) {
            reader.close();
            throw e;
        }
    }

    static MediaStream firstAudio(MediaReader reader) {
        return reader.firstAudio().orElseThrow(() -> new MediaFormatException("no audio stream"));
    }

    /** {@return the audio stream of the container, with its codec, its private data and its times} */
    public MediaStream stream() {
        return packets.stream;
    }

    /**
     * Closes the sound and its medium. A second call does nothing.
     *
     * @throws IOException when the medium cannot be closed
     */
    @Override
    public void close() throws IOException {
        AudioInputStream result;
        synchronized (this) {
            result = decoded;
        }
        if (result != null) {
            packets.refuseReads();
            result.close();
        } else {
            super.close();
        }
    }

    MediaReader reader() {
        return packets.reader;
    }

    /**
     * The sound as PCM. Each call returns the same stream, because there is one reader.
     *
     * @throws MediaStateException when the sound is decoded into samples of another kind already
     */
    synchronized AudioInputStream decoded(SampleFormat wanted) {
        if (decoded == null) {
            decoded = MediaAudio.open(packets.reader, packets.stream, wanted);
            samples = wanted;
        }
        if (samples != wanted) {
            throw new MediaStateException("the sound is decoded into " + samples + " already");
        }
        return decoded;
    }
}
