package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;
import java.util.Objects;
import java.util.stream.Stream;
import kiv.media.ffmpeg.natives.SplitterFields;
import kiv.media.ffmpeg.natives.StreamFields;
import kiv.media.ffmpeg.wall.Splitter;

/**
 * Cuts a stream of bytes of one codec, such as raw H.264 (Annex B) or AAC with ADTS headers, into whole packets. The bytes
 * come in pieces of any size, as a socket delivers them: out of an {@link InputStream} by {@link #packets}, or from anywhere
 * by {@link #push(byte[])} and {@link #finish}.
 *
 * <pre>{@code
 * try (PacketSplitter splitter = PacketSplitter.open("h264");
 *         VideoDecoder decoder = VideoDecoder.open(splitter.stream(), 1)) { // further threads hold pictures back
 *     decoder.pictures(splitter.packets(socket.getInputStream())).forEach(this::show);
 * }
 * }</pre>
 *
 * <p>The codecs, by FFmpeg's names: {@code h264}, {@code hevc}, {@code vvc}, {@code mpeg1video}, {@code mpeg2video},
 * {@code mpeg4}, {@code h261}, {@code h263}, {@code vc1}, {@code mjpeg}, {@code aac}, {@code mp1}, {@code mp2}, {@code mp3},
 * {@code ac3}, {@code eac3}, {@code dts}, {@code flac}, {@code truehd} and {@code mlp}, of which an older FFmpeg lacks some.
 * When the codec is not known, {@link MediaReader#open(InputStream)} finds it out.
 *
 * <p>A packet ends where the next one begins, so a splitter delivers it when it has seen the beginning of the next one.
 * Bytes that belong to no packet are left out, or come with the next packet.
 *
 * <p>A splitter may move from thread to thread, but two threads must not call it at the same time: the second one gets a
 * {@link MediaStateException}. So does each call after {@link #close()}.
 */
public final class PacketSplitter implements AutoCloseable {

    /** The most bytes of a packet. Hostile bytes would otherwise fill the memory, because their packet never ends. */
    public static final int LARGEST_PACKET = 64 << 20;

    /** FFmpeg's parsers copy what they keep of a piece, and its times hold for the first packet that begins in it. */
    private static final int PIECE = 4096;
    /** Read at once. */
    private static final int READ = 1 << 16;
    private static final int MOST_KEPT = 100_000;

    private final NativeHandle<Splitter> handle;
    private final Workplace place;
    private final String codec;
    private final Rational timeBase;
    private final long[] fields = new long[SplitterFields.SIZE];
    private long sincePacket;

    private PacketSplitter(String codec, Rational timeBase, Workplace place) {
        this.handle = new NativeHandle<>("splitter", this, place.createSplitter(codec), Splitter::delete);
        this.place = place;
        this.codec = codec;
        this.timeBase = timeBase;
    }

    /**
     * Opens a splitter for packets without times.
     *
     * @param codec FFmpeg's short name of the codec
     * @return the splitter, to be closed
     * @throws UnsupportedCodecException when streams of the codec are not cut, or the loaded FFmpeg cannot do it
     * @throws LibraryException when the library cannot be loaded
     */
    public static PacketSplitter open(String codec) {
        return open(codec, new Rational(0, 0));
    }

    /**
     * Opens a splitter.
     *
     * @param codec FFmpeg's short name of the codec
     * @param timeBase the unit of the times that come with the bytes, in seconds
     * @return the splitter, to be closed
     * @throws UnsupportedCodecException when streams of the codec are not cut, or the loaded FFmpeg cannot do it
     * @throws LibraryException when the library cannot be loaded
     */
    public static PacketSplitter open(String codec, Rational timeBase) {
        return open(codec, timeBase, Isolation.usual());
    }

