package kiv.media.ffmpeg;

import java.io.IOException;
import java.lang.ref.Reference;
import java.nio.channels.ReadableByteChannel;
import java.nio.channels.SeekableByteChannel;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;
import java.util.function.Consumer;
import java.util.function.Supplier;
import java.util.stream.Stream;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.ReaderInfo;
import kiv.media.ffmpeg.natives.SeekFlags;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.natives.c_mediareader_source;
import kiv.media.ffmpeg.wall.AheadDecoder;
import kiv.media.ffmpeg.wall.ContainerReader;
import kiv.media.ffmpeg.wall.PacketAhead;

/**
 * Takes the packets out of an open container, in order or from a place on, and learns its streams. It stands behind a
 * {@link MediaReader}, whose documentation tells what callers see; its methods throw the same exceptions. One thread at a time
 * is inside a method; the others throw a {@link MediaStateException}. What was described at the opening, and the streams, any
 * thread may ask for at any time.
 */
final class Demuxer {

    /** Packets of all streams among which the first ones of sound are looked for. */
    private static final int MOST_FIRST = 64;

    private final NativeHandle<ContainerReader> handle;
    private final Workplace place;
    private final ReadableByteChannel channel;
    private final long[] limits;
    private c_mediareader_source source;
    private final ReaderJournal journal = new ReaderJournal();
    private final boolean seekable;
    private final String formatName;
    private final long[] info;
    private final MediaMetadata metadata;
    private volatile List<MediaStream> streams = List.of();
    private final SoundBeginnings beginnings;
    private boolean moved;
    /** Packets that were read to verify a seek. */
    private final Deque<Packet> ahead = new ArrayDeque<>();

