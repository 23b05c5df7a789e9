package kiv.media.ffmpeg;

import java.io.BufferedOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.channels.Channels;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.FileSystemLoopException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.util.ArrayList;
import java.util.List;
import java.util.Objects;
import java.util.UUID;
import kiv.media.ffmpeg.headers.AdtsHeader;
import kiv.media.ffmpeg.headers.WaveFileHeader;

/**
 * Writes an audio file. It writes under a temporary name in the same directory; {@link #finish} gives the file its
 * name. When it is closed before that, it leaves no file. Threads that use it at the same time wait for each other.
 *
 * <pre>{@code
 * try (AudioFileWriter file = AudioFileWriter.create(Path.of("song.wav"), decoder.pcmFormat(), AudioContainer.WAV)) {
 *     for (AudioBlock block : blocks) {
 *         file.write(block);
 *     }
 *     file.finish();
 * }
 * }</pre>
 */
public final class AudioFileWriter implements AutoCloseable {

    private static final int BUFFER_SIZE = 1 << 16;
    private static final int MOST_LINKS = 40;
    private static final byte[] AMR_MAGIC = "#!AMR\n".getBytes(StandardCharsets.US_ASCII);

    private final Path file;
    /** The file, or what it leads to as a symbolic link. */
    private final Path target;
    private final Path aside;
    private final FileChannel channel;
    private final OutputStream out;
    private final WaveFormat format;
    private final AudioContainer container;
    private final AdtsHeader adts;
    private final WaveFileHeader header;
    /** Writes the kinds of files that FFmpeg writes; null for the others. */
    private MediaWriter writer;
    private long written;
    private boolean closed;
    /** A write has failed, so the file is incomplete. */
    private boolean failed;

    private AudioFileWriter(Path file, WaveFormat format, AudioContainer container) throws IOException {
        this.file = file;
        this.format = format;
        this.container = container;
        boolean inAdts = format.formatTag() == WaveFormatTags.AAC
                && (container == AudioContainer.ADTS || container == AudioContainer.WAV);
        this.adts = inAdts ? AdtsHeader.of(format.specificHeader()) : null;
        this.header = container == AudioContainer.WAV
                ? new WaveFileHeader((inAdts ? inAdts(format) : format).toBytes()) : null;
        // Not a file of createTempFile, which other users cannot read. The name is short, because the file's own may be
        // as long as names can be.
        this.target = target(file);
        this.aside = target.resolveSibling("." + UUID.randomUUID() + ".part");
        this.channel = FileChannel.open(aside, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE);
        this.out = new BufferedOutputStream(Channels.newOutputStream(channel), BUFFER_SIZE);
    }

    /**
     * Creates a writer for the packets of an encoder.
     *
     * @param file the file, which {@link #finish} replaces when it exists; a symbolic link stays, and the file that it
     *     leads to is replaced
     * @param encoder the encoder
     * @param container the kind of file, such as {@link AudioContainer#find} finds
     * @return the writer, which the caller finishes with the encoder's {@link AudioEncoder#frames()} and closes
     * @throws IOException when the file cannot be written
     * @throws IllegalArgumentException when the container does not hold the encoder's format
     * @throws UnsupportedCodecException when the loaded FFmpeg does not write the container or refuses the sound
     */
    public static AudioFileWriter create(Path file, AudioEncoder encoder, AudioContainer container) throws IOException {
        Objects.requireNonNull(file, "file");
        AudioCodec codec = Objects.requireNonNull(encoder, "encoder").codec();
        if (Objects.requireNonNull(container, "container").ffmpegName(codec).isEmpty()) {
            return create(file, encoder.format(), container);
        }
        if (!container.holds(codec)) {
            throw new IllegalArgumentException(container + " does not hold " + codec);
        }
        return create(file, encoder.format(), container, encoder);
    }