    /**
     * Opens a splitter in a place of the caller's. Otherwise as {@link #open(String, Rational)}.
     *
     * @param codec FFmpeg's short name of the codec
     * @param timeBase the unit of the times that come with the bytes, in seconds
     * @param isolation where the splitter and the decoders of its stream work
     * @return the splitter, to be closed
     * @throws UnsupportedCodecException when streams of the codec are not cut, or the loaded FFmpeg cannot do it
     */
    public static PacketSplitter open(String codec, Rational timeBase, Isolation isolation) {
        Objects.requireNonNull(isolation, "isolation");
        return open(codec, timeBase, isolation.place());
    }

    static PacketSplitter open(String codec, Rational timeBase, Workplace place) {
        Objects.requireNonNull(codec, "codec");
        Objects.requireNonNull(timeBase, "timeBase");
        try {
            return new PacketSplitter(codec, timeBase, place);
        } catch (MediaException e) {
            throw e;
        } catch (RuntimeException e) {
            throw new UnsupportedCodecException("no splitter for " + codec + ": " + MediaException.plain(e), e);
        }
    }

    /**
     * Describes the stream for {@link VideoDecoder#open(MediaStream)} and {@link AudioDecoder#open(MediaStream)}. Video can
     * be opened at once: its pictures state their size. Channels and sample rate of sound are known after the first packet.
     *
     * @return what is known by now; its index is 0
     * @throws MediaStateException when the splitter is closed or in use
     */
    public MediaStream stream() {
        return handle.call(splitter -> {
            try {
                long[] known = splitter.stream();
                known[StreamFields.TIME_BASE_NUMERATOR] = timeBase.numerator();
                known[StreamFields.TIME_BASE_DENOMINATOR] = timeBase.denominator();
                return MediaStream.ofSplitter(known, splitter.codecName(), place);
            } catch (RuntimeException | Error e) {
                throw MediaException.of(e, "describing a stream of " + codec, MediaFormatException::new);
            }
        });
    }

    /**
     * Takes the next bytes.
     *
     * @param bytes the bytes, all of which are taken
     * @return the packets that have ended, often none
     * @throws MediaFormatException when no packet ends within {@link #LARGEST_PACKET} bytes; what came is dropped then
     * @throws MediaStateException when the splitter is closed or in use
     */
    public List<Packet> push(byte[] bytes) {
        return push(bytes, 0, Objects.requireNonNull(bytes, "bytes").length);
    }

    /**
     * Takes the next bytes. Otherwise as {@link #push(byte[])}.
     *
     * @param bytes holds the bytes
     * @param offset where they begin
     * @param length how many they are
     * @return the packets that have ended, often none
     * @throws IllegalArgumentException when they are outside of the array
     * @throws MediaFormatException when no packet ends within {@link #LARGEST_PACKET} bytes; what came is dropped then
     * @throws MediaStateException when the splitter is closed or in use
     */
    public List<Packet> push(byte[] bytes, int offset, int length) {
        return push(bytes, offset, length, Packet.NO_TIME, Packet.NO_TIME);
    }

    /**
     * Takes the next bytes, with times. Otherwise as {@link #push(byte[])}.
     *
     * @param bytes the bytes from the position to the limit; the position moves to the limit
     * @param presentationTime that of the first packet that begins in these bytes, or {@link Packet#NO_TIME}
     * @param decodingTime that of the same packet, or {@link Packet#NO_TIME}
     * @return the packets that have ended, often none
     * @throws MediaFormatException when no packet ends within {@link #LARGEST_PACKET} bytes; what came is dropped then
     * @throws MediaStateException when the splitter is closed or in use; the position then stays
     */
    public List<Packet> push(ByteBuffer bytes, long presentationTime, long decodingTime) {
        byte[] copy = new byte[Objects.requireNonNull(bytes, "bytes").remaining()];
        bytes.duplicate().get(copy);
        List<Packet> packets = push(copy, 0, copy.length, presentationTime, decodingTime);
        bytes.position(bytes.limit());
        return packets;
    }

