package kiv.media.ffmpeg.javasound;

import java.io.BufferedInputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.net.URISyntaxException;
import java.net.URL;
import java.nio.channels.Channels;
import java.nio.channels.FileChannel;
import java.nio.channels.SeekableByteChannel;
import java.time.Duration;
import java.util.HashMap;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import java.util.Set;
import javax.sound.sampled.AudioFileFormat;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import javax.sound.sampled.UnsupportedAudioFileException;
import javax.sound.sampled.spi.AudioFileReader;

/**
 * Opens the sound of media for {@link AudioSystem}, which finds this class by itself. It gives
 * {@link EncodedAudioInputStream}s.
 *
 * <p>A medium is taken when it begins as one, is none that the JDK reads, and its first stream of sound can be decoded.
 * Everything else, a library that cannot be loaded included, is an {@link UnsupportedAudioFileException}, after which
 * {@link AudioSystem} asks the next provider.
 *
 * <p>Files are read in place. Other streams are read on as the sound is; as containers are not read strictly forwards,
 * up to 8 MiB of what was read stay in memory, and what is older in a temporary file that vanishes with the stream.
 * Formats without a container, such as MP3, and MPEG transport streams need no such file, and may be without an end. An
 * {@link InputStream} must support {@link InputStream#mark(int)}, as {@link BufferedInputStream} does: others cannot be
 * looked at and handed on to the next provider, so they are not looked at. Whether a stream is taken is mostly known
 * from its first kilobytes, though not for an MP4 whose directory is at the end. A stream that is refused only after
 * more than 64 MiB cannot be put back to where it was, which is an {@link IOException}, and so it is when
 * {@link #getAudioFileFormat(InputStream)} needs more of it.
 *
 * <p>Any thread may call, and several at once.
 */
public final class FfmpegAudioFileReader extends AudioFileReader {

    private static final int MARK_LIMIT = 64 * 1024 * 1024;

    /** Containers that are read straight on once they are open. */
    private static final Set<String> FORWARD_ONLY = Set.of("mp3", "aac", "ac3", "dts", "amr", "mpegts", "mpeg");

    private static final class MediumFormat extends AudioFileFormat {
        private final Map<String, Object> properties;

        MediumFormat(EncodedAudioInputStream sound, long size) {
            super(SoundFormats.type(sound.reader()), size > Integer.MAX_VALUE ? AudioSystem.NOT_SPECIFIED : (int) size,
                    sound.getFormat(), AudioSystem.NOT_SPECIFIED);
            Map<String, Object> told = new HashMap<>();
            Optional<Duration> duration = sound.reader().duration();
            duration.ifPresent(length -> told.put(SoundFormats.DURATION,
                    length.getSeconds() * 1_000_000 + length.getNano() / 1000));
            properties = Map.copyOf(told);
        }

        @Override
        public Map<String, Object> properties() {
            return properties;
        }

        @Override
        public Object getProperty(String key) {
            return properties.get(key);
        }
    }

    /** Creates the provider; {@link java.util.ServiceLoader} does that. */
    public FfmpegAudioFileReader() {
    }

    /**
     * Tells what sound a stream carries. The stream is where it was afterwards.
     *
     * @param stream a stream that can be marked
     * @return the container, the sound's encoding, sample rate and channels, and as property {@code duration} the
     *     length in microseconds, a {@link Long}, as far as it is known; it may be an estimate
     * @throws UnsupportedAudioFileException when it is not for this provider
     * @throws IOException when the stream cannot be read or not be reset
     */
    @Override
    public AudioFileFormat getAudioFileFormat(InputStream stream) throws UnsupportedAudioFileException, IOException {
        try (EncodedAudioInputStream sound = openMarked(stream, new SpoolChannel(stream))) {
            AudioFileFormat format = new MediumFormat(sound, AudioSystem.NOT_SPECIFIED);
            stream.reset();
            return format;
        }
    }

    /**
     * Tells what sound there is.
     *
     * @param url the place of a medium
     * @return as for {@linkplain #getAudioFileFormat(InputStream) streams}
     * @throws UnsupportedAudioFileException when it is not for this provider
     * @throws IOException when it cannot be read
     */
    @Override
    public AudioFileFormat getAudioFileFormat(URL url) throws UnsupportedAudioFileException, IOException {
        Optional<File> file = file(url);
        if (file.isPresent()) {
            return getAudioFileFormat(file.get());
        }
        try (InputStream stream = connect(url)) {
            return getAudioFileFormat(stream);
        }
    }

