package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.channels.ReadableByteChannel;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Path;
import java.time.Duration;
import java.time.Instant;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.OptionalLong;
import java.util.stream.Stream;
import kiv.media.ffmpeg.natives.ReaderInfo;
import kiv.media.ffmpeg.natives.c_mediareader_source;

/**
 * Reads the streams and the packets of a media container.
 *
 * <pre>{@code
 * try (MediaReader reader = MediaReader.open(Path.of("film.mp4"))) {
 *     MediaStream video = reader.firstVideo().orElseThrow();
 *     for (Packet packet; (packet = reader.read()) != null;) {
 *         if (packet.streamIndex() == video.index()) { ... }
 *     }
 * }
 * }</pre>
 *
 * <p>A reader reads one file, channel or stream only. No content can make the process open anything else. A reader may move
 * from thread to thread, but two threads must not call it at the same time: the second one gets a
 * {@link MediaStateException}. So does each call after {@link #close()}.
 */
public final class MediaReader implements AutoCloseable {

    private final Demuxer demuxer;

    private MediaReader(Demuxer demuxer) {
        this.demuxer = demuxer;
    }

    /**
     * Opens a file. It refuses pipes, and devices other than block devices, because readers seek.
     *
     * @param file the file
     * @return its reader, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws MediaFormatException when it is no media file of a known kind
     * @throws LibraryException when the library cannot be loaded
     */
    public static MediaReader open(Path file) throws IOException {
        return MediaFile.open(file, MediaReader::open);
    }

    /**
     * Opens a file within limits of the caller's. Otherwise as {@link #open(Path)}.
     *
     * @param file the file
     * @param limits what opening may cost
     * @return its reader, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws MediaFormatException when it is no media file of a known kind, or when it exceeds a limit
     * @throws LibraryException when the library cannot be loaded
     */
    public static MediaReader open(Path file, ReaderLimits limits) throws IOException {
        return open(file, limits, Isolation.usual());
    }

    /**
     * Opens a file in a place of the caller's. Otherwise as {@link #open(Path)}.
     *
     * @param file the file
     * @param isolation where the reader and the decoders of its streams work
     * @return its reader, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws WorkerException when the process of the reader has ended
     */
    public static MediaReader open(Path file, Isolation isolation) throws IOException {
        return open(file, ReaderLimits.USUAL, isolation);
    }

    /**
     * Opens a file within limits and in a place of the caller's. Otherwise as {@link #open(Path)}.
     *
     * @param file the file
     * @param limits what opening may cost
     * @param isolation where the reader and the decoders of its streams work
     * @return its reader, which the caller closes
     * @throws IOException when the file cannot be read
     * @throws WorkerException when the process of the reader has ended
     */
    public static MediaReader open(Path file, ReaderLimits limits, Isolation isolation) throws IOException {
        Objects.requireNonNull(limits, "limits");
        Objects.requireNonNull(isolation, "isolation");
        return MediaFile.open(file, channel -> open(channel, limits, isolation));
    }

    /**
     * Opens a channel, from its first byte. The reader uses the channel alone and closes it. When this method throws,
     * the channel stays open.
     *
     * @param channel the bytes
     * @return its reader, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws MediaFormatException when the bytes are no media of a known kind
     * @throws LibraryException when the library cannot be loaded
     */
    public static MediaReader open(SeekableByteChannel channel) throws IOException {
        return open(channel, ReaderLimits.USUAL);
    }

    /**
     * Opens a channel within limits of the caller's. Otherwise as {@link #open(SeekableByteChannel)}.
     *
     * @param channel the bytes
     * @param limits what opening may cost
     * @return its reader, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws MediaFormatException when the bytes are no media of a known kind, or when they exceed a limit
     * @throws LibraryException when the library cannot be loaded
     */
    public static MediaReader open(SeekableByteChannel channel, ReaderLimits limits) throws IOException {
        return open(channel, limits, Isolation.usual());
    }

    /**
     * Opens a channel within limits and in a place of the caller's. Otherwise as {@link #open(SeekableByteChannel)}.
     *
     * @param channel the bytes
     * @param limits what opening may cost
     * @param isolation where the reader and the decoders of its streams work
     * @return its reader, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws WorkerException when the process of the reader has ended
     */
    public static MediaReader open(SeekableByteChannel channel, ReaderLimits limits, Isolation isolation)
            throws IOException {
        return open(channel, limits, Objects.requireNonNull(isolation, "isolation").place());
    }

    /** Opens a channel within limits of the caller's, in a place of the caller's. */
    static MediaReader open(SeekableByteChannel channel, ReaderLimits limits, Workplace place) throws IOException {
        long[] fields = limits.toNative();
        c_mediareader_source source = new c_mediareader_source(channel);
        channel.position(0);
        return new MediaReader(Demuxer.open(channel, source, true, "not a media file that can be read", fields, place));
    }

