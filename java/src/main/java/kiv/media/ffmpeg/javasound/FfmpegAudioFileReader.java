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
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import java.util.Set;
import javax.sound.sampled.AudioFileFormat;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import javax.sound.sampled.UnsupportedAudioFileException;
import javax.sound.sampled.spi.AudioFileReader;
import kiv.media.ffmpeg.MediaAudio;

/**
 * Opens the sound of media for {@link AudioSystem}, which finds this class as a service provider. It returns
 * {@link EncodedAudioInputStream}s.
 *
 * <p>The provider accepts a medium when its first bytes are those of a known format, the JDK does not read it, and the
 * library has a decoder for its first audio stream. Otherwise, or when the library cannot be loaded, it throws an
 * {@link UnsupportedAudioFileException}, and {@link AudioSystem} asks the next provider.
 *
 * <p>Files are read in place. Other streams are read while the sound is read. Readers of containers also go back: the
 * last 8 MiB stay in memory, and older bytes in a temporary file, which is removed with the stream. Formats without a
 * container, such as MP3, and MPEG transport streams need no such file and may be endless. An {@link InputStream} must
 * support {@link InputStream#mark(int)}, as {@link BufferedInputStream} does. Without it the next provider could not
 * read the first bytes again, so the provider refuses such a stream without reading it. The first kilobytes mostly
 * decide whether the provider accepts a stream, but not for an MP4 with its directory at the end. A stream that is
 * refused only after 64 MiB cannot be reset, and the provider throws an {@link IOException}. So does
 * {@link #getAudioFileFormat(InputStream)} when it has to read more.
 *
 * <p>Any number of threads may call at the same time.
 */
public final class FfmpegAudioFileReader extends AudioFileReader {

    private static final int MARK_LIMIT = 64 * 1024 * 1024;

    /** Containers that are read forward only once they are open. */
    private static final Set<String> FORWARD_ONLY = Set.of("mp3", "aac", "ac3", "dts", "amr", "mpegts", "mpeg");

    private static final class MediumFormat extends AudioFileFormat {
        private final Map<String, Object> properties;

        MediumFormat(EncodedAudioInputStream sound, long size, long frames) {
            super(SoundFormats.type(sound.reader()), known(size), sound.getFormat(), known(frames));
            properties = SoundProperties.of(sound.reader());
        }

        private static int known(long number) {
            return number > Integer.MAX_VALUE ? AudioSystem.NOT_SPECIFIED : (int) number;
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

    /** Creates the provider, for {@link java.util.ServiceLoader}. */
    public FfmpegAudioFileReader() {
    }

    /**
     * Describes the sound of a stream and resets the stream to its position.
     *
     * @param stream a stream that supports marks
     * @return the container, the sound's encoding, sample rate and channels. The properties are those
     *     that the medium tells of {@code duration}, a {@link Long} in microseconds, which may be an estimate,
     *     {@code title}, {@code author}, {@code album}, {@code copyright}, {@code comment}, which are {@link String}s, and
     *     {@code date}, a {@link java.util.Date}: the first moment of the year, month or day, in universal time
     * @throws UnsupportedAudioFileException when the provider refuses the stream
     * @throws IOException when the stream cannot be read or reset
     */
    @Override
    public AudioFileFormat getAudioFileFormat(InputStream stream) throws UnsupportedAudioFileException, IOException {
        try (EncodedAudioInputStream sound = openMarked(stream, new SpoolChannel(stream))) {
            AudioFileFormat format = new MediumFormat(sound, AudioSystem.NOT_SPECIFIED, AudioSystem.NOT_SPECIFIED);
            stream.reset();
            return format;
        }
    }

    /**
     * Describes the sound of a medium.
     *
     * @param url the address of a medium
     * @return as for {@linkplain #getAudioFileFormat(InputStream) streams}
     * @throws UnsupportedAudioFileException when the provider refuses the medium
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
     * Describes the sound of a file.
     *
     * @param file the file
     * @return as for {@linkplain #getAudioFileFormat(InputStream) streams}, and the length in frames of the decoded sound,
     *     where {@link MediaAudio#frames} knows it
     * @throws UnsupportedAudioFileException when the provider refuses the medium
     * @throws IOException when it cannot be read
     */
    @Override
    public AudioFileFormat getAudioFileFormat(File file) throws UnsupportedAudioFileException, IOException {
        try (EncodedAudioInputStream sound = getAudioInputStream(file)) {
            return new MediumFormat(sound, file.length(), frames(file));
        }
    }

    /**
     * Opens the sound of a stream. Closing the sound closes the stream. When this method throws an
     * {@link UnsupportedAudioFileException}, it has reset the stream to its position.
     *
     * @param stream a stream that supports marks
     * @return its sound
     * @throws UnsupportedAudioFileException when the provider refuses the stream
     * @throws IOException when the stream cannot be read or reset
     */
    @Override
    public EncodedAudioInputStream getAudioInputStream(InputStream stream)
            throws UnsupportedAudioFileException, IOException {
        SpoolChannel spool = new SpoolChannel(stream);
        EncodedAudioInputStream sound = openMarked(stream, spool);
        // Otherwise the stream would keep all bytes since the mark, up to the limit.
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
     * @param url the address of a medium
     * @return its sound
     * @throws UnsupportedAudioFileException when the provider refuses the medium
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
     * Opens the sound of a file.
     *
     * @param file the file
     * @return its sound
     * @throws UnsupportedAudioFileException when the provider refuses the medium
     * @throws IOException when it cannot be read
     */
    @Override
    public EncodedAudioInputStream getAudioInputStream(File file) throws UnsupportedAudioFileException, IOException {
        if (!file.isFile()) {
            // The JDK's readers report what is wrong with it, or read it. A pipe can be read only once.
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

    private static long frames(File file) throws IOException {
        try {
            return MediaAudio.frames(file.toPath()).orElse(AudioSystem.NOT_SPECIFIED);
        } catch (RuntimeException e) {
            return AudioSystem.NOT_SPECIFIED; // the sound could be opened
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

    /** A failure here must not keep {@link AudioSystem} from asking other providers. */
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