    /**
     * Creates a writer. The containers that {@link MediaWriter} writes need the {@linkplain #create(Path, AudioEncoder,
     * AudioContainer) encoder}.
     *
     * @param file the file, which {@link #finish} replaces when it exists; a symbolic link stays, and the file that it
     *     leads to is replaced
     * @param format the format of the sound
     * @param container the kind of file
     * @return the writer, which the caller finishes and closes
     * @throws IOException when the file cannot be written
     * @throws IllegalArgumentException when the container does not hold the format
     */
    public static AudioFileWriter create(Path file, WaveFormat format, AudioContainer container) throws IOException {
        Objects.requireNonNull(file, "file");
        Objects.requireNonNull(container, "container");
        int tag = Objects.requireNonNull(format, "format").formatTag();
        if (container == AudioContainer.ADTS && tag != WaveFormatTags.AAC || tag == WaveFormatTags.OTHER
                || (container == AudioContainer.AMR) != (tag == WaveFormatTags.AMR_NB)) {
            throw new IllegalArgumentException(container + " does not hold " + format);
        }
        if (!container.isWrittenByHand()) {
            throw new IllegalArgumentException(container + " is written from an encoder; create the file with it");
        }
        return create(file, format, container, null);
    }

    private static AudioFileWriter create(Path file, WaveFormat format, AudioContainer container, AudioEncoder encoder)
            throws IOException {
        if (Files.isDirectory(file)) {
            throw new FileSystemException(file.toString(), null, "is a directory");
        }
        if (Files.exists(file) && !Files.isRegularFile(file)) {
            throw new FileSystemException(file.toString(), null, "not a file, and cannot be replaced by one");
        }
        Path directory = target(file).toAbsolutePath().getParent();
        if (directory == null || !Files.isDirectory(directory)) {
            throw new FileSystemException(file.toString(), null, "its directory does not exist");
        }
        AudioFileWriter writer;
        try {
            writer = new AudioFileWriter(file, format, container);
        } catch (AccessDeniedException e) {
            // The exception names the caller's file, not the temporary one.
            throw new AccessDeniedException(file.toString());
        }
        try {
            writer.begin(encoder);
            return writer;
        } catch (Throwable e) {
            writer.close();
            throw e;
        }
    }

    /** {@return the format of the sound} */
    public WaveFormat format() {
        return format;
    }

    /**
     * Writes all packets, or none.
     *
     * @param packets packets of the format, in their order
     * @throws IOException when they cannot be written; the file is then lost, unless they exceed the largest size of
     *     the container: such a file can be finished without them
     * @throws IllegalArgumentException when a packet is longer than the container allows, or lacks what it needs
     * @throws MediaException when the container does not take the packets; the file is then lost
     * @throws MediaStateException when the file is finished or closed, or an earlier write failed
     */
    public synchronized void write(List<Packet> packets) throws IOException {
        throwIfClosed();
        Objects.requireNonNull(packets, "packets");
        if (writer != null) {
            writer.write(packets);
            return;
        }
        List<byte[]> pieces = new ArrayList<>();
        for (Packet packet : packets) {
            byte[] bytes = Objects.requireNonNull(packet, "packet").bytes();
            if (adts != null) {
                pieces.add(adts.before(bytes.length));
            }
            pieces.add(bytes);
        }
        writeAll(pieces);
    }

    /**
     * Writes decoded sound into a PCM file.
     *
     * @param block sound with the file's number of channels and sample rate
     * @throws IOException when it cannot be written; the file is then lost, unless the block exceeds the largest size
     *     of the container: such a file can be finished without it
     * @throws IllegalArgumentException when the file's format is not the PCM of the block
     * @throws MediaStateException when the file is finished or closed, or an earlier write failed
     */
    public synchronized void write(AudioBlock block) throws IOException {
        throwIfClosed();
        Objects.requireNonNull(block, "block");
        if (!format.equals(WaveFormat.pcm(block.sampleFormat(), block.sampleRate(), block.channels()))) {
            throw new IllegalArgumentException(block + " is not of the file's " + format);
        }
        writeAll(List.of(block.pcm()));
    }