    /**
     * Opens a channel that is read forward only, from where it is. Otherwise as {@link #open(InputStream)}.
     *
     * @param channel the bytes, in blocking mode
     * @return its reader, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws MediaFormatException when the bytes are no media of a known kind, or cannot be read forward only
     * @throws LibraryException when the library cannot be loaded
     */
    public static MediaReader open(ReadableByteChannel channel) throws IOException {
        return open(channel, ReaderLimits.USUAL);
    }

    /**
     * Opens a channel that is read forward only, within limits of the caller's. Otherwise as {@link #open(InputStream)}.
     *
     * @param channel the bytes, in blocking mode
     * @param limits what opening may cost
     * @return its reader, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws MediaFormatException when the bytes are no media of a known kind, when they exceed a limit, or cannot be read
     *     forward only
     * @throws LibraryException when the library cannot be loaded
     */
    public static MediaReader open(ReadableByteChannel channel, ReaderLimits limits) throws IOException {
        return open(channel, limits, Isolation.usual());
    }

    /**
     * Opens a channel that is read forward only, within limits and in a place of the caller's. Otherwise as
     * {@link #open(InputStream)}.
     *
     * @param channel the bytes, in blocking mode
     * @param limits what opening may cost
     * @param isolation where the reader and the decoders of its streams work
     * @return its reader, which the caller closes
     * @throws IOException when the channel cannot be read
     * @throws WorkerException when the process of the reader has ended
     */
    public static MediaReader open(ReadableByteChannel channel, ReaderLimits limits, Isolation isolation)
            throws IOException {
        long[] fields = limits.toNative();
        Workplace place = Objects.requireNonNull(isolation, "isolation").place();
        c_mediareader_source source = new c_mediareader_source(channel);
        return new MediaReader(Demuxer.open(channel, source, false, "not media that can be read forward only", fields, place));
    }

    /**
     * Opens a stream of bytes, such as that of a socket, a pipe or a download. It is read forward only, in constant memory:
     * of the stream the reader keeps at most the megabyte by which FFmpeg recognises the container, until it is open.
     *
     * <p>Such a reader does not {@linkplain #seek(Duration) seek}, so there is no {@link Film} of it. Mostly the duration is
     * unknown. An MP4 whose index is at its end cannot be read, and neither can other containers that are read by what is
     * at their end. An AVI states there which packets are keys, so that {@link Packet#isKey()} may be true of others too.
     *
     * <p>The stream is read inside the reader's methods, on the thread that calls them, which wait for its bytes. Its
     * exceptions come out of these methods as they are. The reader uses the stream alone and closes it. When this method
     * throws, the stream stays open. To end a call that waits, close the stream or interrupt the thread, as the stream
     * permits.
     *
     * @param stream the bytes, from where it is
     * @return its reader, which the caller closes
     * @throws IOException when the stream cannot be read
     * @throws MediaFormatException when the bytes are no media of a known kind, or cannot be read forward only
     * @throws LibraryException when the library cannot be loaded
     */
    public static MediaReader open(InputStream stream) throws IOException {
        return open(stream, ReaderLimits.USUAL);
    }

    /**
     * Opens a stream of bytes within limits of the caller's. Otherwise as {@link #open(InputStream)}.
     *
     * @param stream the bytes, from where it is
     * @param limits what opening may cost
     * @return its reader, which the caller closes
     * @throws IOException when the stream cannot be read
     * @throws MediaFormatException when the bytes are no media of a known kind, when they exceed a limit, or cannot be read
     *     forward only
     * @throws LibraryException when the library cannot be loaded
     */
    public static MediaReader open(InputStream stream, ReaderLimits limits) throws IOException {
        return open((ReadableByteChannel) new StreamChannel(stream), limits);
    }

    /**
     * Opens a stream of bytes within limits and in a place of the caller's. Otherwise as {@link #open(InputStream)}.
     *
     * @param stream the bytes, from where it is
     * @param limits what opening may cost
     * @param isolation where the reader and the decoders of its streams work
     * @return its reader, which the caller closes
     * @throws IOException when the stream cannot be read
     * @throws WorkerException when the process of the reader has ended
     */
    public static MediaReader open(InputStream stream, ReaderLimits limits, Isolation isolation) throws IOException {
        return open((ReadableByteChannel) new StreamChannel(stream), limits, isolation);
    }

    /** {@return what reads the container, for the classes that take packets of one stream} */
    Demuxer demuxer() {
        return demuxer;
    }

    /**
     * {@return FFmpeg's short name of the container format; several are separated by commas, such as {@code mov,mp4}}
     */
    public String formatName() {
        return demuxer.formatName();
    }