    private List<Packet> push(byte[] bytes, int offset, int length, long presentationTime, long decodingTime) {
        int size = Objects.requireNonNull(bytes, "bytes").length;
        if (offset < 0 || length < 0 || length > size - offset) {
            throw new IllegalArgumentException("offset " + offset + " and length " + length + " are not within " + size
                    + " bytes");
        }
        return handle.call(splitter -> {
            List<Packet> packets = new ArrayList<>();
            fields[SplitterFields.PRESENTATION_TIME] = presentationTime;
            fields[SplitterFields.DECODING_TIME] = decodingTime;
            for (int done = 0; done < length; done += PIECE) {
                int end = offset + Math.min(length, done + PIECE);
                for (int at = offset + done; at < end;) {
                    byte[] packet = split(splitter, bytes, at, end - at);
                    int used = (int) fields[SplitterFields.USED];
                    at += used;
                    sincePacket += used;
                    if (packet != null) {
                        sincePacket = 0;
                        packets.add(Packet.ofSplitter(packet, fields));
                    } else if (sincePacket > LARGEST_PACKET) {
                        restart(splitter);
                        throw new MediaFormatException("no packet of " + codec + " ends within " + LARGEST_PACKET + " bytes");
                    }
                    fields[SplitterFields.PRESENTATION_TIME] = Packet.NO_TIME;
                    fields[SplitterFields.DECODING_TIME] = Packet.NO_TIME;
                }
            }
            return packets;
        });
    }

    /**
     * Ends the stream. The splitter is then ready for another one of the same codec.
     *
     * @return the last packets
     * @throws MediaStateException when the splitter is closed or in use
     */
    public List<Packet> finish() {
        return handle.call(splitter -> {
            List<Packet> packets = new ArrayList<>();
            for (byte[] packet; packets.size() < MOST_KEPT;) {
                fields[SplitterFields.PRESENTATION_TIME] = Packet.NO_TIME;
                fields[SplitterFields.DECODING_TIME] = Packet.NO_TIME;
                packet = split(splitter, null, 0, 0);
                if (packet == null) {
                    break;
                }
                packets.add(Packet.ofSplitter(packet, fields));
            }
            sincePacket = 0;
            return packets;
        });
    }

    /**
     * Cuts what comes out of a stream of bytes, as soon as it comes, up to its end. When the stream of packets is left early,
     * what was read and not delivered is lost.
     *
     * @param bytes the bytes, which this method's caller closes
     * @return the packets, with those that {@link #finish} returns; a sequential stream, which need not be closed. It throws
     *     {@link UncheckedIOException} when the bytes cannot be read, and otherwise as {@link #push(byte[])}
     */
    public Stream<Packet> packets(InputStream bytes) {
        Objects.requireNonNull(bytes, "bytes");
        byte[] piece = new byte[READ];
        Deque<Packet> ready = new ArrayDeque<>();
        return new PullSpliterator<Packet>() {
            private boolean ended;

            @Override
            Packet next() {
                while (ready.isEmpty() && !ended) {
                    int count = read(bytes, piece);
                    ended = count < 0;
                    ready.addAll(ended ? finish() : push(piece, 0, count));
                }
                return ready.poll();
            }
        }.stream();
    }

    private static int read(InputStream bytes, byte[] piece) {
        try {
            return bytes.read(piece);
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private byte[] split(Splitter splitter, byte[] bytes, int offset, int length) {
        try {
            return splitter.split(bytes, offset, length, fields);
        } catch (RuntimeException | OutOfMemoryError e) {
            restart(splitter);
            throw MediaException.of(e, "cutting a stream of " + codec, MediaFormatException::new);
        }
    }

    private void restart(Splitter splitter) {
        sincePacket = 0;
        try {
            splitter.restart();
        } catch (RuntimeException | Error e) {
            throw MediaException.of(e, "cutting a stream of " + codec, MediaFormatException::new);
        }
    }

    /**
     * Frees the splitter. A second call does nothing. Its packets stay usable.
     *
     * @throws MediaStateException when another thread calls the splitter
     */
    @Override
    public void close() {
        handle.close();
    }
}