    private Demuxer(ContainerReader reader, Workplace place, ReadableByteChannel channel, c_mediareader_source source,
            boolean seekable, long[] limits) {
        this.handle = new NativeHandle<>("reader", this, reader, ContainerReader::delete);
        this.place = place;
        this.channel = channel;
        this.source = source;
        this.limits = limits;
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
     * Opens a channel from where it is. When this method throws, the channel stays open.
     *
     * @param source the channel's bytes
     * @param seekable whether the channel is a {@link SeekableByteChannel} that may be read anywhere
     * @param failure says that the bytes are no such media
     * @param limits what opening may cost, as {@link ReaderLimits#toNative} lays it out
     */
    static Demuxer open(ReadableByteChannel channel, c_mediareader_source source, boolean seekable, String failure,
            long[] limits, Workplace place) throws IOException {
        try {
            ContainerReader reader = place.openReader(source, !seekable, limits);
            return new Demuxer(reader, place, channel, source, seekable, limits);
        } catch (RuntimeException e) {
            throw failed(source, failure, e);
        } finally {
            // The source alone does not keep the channel reachable.
            Reference.reachabilityFence(channel);
        }
    }

    String formatName() {
        return formatName;
    }

    boolean isSeekable() {
        return seekable;
    }

    /** {@return a number of the container, by its index in {@link ReaderInfo}} */
    long info(int field) {
        return info[field];
    }

    MediaMetadata metadata() {
        return metadata;
    }

    /** {@return the streams that are known so far} */
    List<MediaStream> streams() {
        return streams;
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

    List<AttachedPicture> attachedPictures() {
        return handle.call(reader -> streams.stream().filter(MediaStream::isAttachedPicture).flatMap(stream -> {
            byte[] bytes = checked("cannot read a picture", () -> reader.picture(stream.index()));
            return bytes == null ? Stream.empty() : Stream.of(new AttachedPicture(stream, bytes));
        }).toList());
    }

    /** Reads the next packet of any stream; null at the end. */
    Packet read() throws IOException {
        return handle.call(reader -> ahead.isEmpty() ? read(reader) : ahead.remove());
    }

    private Packet read(ContainerReader reader) throws IOException {
        long[] fields = new long[PacketFields.SIZE];
        byte[] bytes = check(() -> reader.read(fields));
        return journaled(completed(reader, bytes == null ? null : Packet.ofNative(bytes, fields)), fields);
    }

    /** Reads the next packet of any stream as {@link #read()} does. It is valid until the memory is used again. */
    Packet read(PacketMemory memory) throws IOException {
        return handle.call(reader -> ahead.isEmpty() ? readInto(memory, reader) : ahead.remove());
    }

    private Packet readInto(PacketMemory memory, ContainerReader reader) throws IOException {
        return journaled(completed(reader, memory.next((room, fields) -> check(
                () -> reader.readStream(c_mediareader_ffmpeg.NO_STREAM, room, fields)))), memory.fields());
    }

    private Packet completed(ContainerReader reader, Packet packet) {
        if (packet == null) {
            return null;
        }
        if (packet.streamIndex() >= streams.size()) {
            checked("cannot describe a stream", () -> {
                learnStreams(reader, packet.streamIndex() + 1L);
                return null;
            });
        }
        return beginnings.complete(packet, streams.get(packet.streamIndex()), moved);
    }

    private Packet journaled(Packet packet, long[] fields) {
        if (packet != null) {
            journal.read(fields);
        }
        return packet;
    }

    /**
     * Has a decoder behind the wall decode packets that come next, while its caller looks at what it got. What goes wrong is
     * thrown to whoever asks for what comes next.
     *
     * @param stream the decoder's
     * @param adding adds a packet to those that the decoder takes
     */
    void decodeAhead(AheadDecoder decoder, MediaStream stream, Consumer<PacketAhead> adding) {
        int room = decoder.room();
        if (room == 0) {
            return;
        }
        try {
            handle.call(reader -> {
                if (ahead.isEmpty()) {
                    decodeAhead(reader, decoder, stream.index(), room, adding);
                }
                return null;
            });
        } catch (MediaException e) {
            // The next call gets it.
        }
    }

    private static void decodeAhead(ContainerReader reader, AheadDecoder decoder, int stream, int room,
            Consumer<PacketAhead> adding) {
        int taken = decoder.taken();
        reader.readAhead(stream, taken + 1);
        List<PacketAhead> coming = reader.comingPackets(stream, taken, room);
        if (!coming.isEmpty()) {
            try {
                coming.forEach(adding);
            } catch (OutOfMemoryError e) {
                decoder.withdraw(); // the caller's pictures may have all the memory that the decoder shares
                return;
            }
            decoder.start();
            // The decoder works meanwhile.
            reader.readAhead(stream, taken + coming.size() + room);
        }
    }

    /**
     * Reads the next packet of one stream, and skips others. Not to be mixed with seeks that are verified.
     *
     * @param buffer receives the bytes, when it is long enough
     * @param fields receives what describes the packet, laid out as {@link PacketFields} with the length
     * @return the buffer, or a new array when that is too short; null at the end
     */
    byte[] readStream(int stream, byte[] buffer, long[] fields) throws IOException {
        return handle.call(reader -> check(() -> reader.readStream(stream, buffer, fields)));
    }

    /**
     * Reads the next packets of one stream, and skips others. Not to be mixed with seeks that are verified. When it throws, the
     * arrays hold the packets before the failure.
     *
     * @param buffer receives the bytes of all
     * @param fields receives what describes each packet, laid out as {@link PacketFields} with the length
     * @return the bytes of the last packet when they do not fit into the buffer, otherwise null
     */
    byte[] readSeveral(int stream, byte[] buffer, long[] fields) throws IOException {
        return handle.call(reader -> check(() -> reader.readSeveral(stream, buffer, fields)));
    }

    /**
     * Reads the next packet of one stream as {@link #read()} does, and skips others. Not to be mixed with seeks that are
     * verified.
     *
     * @param fields receives what describes the packet, laid out as {@link PacketFields} with the length
     * @return the packet, or null at the end
     */
    Packet readOf(MediaStream stream, long[] fields) throws IOException {
        byte[] bytes = readStream(stream.index(), null, fields);
        return bytes == null ? null : beginnings.complete(Packet.ofNative(bytes, fields), stream, moved);
    }

    /**
     * Moves to a time of the medium, and verifies by a stream where that has led.
     *
     * @param micros on the container's time line
     * @param stream the stream; null to take the place as it is
     */
    void seek(long micros, MediaStream stream) throws IOException {
        double unit = stream == null ? 0 : stream.timeBase().toDouble();
        double ticks = micros / (1e6 * unit);
        // Rounded down, except for what the conversion itself makes too small.
        long time = (long) Math.floor(ticks + 1e-6 * Math.max(1, Math.abs(ticks) * 1e-6));
        handle.call(reader -> {
            requireSeekable();
            seek(reader, c_mediareader_ffmpeg.NO_STREAM, micros);
            if (unit > 0) {
                settle(reader, stream, time);
            }
            return null;
        });
    }

    /** Moves to a time of a stream, and verifies where that has led. */
    void seek(MediaStream stream, long time) throws IOException {
        handle.call(reader -> {
            requireSeekable();
            seek(reader, stream.index(), time);
            settle(reader, stream, time);
            return null;
        });
    }

    /** Moves near a place of a stream, which may be a position in bytes. @return whether the container can do that */
    boolean trySeek(int stream, long to, boolean inBytes) throws IOException {
        return handle.call(reader -> trySeek(reader, stream, to, inBytes));
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
                (to, inBytes) -> trySeek(reader, stream.index(), to, inBytes)).settle());
    }

    private void seek(ContainerReader reader, int stream, long time) throws IOException {
        ahead.clear();
        leaveBeginning(reader);
        journal.seek(stream, time, SeekFlags.BACKWARD);
        try {
            reader.seek(stream, time, SeekFlags.BACKWARD);
        } catch (RuntimeException e) {
            if (source.threw(e) || e instanceof MediaException || !trySeek(reader, 0, 0, true)) {
                throw failed(source, "cannot seek", e);
            }
        }
    }

    private boolean trySeek(ContainerReader reader, int stream, long to, boolean inBytes) throws IOException {
        ahead.clear();
        leaveBeginning(reader);
        int flags = inBytes ? SeekFlags.BYTE : SeekFlags.BACKWARD;
        journal.seek(stream, to, flags);
        try {
            reader.seek(stream, to, flags);
            return true;
        } catch (RuntimeException e) {
            if (source.threw(e) || e instanceof MediaException) {
                throw e;
            }
            return false;
        }
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

    /** Goes on in another process behind the last packet. */
    void restart() throws IOException {
        handle.call(reader -> {
            if (!(channel instanceof SeekableByteChannel bytes) || !seekable) {
                throw new MediaException("the reader cannot be restarted, because it reads a stream forward only and the bytes"
                        + " before are gone; open a file or a SeekableByteChannel instead");
            }
            c_mediareader_source[] again = new c_mediareader_source[1];
            ContainerReader restored;
            try {
                restored = journal.restore(() -> {
                    again[0] = new c_mediareader_source(bytes);
                    bytes.position(0);
                    return place.openReader(again[0], false, limits);
                });
            } catch (RuntimeException e) {
                throw failed(again[0], "cannot be read again", e);
            }
            source = again[0];
            handle.replace(restored).delete();
            return null;
        });
    }

    /** Closes the container but not its channel. */
    void close() {
        handle.close();
    }

    /** Closes the channel only, which ends the call of another thread. */
    void closeChannel() throws IOException {
        channel.close();
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

    private <T> T checked(String failure, Supplier<T> description) {
        try {
            return description.get();
        } catch (RuntimeException e) {
            throw failed(source, failure, e);
        }
    }

    /** Unchecked exceptions of the channel stay as they are. The others report a damaged container. */
    private static RuntimeException failed(c_mediareader_source source, String what, RuntimeException cause) {
        return cause.getClass() == RuntimeException.class && !source.threw(cause)
                ? new MediaFormatException(what + " (" + MediaException.plain(cause) + ")", cause)
                : cause;
    }
}
