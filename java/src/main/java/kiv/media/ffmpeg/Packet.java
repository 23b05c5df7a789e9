package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.util.Objects;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.PacketFlags;
import kiv.media.ffmpeg.natives.SplitterFields;

/**
 * A unit of a stream's compressed data as its container holds it; for video, one picture. Times are in units of the
 * stream's {@linkplain MediaStream#timeBase() time base}, or {@link #NO_TIME} where the container states none.
 * Immutable, for any thread.
 *
 * <pre>{@code
 * Packet packet = Packet.of(bytes, 0, 40, Packet.NO_TIME, true);
 * }</pre>
 */
public final class Packet {

    /** Stands for an unknown time. */
    public static final long NO_TIME = Long.MIN_VALUE;

    private static final long NO_POSITION = -1;
    /** Marks a packet whose bytes nobody has cut but the caller. */
    private static final long OF_CALLER = -2;
    private static final byte[] EMPTY = {};

    private final byte[] bytes;
    private final int streamIndex;
    private final long presentationTime;
    private final long decodingTime;
    private final long duration;
    private final boolean key;
    private final long position;
    private final boolean damaged;
    private final SampleTrim trim;
    private final int size;

    private Packet(byte[] bytes, int streamIndex, long presentationTime, long decodingTime, long duration, boolean key,
            long position, boolean damaged, SampleTrim trim) {
        this(bytes, bytes.length, streamIndex, presentationTime, decodingTime, duration, key, position, damaged, trim);
    }

    /** @param size of the array's bytes */
    private Packet(byte[] bytes, int size, int streamIndex, long presentationTime, long decodingTime, long duration,
            boolean key, long position, boolean damaged, SampleTrim trim) {
        this.bytes = bytes;
        this.size = size;
        this.streamIndex = streamIndex;
        this.presentationTime = presentationTime;
        this.decodingTime = decodingTime;
        this.duration = duration;
        this.key = key;
        this.position = position;
        this.damaged = damaged;
        this.trim = trim;
    }

    /**
     * Creates a packet that no {@link MediaReader} read. Its bytes are a whole packet; {@link PacketSplitter} cuts streams of
     * bytes into those.
     *
     * @param bytes the compressed data, copied
     * @param streamIndex the index of its stream, at least 0
     * @param presentationTime its presentation time, or {@link #NO_TIME}
     * @param decodingTime its decoding time, or {@link #NO_TIME}
     * @param key whether decoding can start with it
     * @return the packet
     * @throws IllegalArgumentException when the index is negative
     */
    public static Packet of(byte[] bytes, int streamIndex, long presentationTime, long decodingTime, boolean key) {
        Objects.requireNonNull(bytes, "bytes");
        if (streamIndex < 0) {
            throw new IllegalArgumentException("negative stream index " + streamIndex);
        }
        return new Packet(bytes.clone(), streamIndex, presentationTime, decodingTime, 0, key, OF_CALLER, false,
                SampleTrim.NONE);
    }

    /** Creates a packet of an encoder without copying its bytes. Decoding can start with it. */
    static Packet ofEncoder(byte[] bytes, long time, long duration) {
        return new Packet(bytes, 0, time, time, duration, true, NO_POSITION, false, SampleTrim.NONE);
    }

    /** Creates a packet of a splitter without copying its bytes. */
    static Packet ofSplitter(byte[] bytes, long[] fields) {
        return new Packet(bytes, 0, fields[SplitterFields.PRESENTATION_TIME], fields[SplitterFields.DECODING_TIME], 0,
                (fields[SplitterFields.FLAGS] & PacketFlags.KEY) != 0, NO_POSITION, false, SampleTrim.NONE);
    }

    /** Creates a packet of the native reader without copying its bytes. */
    static Packet ofNative(byte[] bytes, long[] fields) {
        return ofNative(bytes, bytes.length, fields);
    }

    /** Creates a packet of the native reader in memory that may have room behind it. */
    static Packet ofNative(byte[] bytes, int size, long[] fields) {
        return new Packet(bytes, size, (int) fields[PacketFields.STREAM], fields[PacketFields.PRESENTATION_TIME],
                fields[PacketFields.DECODING_TIME], fields[PacketFields.DURATION],
                (fields[PacketFields.FLAGS] & PacketFlags.KEY) != 0, Math.max(fields[PacketFields.POSITION], NO_POSITION),
                (fields[PacketFields.FLAGS] & PacketFlags.DAMAGED) != 0, SampleTrim.ofNative(fields));
    }

    /** {@return the index of the stream in {@link MediaReader#streams()}} */
    public int streamIndex() {
        return streamIndex;
    }

    /** {@return its presentation time in units of the stream's time base, or {@link #NO_TIME}} */
    public long presentationTime() {
        return presentationTime;
    }

    /** {@return its decoding time in units of the stream's time base, or {@link #NO_TIME}} */
    public long decodingTime() {
        return decodingTime;
    }

    /** {@return its duration in units of the stream's time base; 0 when unknown} */
    public long duration() {
        return duration;
    }

    /** {@return whether decoding can start with it} */
    public boolean isKey() {
        return key;
    }

    /** {@return its position in the container in bytes; -1 when unknown} */
    public long position() {
        return Math.max(position, NO_POSITION);
    }

    /** Whether nobody has cut its bytes but the caller, who may not know where packets end. */
    boolean isOfCaller() {
        return position == OF_CALLER;
    }

    /** Whether the container knows that bytes of it are missing or wrong. */
    boolean isDamaged() {
        return damaged;
    }

    /**
     * Returns how much is not to be heard from this packet's first sample on, as its container says: what an encoder put
     * before the sound, or what lies before the part that the container plays. It may be more than the packet has, and then
     * goes on in the next ones. {@link AudioDecoder} leaves it out.
     *
     * @return samples of each channel; mostly 0
     */
    public int skippedAtStart() {
        return Math.max(0, trim.start());
    }

    /**
     * Returns how much at the end of this packet's sound is not to be heard, as its container says. {@link AudioDecoder}
     * leaves it out.
     *
     * @return samples of each channel; mostly 0
     */
    public int skippedAtEnd() {
        return trim.end();
    }

    /** What is not to be heard, also where the container states nothing. */
    SampleTrim trim() {
        return trim;
    }

    /** {@return the number of bytes} */
    public int size() {
        return size;
    }

    /**
     * Returns the compressed data. Where a palette changes, the new palette follows the data, in the form that FFmpeg's
     * decoders expect.
     *
     * @return a read-only view
     */
    public ByteBuffer data() {
        return ByteBuffer.wrap(bytes, 0, size).slice().asReadOnlyBuffer();
    }

    /** The array itself, which native calls only read; {@link #size()} of its bytes. */
    byte[] bytes() {
        return bytes;
    }

    /** The same packet without its bytes, for callers that keep its times only. */
    Packet withoutData() {
        return new Packet(EMPTY, streamIndex, presentationTime, decodingTime, duration, key, position, damaged, trim);
    }

    /** The same packet at another time. */
    Packet at(long time) {
        return new Packet(bytes, size, streamIndex, time, time, duration, key, position, damaged, trim);
    }

    /** The same packet, of whose sound something else is not to be heard. */
    Packet trimmed(SampleTrim other) {
        return new Packet(bytes, size, streamIndex, presentationTime, decodingTime, duration, key, position, damaged, other);
    }

    @Override
    public String toString() {
        return "Packet[stream " + streamIndex + ", " + size + " bytes, presented "
                + (presentationTime == NO_TIME ? "?" : presentationTime) + (key ? ", key]" : "]");
    }
}
