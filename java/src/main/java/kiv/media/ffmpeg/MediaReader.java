package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.lang.ref.Reference;
import java.nio.channels.ReadableByteChannel;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Path;
import java.time.Duration;
import java.time.Instant;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.OptionalLong;
import java.util.stream.Stream;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.ReaderInfo;
import kiv.media.ffmpeg.natives.SeekFlags;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.natives.c_mediareader_source;
import kiv.media.ffmpeg.wall.ContainerReader;

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

    /** Packets of all streams among which the first ones of sound are looked for. */
    private static final int MOST_FIRST = 64;

    private final NativeHandle<ContainerReader> handle;
    private final Workplace place;
    private final ReadableByteChannel channel;
    private final c_mediareader_source source;
    private final boolean seekable;
    private final String formatName;
    private final long[] info;
    private final MediaMetadata metadata;
    private volatile List<MediaStream> streams = List.of();
    private final SoundBeginnings beginnings;
    private boolean moved;
    /** Packets that were read to verify a seek. */
    private final Deque<Packet> ahead = new ArrayDeque<>();

    private MediaReader(ContainerReader reader, Workplace place, ReadableByteChannel channel, c_mediareader_source source,
            boolean seekable) {
        this.handle = new NativeHandle<>("reader", this, reader, ContainerReader::delete);
        this.place = place;
        this.channel = channel;
        this.source = source;
        this.seekable = seekable;
        try {
            this.formatName = reader.formatName();
            this.beginnings = new SoundBeginnings(formatName);
            this.info = reader.info();
            this.metadata = MediaMetadata.read(reader);
            learnStreams(reader, info[ReaderInfo.STREAMS]);
        } catch (Throwable e) {
            handle.close();
            throw e;
        }
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
        Objects.requireNonNull(limits, "limits");
        return MediaFile.open(file, channel -> open(channel, limits));
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
        return open(channel, limits, Workplace.usual());
    }

    /** Opens a channel within limits of the caller's, in a place of the caller's. */
    static MediaReader open(SeekableByteChannel channel, ReaderLimits limits, Workplace place) throws IOException {
        long[] fields = limits.toNative();
        c_mediareader_source source = new c_mediareader_source(channel);
        channel.position(0);
        return open(channel, source, true, "not a media file that can be read", fields, place);
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
        long[] fields = limits.toNative();
        c_mediareader_source source = new c_mediareader_source(channel);
        return open(channel, source, false, "not media that can be read forward only", fields, Workplace.usual());
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

    private static MediaReader open(ReadableByteChannel channel, c_mediareader_source source, boolean seekable,
            String failure, long[] limits, Workplace place) throws IOException {
        try {
            ContainerReader reader = place.openReader(source, !seekable, limits);
            return new MediaReader(reader, place, channel, source, seekable);
        } catch (RuntimeException e) {
            throw failed(source, failure, e);
        } finally {
            // The source alone does not keep the channel reachable.
            Reference.reachabilityFence(channel);
        }
    }

    /**
     * {@return FFmpeg's short name of the container format; several are separated by commas, such as {@code mov,mp4}}
     */
    public String formatName() {
        return formatName;
    }

    /** {@return whether the bytes can be read anywhere, so that {@link #seek(Duration)} can do its work} */
    public boolean isSeekable() {
        return seekable;
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
        return info[ReaderInfo.BIT_RATE] > 0 ? OptionalLong.of(info[ReaderInfo.BIT_RATE]) : OptionalLong.empty();
    }

    /**
     * {@return what the medium says of itself in words, such as title and artist, when it was opened} Ogg has no tags of its
     * own: there they are those of the first stream.
     */
    public Tags tags() {
        return metadata.tags().isEmpty() && formatName.equals("ogg") && !streams.isEmpty() ? streams.get(0).tags()
                : metadata.tags();
    }

    /** {@return the moment at which the medium was made, if it tells} */
    public Optional<Instant> creationTime() {
        return tags().creationTime();
    }

    /** {@return the chapters that were known when the medium was opened, in the container's order; mostly none} */
    public List<Chapter> chapters() {
        return metadata.chapters();
    }

    /** {@return the programs that were known when the medium was opened; mostly none} */
    public List<Program> programs() {
        return metadata.programs();
    }

    /**
     * Returns the pictures that go with the medium, such as a record's cover.
     *
     * @return the pictures, in the order of their streams
     * @throws MediaStateException when the reader is closed or in use
     */
    public List<AttachedPicture> attachedPictures() {
        return handle.call(reader -> streams.stream().filter(MediaStream::isAttachedPicture).flatMap(stream -> {
            byte[] bytes = reader.picture(stream.index());
            return bytes == null ? Stream.empty() : Stream.of(new AttachedPicture(stream, bytes));
        }).toList());
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
        return streams;
    }

    /** {@return the first video stream that is not an attached picture, if there is one} */
    public Optional<MediaStream> firstVideo() {
        return streams.stream().filter(s -> s.kind() == MediaKind.VIDEO && !s.isAttachedPicture()).findFirst();
    }

    /** {@return the first audio stream, if there is one} */
    public Optional<MediaStream> firstAudio() {
        return streams.stream().filter(s -> s.kind() == MediaKind.AUDIO).findFirst();
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
        return handle.call(reader -> ahead.isEmpty() ? read(reader) : ahead.remove());
    }

    /** Reads the next packet of any stream as {@link #read()} does. It is valid until the memory is used again. */
    Packet read(PacketMemory memory) throws IOException {
        return handle.call(reader -> ahead.isEmpty() ? completed(reader, memory.next((room, fields) -> check(
                () -> reader.readStream(c_mediareader_ffmpeg.NO_STREAM, room, fields)))) : ahead.remove());
    }

    private Packet read(ContainerReader reader) throws IOException {
        long[] fields = new long[PacketFields.SIZE];
        byte[] bytes = check(() -> reader.read(fields));
        return completed(reader, bytes == null ? null : Packet.ofNative(bytes, fields));
    }

    private Packet completed(ContainerReader reader, Packet packet) {
        if (packet == null) {
            return null;
        }
        if (packet.streamIndex() >= streams.size()) {
            learnStreams(reader, packet.streamIndex() + 1L);
        }
        return beginnings.complete(packet, streams.get(packet.streamIndex()), moved);
    }

    /** Reads the first packets of sound before the reader moves away from them. */
    private void leaveBeginning(ContainerReader reader) throws IOException {
        try {
            for (int packets = 0; !moved && packets < MOST_FIRST && !streams.stream().allMatch(beginnings::knows); packets++) {
                if (read(reader) == null) {
                    break;
                }
            }
        } catch (MediaFormatException e) {
            // Whoever reads that place will be told.
        }
        moved = true;
    }

    /**
     * Reads the next packet of one stream, and skips others. Not to be mixed with {@link #seek}.
     *
     * @param buffer receives the bytes, when it is long enough
     * @param fields receives what describes the packet, laid out as {@link PacketFields} with the length
     * @return the buffer, or a new array when that is too short; null at the end
     */
    byte[] readStream(int stream, byte[] buffer, long[] fields) throws IOException {
        return handle.call(reader -> check(() -> reader.readStream(stream, buffer, fields)));
    }

    /**
     * Reads the next packets of one stream, and skips others. Not to be mixed with {@link #seek}. When it throws, the arrays
     * hold the packets before the failure.
     *
     * @param buffer receives the bytes of all
     * @param fields receives what describes each packet, laid out as {@link PacketFields} with the length
     * @return the bytes of the last packet when they do not fit into the buffer, otherwise null
     */
    byte[] readSeveral(int stream, byte[] buffer, long[] fields) throws IOException {
        return handle.call(reader -> check(() -> reader.readSeveral(stream, buffer, fields)));
    }

    /**
     * Reads the next packet of one stream as {@link #read()} does, and skips others. Not to be mixed with {@link #seek}.
     *
     * @param fields receives what describes the packet, laid out as {@link PacketFields} with the length
     * @return the packet, or null at the end
     */
    Packet readOf(MediaStream stream, long[] fields) throws IOException {
        byte[] bytes = readStream(stream.index(), null, fields);
        return bytes == null ? null : beginnings.complete(Packet.ofNative(bytes, fields), stream, moved);
    }

    /** Reads a packet. */
    @FunctionalInterface
    private interface PacketRead {
        byte[] bytes() throws IOException;
    }

    private byte[] check(PacketRead read) throws IOException {
        try {
            return read.bytes();
        } catch (RuntimeException e) {
            throw failed(source, "cannot read the next packet", e);
        }
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
        MediaStream stream = firstVideo().or(this::firstAudio).orElse(null);
        double ticks = stream == null ? 0 : micros / (1e6 * stream.timeBase().toDouble());
        // Rounded down, except for what the conversion itself makes too small.
        long target = (long) Math.floor(ticks + 1e-6 * Math.max(1, Math.abs(ticks) * 1e-6));
        handle.call(reader -> {
            requireSeekable();
            seek(reader, c_mediareader_ffmpeg.NO_STREAM, micros);
            if (stream != null && stream.timeBase().toDouble() > 0) {
                settle(reader, stream, target);
            }
            return null;
        });
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
        handle.call(reader -> {
            requireSeekable();
            seek(reader, stream.index(), time);
            settle(reader, stream, time);
            return null;
        });
    }

    private void requireSeekable() {
        if (!seekable) {
            throw new MediaException("the reader cannot seek, because it reads a stream forward only; open a file or a"
                    + " SeekableByteChannel instead");
        }
    }

    /** Verifies where a seek has ended, and looks further back when that is too late. */
    private void settle(ContainerReader reader, MediaStream stream, long time) throws IOException {
        ahead.addAll(new SeekVerifier(stream, time, formatName.equals("ogg"), () -> read(reader),
                (place, inBytes) -> trySeek(reader, stream.index(), place, inBytes)).settle());
    }

    /** @throws IllegalArgumentException when the stream belongs to another reader */
    void check(MediaStream stream) {
        int index = Objects.requireNonNull(stream, "stream").index();
        List<MediaStream> known = streams;
        if (index >= known.size() || known.get(index) != stream) {
            throw new IllegalArgumentException(stream + " is not a stream of this reader");
        }
    }

    private static void checkTime(long time) {
        if (time == Packet.NO_TIME) {
            throw new IllegalArgumentException("the smallest number stands for no time, there is no place to seek to");
        }
    }

    /** Moves near a place of a stream, which may be a position in bytes. @return whether the container can do that */
    boolean trySeek(int stream, long place, boolean inBytes) throws IOException {
        return handle.call(reader -> trySeek(reader, stream, place, inBytes));
    }

    private boolean trySeek(ContainerReader reader, int stream, long place, boolean inBytes) throws IOException {
        ahead.clear();
        leaveBeginning(reader);
        try {
            reader.seek(stream, place, inBytes ? SeekFlags.BYTE : SeekFlags.BACKWARD);
            return true;
        } catch (RuntimeException e) {
            if (source.threw(e) || e instanceof MediaException) {
                throw e;
            }
            return false;
        }
    }

    private void seek(ContainerReader reader, int stream, long time) throws IOException {
        ahead.clear();
        leaveBeginning(reader);
        try {
            reader.seek(stream, time, SeekFlags.BACKWARD);
        } catch (RuntimeException e) {
            if (source.threw(e) || e instanceof MediaException || !trySeek(reader, 0, 0, true)) {
                throw failed(source, "cannot seek", e);
            }
        }
    }

    /**
     * Closes the reader and its channel or stream. A second call does nothing. Streams and packets stay usable.
     *
     * @throws IOException when the channel or stream cannot be closed
     * @throws MediaStateException when another thread calls the reader
     */
    @Override
    public void close() throws IOException {
        handle.close();
        channel.close();
    }

    /** Closes the reader but not its channel. */
    void release() {
        handle.close();
    }

    /** Closes the channel only, which ends the call of another thread. */
    void interrupt() throws IOException {
        channel.close();
    }

    private void learnStreams(ContainerReader reader, long count) {
        List<MediaStream> known = new ArrayList<>(streams);
        int first = known.size();
        List<StreamMetadata> metadataOfNew = StreamMetadata.read(reader, first, count);
        for (int i = first; i < count; i++) {
            known.add(new MediaStream(i, reader.stream(i), reader.codecName(i), reader.extradata(i),
                    metadataOfNew.get(i - first), place));
        }
        streams = List.copyOf(known);
    }

    /** Unchecked exceptions of the channel stay as they are. The others report a damaged container. */
    private static RuntimeException failed(c_mediareader_source source, String what, RuntimeException cause) {
        return cause.getClass() == RuntimeException.class && !source.threw(cause)
                ? new MediaFormatException(what + " (" + MediaException.plain(cause) + ")", cause)
                : cause;
    }

    private Optional<Duration> time(int field) {
        long micros = info[field];
        return micros == Packet.NO_TIME ? Optional.empty() : Optional.of(new Rational(1, 1_000_000).times(micros));
    }
}