    /**
     * Tells what sound is in a file.
     *
     * @param file the file
     * @return as for {@linkplain #getAudioFileFormat(InputStream) streams}
     * @throws UnsupportedAudioFileException when it is not for this provider
     * @throws IOException when it cannot be read
     */
    @Override
    public AudioFileFormat getAudioFileFormat(File file) throws UnsupportedAudioFileException, IOException {
        try (EncodedAudioInputStream sound = getAudioInputStream(file)) {
            return new MediumFormat(sound, file.length());
        }
    }

    /**
     * Opens the sound in a stream, which is closed with it. When this method throws an
     * {@link UnsupportedAudioFileException}, the stream is where it was.
     *
     * @param stream a stream that can be marked
     * @return its sound
     * @throws UnsupportedAudioFileException when it is not for this provider
     * @throws IOException when the stream cannot be read or not be reset
     */
    @Override
    public EncodedAudioInputStream getAudioInputStream(InputStream stream)
            throws UnsupportedAudioFileException, IOException {
        SpoolChannel spool = new SpoolChannel(stream);
        EncodedAudioInputStream sound = openMarked(stream, spool);
        // The mark would keep up to its limit in memory.
        stream.mark(0);
        spool.adoptSource();
        if (FORWARD_ONLY.contains(sound.reader().formatName())) {
            spool.goForwardOnly();
        }
        return sound;
    }

    /**
     * Opens the sound of a medium.
     *
     * @param url the place of a medium
     * @return its sound
     * @throws UnsupportedAudioFileException when it is not for this provider
     * @throws IOException when it cannot be read
     */
    @Override
    public AudioInputStream getAudioInputStream(URL url) throws UnsupportedAudioFileException, IOException {
        Optional<File> file = file(url);
        if (file.isPresent()) {
            return getAudioInputStream(file.get());
        }
        InputStream stream = connect(url);
        try {
            return getAudioInputStream(stream);
        } catch (Throwable e) {
            stream.close();
            throw e;
        }
    }

    /**
     * Opens the sound in a file.
     *
     * @param file the file
     * @return its sound
     * @throws UnsupportedAudioFileException when it is not for this provider
     * @throws IOException when it cannot be read
     */
    @Override
    public EncodedAudioInputStream getAudioInputStream(File file) throws UnsupportedAudioFileException, IOException {
        if (!file.isFile()) {
            // The JDK's readers say what is wrong with it, or read it: a pipe can be looked at only once.
            throw new UnsupportedAudioFileException("not a regular file: " + file);
        }
        FileChannel channel = new FileInputStream(file).getChannel();
        try {
            if (!MediaFilter.mayBeOurs(Channels.newInputStream(channel))) {
                throw notOurs();
            }
            return open(channel);
        } catch (Throwable e) {
            channel.close();
            throw e;
        }
    }

    private static EncodedAudioInputStream openMarked(InputStream stream, SpoolChannel spool)
            throws UnsupportedAudioFileException, IOException {
        if (!stream.markSupported()) {
            throw new UnsupportedAudioFileException("a stream without mark and reset is not looked at");
        }
        stream.mark(MARK_LIMIT);
        boolean perhaps = MediaFilter.mayBeOurs(stream);
        stream.reset();
        if (!perhaps) {
            throw notOurs();
        }
        try {
            return open(spool);
        } catch (UnsupportedAudioFileException e) {
            stream.reset();
            throw e;
        }
    }

    /** Whatever is wrong here must not keep other providers from being asked. */
    private static EncodedAudioInputStream open(SeekableByteChannel channel)
            throws UnsupportedAudioFileException, IOException {
        try {
            return EncodedAudioInputStream.open(channel);
        } catch (RuntimeException | LinkageError e) {
            UnsupportedAudioFileException refusal = new UnsupportedAudioFileException(e.getMessage());
            refusal.initCause(e);
            throw refusal;
        }
    }

    private static UnsupportedAudioFileException notOurs() {
        return new UnsupportedAudioFileException("not a medium of a kind that only FFmpeg reads");
    }

    private static Optional<File> file(URL url) {
        if (!Objects.requireNonNull(url, "url").getProtocol().equals("file")) {
            return Optional.empty();
        }
        try {
            return Optional.of(new File(url.toURI()));
        } catch (URISyntaxException | IllegalArgumentException e) {
            return Optional.empty();
        }
    }

    private static InputStream connect(URL url) throws IOException {
        return new BufferedInputStream(url.openStream());
    }
}