    /** {@return whether the bytes can be read anywhere, so that {@link #seek(Duration)} can do its work} */
    public boolean isSeekable() {
        return demuxer.isSeekable();
    }

    /** {@return the duration of the medium; empty when unknown} */
    public Optional<Duration> duration() {
        return time(ReaderInfo.DURATION);
    }

    /** {@return the time at which the medium starts; empty when unknown} */
    public Optional<Duration> startTime() {
        return time(ReaderInfo.START_TIME);
    }

    /** {@return bits per second of all streams together; empty when unknown} */
    public OptionalLong bitRate() {
        long rate = demuxer.info(ReaderInfo.BIT_RATE);
        return rate > 0 ? OptionalLong.of(rate) : OptionalLong.empty();
    }

    /**
     * {@return what the medium says of itself in words, such as title and artist, when it was opened} Ogg has no tags of its
     * own: there they are those of the first stream.
     */
    public Tags tags() {
        Tags own = demuxer.metadata().tags();
        return own.isEmpty() && formatName().equals("ogg") && !streams().isEmpty() ? streams().get(0).tags() : own;
    }

    /** {@return the moment at which the medium was made, if it tells} */
    public Optional<Instant> creationTime() {
        return tags().creationTime();
    }

    /** {@return the chapters that were known when the medium was opened, in the container's order; mostly none} */
    public List<Chapter> chapters() {
        return demuxer.metadata().chapters();
    }

    /** {@return the programs that were known when the medium was opened; mostly none} */
    public List<Program> programs() {
        return demuxer.metadata().programs();
    }

    /**
     * Returns the pictures that go with the medium, such as a record's cover.
     *
     * @return the pictures, in the order of their streams
     * @throws MediaStateException when the reader is closed or in use
     */
    public List<AttachedPicture> attachedPictures() {
        return demuxer.attachedPictures();
    }

    /**
     * Returns the picture that players show for the medium: the one that is called the front cover, else the first.
     *
     * @return the picture, if there is one
     * @throws MediaStateException when the reader is closed or in use
     */
    public Optional<AttachedPicture> coverArt() {
        List<AttachedPicture> pictures = attachedPictures();
        return pictures.stream().filter(picture -> picture.role().filter("Cover (front)"::equals).isPresent()).findFirst()
                .or(() -> pictures.stream().findFirst());
    }

    /**
     * Returns the streams by index. Some containers declare a stream only at its first packet. Such a stream appears
     * here after that packet was read.
     *
     * @return a snapshot
     */
    public List<MediaStream> streams() {
        return demuxer.streams();
    }

    /** {@return the first video stream that is not an attached picture, if there is one} */
    public Optional<MediaStream> firstVideo() {
        return streams().stream().filter(s -> s.kind() == MediaKind.VIDEO && !s.isAttachedPicture()).findFirst();
    }

    /** {@return the first audio stream, if there is one} */
    public Optional<MediaStream> firstAudio() {
        return streams().stream().filter(s -> s.kind() == MediaKind.AUDIO).findFirst();
    }

    MediaStream firstVideoOrThrow() {
        return firstVideo().orElseThrow(() -> new MediaFormatException("there are no pictures in it"));
    }

    MediaStream firstAudioOrThrow() {
        return firstAudio().orElseThrow(() -> new MediaFormatException("there is no sound in it"));
    }

    /**
     * Reads the next packet of any stream.
     *
     * @return the packet, or null at the end
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when the container is damaged at this position
     * @throws MediaStateException when the reader is closed or in use
     */
    public Packet read() throws IOException {
        return demuxer.read();
    }

    /** Reads the next packet of any stream as {@link #read()} does. It is valid until the memory is used again. */
    Packet read(PacketMemory memory) throws IOException {
        return demuxer.read(memory);
    }

    /**
     * Returns the packets from here to the end. Each packet is read only when it is asked for. When the stream of
     * packets ends early, the rest stays in the reader, for {@link #read()} or another stream. A parallel stream
     * delivers one packet at a time too.
     *
     * @return a sequential stream, which need not be closed. It throws {@link UncheckedIOException} when the bytes
     *     cannot be read, {@link MediaFormatException} where the container is damaged, and {@link MediaStateException}
     *     when the reader is closed or in use
     */
    public Stream<Packet> packets() {
        return new PullSpliterator<Packet>() {
            @Override
            Packet next() {
                try {
                    return read();
                } catch (IOException e) {
                    throw new UncheckedIOException(e);
                }
            }
        }.stream();
    }