    /**
     * Writes the lengths of a PCM file and gives it its name.
     *
     * @throws IOException when it cannot be written; the writer then removes the file
     * @throws UnsupportedOperationException when the format is not PCM; use {@link #finish(long)}
     * @throws MediaStateException when the file is finished or closed, or an earlier write failed
     */
    public synchronized void finish() throws IOException {
        if (format.equals(WaveFormat.pcm(SampleFormat.FLOAT, format.sampleRate(), format.channels()))) {
            finish(written / format.blockAlign());
            return;
        }
        if (format.formatTag() != WaveFormatTags.PCM) {
            throw new UnsupportedOperationException("the length of " + format + " in samples is not known; finish"
                    + " the file with it, an encoder's frames()");
        }
        finish(0);
    }

    /**
     * Writes the lengths of the file and gives it its name.
     *
     * @param frames the length of the sound in samples of a channel; ignored for PCM
     * @throws IOException when it cannot be written; the writer then removes the file
     * @throws IllegalArgumentException when the length is negative
     * @throws MediaStateException when the file is finished or closed, or an earlier write failed
     */
    public synchronized void finish(long frames) throws IOException {
        throwIfClosed();
        if (frames < 0) {
            throw new IllegalArgumentException("negative length " + frames);
        }
        try {
            if (writer != null) {
                writer.finish(frames);
            }
            if (header != null && written % 2 != 0) {
                out.write(0);
            }
            out.flush();
            if (header != null) {
                channel.position(0);
                ByteBuffer bytes = ByteBuffer.wrap(header.toBytes(written, frames));
                while (bytes.hasRemaining()) {
                    channel.write(bytes);
                }
            }
            channel.close();
            Files.move(aside, target, StandardCopyOption.REPLACE_EXISTING, StandardCopyOption.ATOMIC_MOVE);
        } finally {
            close();
        }
    }

    /** Closes the writer and removes the file, unless {@link #finish} gave it its name. A second call does nothing. */
    @Override
    public synchronized void close() throws IOException {
        closed = true;
        if (writer != null) {
            writer.close();
        }
        channel.close();
        Files.deleteIfExists(aside);
    }

    private static Path target(Path file) throws IOException {
        Path target = file;
        for (int links = 0; Files.isSymbolicLink(target); links++) {
            if (links == MOST_LINKS) {
                throw new FileSystemLoopException(file.toString());
            }
            target = target.resolveSibling(Files.readSymbolicLink(target));
        }
        return target;
    }

    private void begin(AudioEncoder encoder) throws IOException {
        if (encoder != null) {
            writer = MediaWriter.open(channel, encoder, container);
        } else if (header != null) {
            out.write(header.toBytes(0, 0));
        } else if (container == AudioContainer.AMR) {
            out.write(AMR_MAGIC);
        }
    }

    private void writeAll(List<byte[]> pieces) throws IOException {
        long size = pieces.stream().mapToLong(piece -> piece.length).sum();
        if (header != null && !header.hasRoomFor(written + size)) {
            throw new FileSystemException(file.toString(), null, "a WAV file holds no more than 4 GiB");
        }
        failed = true;
        for (byte[] piece : pieces) {
            out.write(piece);
        }
        written += size;
        failed = false;
    }

    private void throwIfClosed() {
        if (closed) {
            throw new MediaStateException("the file " + file + " is finished or closed");
        }
        if (failed) {
            throw new MediaStateException("the file " + file + " could not be written and is lost; close it and write"
                    + " another one");
        }
    }

    /** A WAV file does not record where AAC packets start, so each needs its own header. */
    private static WaveFormat inAdts(WaveFormat format) {
        return WaveFormat.of(WaveFormatTags.AAC_ADTS, format.channels(), format.sampleRate(), format.bytesPerSecond(),
                format.blockAlign(), format.bitsPerSample(), new byte[0]);
    }
}