    /**
     * Moves to the last position at or before a time where decoding can start: of the first video stream, or without one of
     * the first audio stream. Otherwise as {@link #seek(MediaStream, long)}.
     *
     * @param time on the container's time line, cut to microseconds
     * @throws IllegalArgumentException when the time is beyond 64 bits of microseconds
     * @throws MediaException when the bytes are read forward only
     * @throws MediaStateException when the reader is closed or in use
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when the container does not support it
     */
    public void seek(Duration time) throws IOException {
        long micros;
        try {
            micros = Math.addExact(Math.multiplyExact(Objects.requireNonNull(time, "time").getSeconds(), 1_000_000L),
                    time.getNano() / 1000);
        } catch (ArithmeticException e) {
            throw new IllegalArgumentException("beyond the range of times: " + time, e);
        }
        checkTime(micros);
        demuxer.seek(micros, firstVideo().or(this::firstAudio).orElse(null));
    }

    /**
     * Moves to the last position at or before a stream's time where decoding of that stream can start: the next packet of the
     * stream is that one. Where a container leads to a later place, the reader looks further back, at the worst at the
     * beginning, where it also ends when no place is early enough or the packets have no times.
     *
     * <p>Decoders are {@linkplain VideoDecoder#reset() reset} before they get the packets from there. Pictures of video that
     * are shown before the first packet's may be incomplete or missing. PCM, FLAC, ALAC, Vorbis and ADPCM with heads of
     * blocks give the samples of the whole at once, and WMA from its second packet on. Codecs that overlap their blocks need
     * up to a quarter of a second: begin so much before the sound that is wanted. Then MP3, MP2 and Opus differ from the whole
     * in the last bits only. The noise with which AAC and AC-3 fill gaps is another one, so {@link Sound} is for those who
     * need the very same samples. G.722, G.726 and the ADPCM of Yamaha carry their state from the beginning on: no pre-roll
     * makes them right, so they are decoded from the beginning, or by {@link Sound}. The times of WMA in WAV files may be some
     * samples off behind a seek, where FFmpeg computes them from bytes a second.
     *
     * @param stream a stream of this reader
     * @param time in units of the stream's time base
     * @throws IllegalArgumentException when the stream belongs to another reader, or the time is {@link Packet#NO_TIME}
     * @throws MediaException when the bytes are read forward only
     * @throws MediaStateException when the reader is closed or in use
     * @throws IOException when the bytes cannot be read
     * @throws MediaFormatException when the container does not support it
     */
    public void seek(MediaStream stream, long time) throws IOException {
        check(stream);
        checkTime(time);
        demuxer.seek(stream, time);
    }

    /** @throws IllegalArgumentException when the stream belongs to another reader */
    void check(MediaStream stream) {
        int index = Objects.requireNonNull(stream, "stream").index();
        List<MediaStream> known = streams();
        if (index >= known.size() || known.get(index) != stream) {
            throw new IllegalArgumentException(stream + " is not a stream of this reader");
        }
    }

    private static void checkTime(long time) {
        if (time == Packet.NO_TIME) {
            throw new IllegalArgumentException("the smallest number stands for no time, there is no place to seek to");
        }
    }

    /**
     * Goes on after a {@link WorkerException}: opens the medium in another process and gets there to the place where the reader
     * was, so that the next packet is the one behind the last packet that it has delivered. For that it reads what was read
     * since the opening, or since the last seek; the process gets the packets, and nobody else. Restart the decoders of the
     * streams too, by {@link VideoDecoder#restart()} and {@link AudioDecoder#restart()}; a packet with which a decoder ended the
     * process is not delivered again.
     *
     * <p>When it was the reading itself that ended the process, it may do so again at the same packet. Then seek behind it,
     * once the reader is restarted. After a seek that has failed, seek again.
     *
     * @throws MediaException when the bytes are read forward only: those before are gone
     * @throws MediaFormatException when the bytes have changed since they were read
     * @throws WorkerException when the new process ends on the way
     * @throws MediaStateException when the reader is closed or in use
     * @throws IOException when the bytes cannot be read
     */
    public void restart() throws IOException {
        demuxer.restart();
    }

    /**
     * Closes the reader and its channel or stream. A second call does nothing. Streams and packets stay usable.
     *
     * @throws IOException when the channel or stream cannot be closed
     * @throws MediaStateException when another thread calls the reader
     */
    @Override
    public void close() throws IOException {
        demuxer.close();
        demuxer.closeChannel();
    }

    /** Closes the reader but not its channel. */
    void release() {
        demuxer.close();
    }

    /** Closes the channel only, which ends the call of another thread. */
    void interrupt() throws IOException {
        demuxer.closeChannel();
    }

    private Optional<Duration> time(int field) {
        long micros = demuxer.info(field);
        return micros == Packet.NO_TIME ? Optional.empty() : Optional.of(new Rational(1, 1_000_000).times(micros));
    }
}
