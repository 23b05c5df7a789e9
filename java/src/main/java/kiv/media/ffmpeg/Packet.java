package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.util.Objects;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.PacketFlags;

/**
 * A piece of one stream's compressed data as its container holds it: for video, one picture. Times are in the
 * {@linkplain MediaStream#timeBase() time base} of the stream, {@link #NO_TIME} where the container tells none.
 * Immutable, for any thread.
 *
 * <pre>{@code
 * Packet packet = Packet.of(bytes, 0, 40, Packet.NO_TIME, true);
 * }</pre>
 */
public final class Packet {

    /** Stands for a time that is not known. */
    public static final long NO_TIME = Long.MIN_VALUE;

    private static final long NO_POSITION = -1;
    private static final byte[] EMPTY = {};

    private final byte[] bytes;
    private final int streamIndex;
    private final long presentationTime;
    private final long decodingTime;
    private final long duration;
    private final boolean key;
    private final long position;

    private Packet(byte[] bytes, int streamIndex, long presentationTime, long decodingTime, long duration, boolean key,
            long position) {
        this.bytes = bytes;
        this.streamIndex = streamIndex;
        this.presentationTime = presentationTime;
        this.decodingTime = decodingTime;
        this.duration = duration;
        this.key = key;
        this.position = position;
    }

    /**
     * Makes a packet of bytes that did not come from a {@link MediaReader}.
     *
     * @param bytes the compressed data, copied
     * @param streamIndex the index of the stream that it belongs to, at least 0
     * @param presentationTime when it is shown, or {@link #NO_TIME}
     * @param decodingTime when it is decoded, or {@link #NO_TIME}
     * @param key whether decoding can start with it
     * @return the packet
     * @throws IllegalArgumentException when the index is negative
     */
    public static Packet of(byte[] bytes, int streamIndex, long presentationTime, long decodingTime, boolean key) {
        Objects.requireNonNull(bytes, "bytes");
        if (streamIndex < 0) {
            throw new IllegalArgumentException("negative stream index " + streamIndex);
        }
        return new Packet(bytes.clone(), streamIndex, presentationTime, decodingTime, 0, key, NO_POSITION);
    }

    /** A packet of an encoder: its bytes are not copied, and decoding can start with it. */
    static Packet ofEncoder(byte[] bytes, long time, long duration) {
        return new Packet(bytes, 0, time, time, duration, true, NO_POSITION);
    }

    /** Takes over what the native reader filled. */
    static Packet ofNative(byte[] bytes, long[] fields) {
        return new Packet(bytes, (int) fields[PacketFields.STREAM], fields[PacketFields.PRESENTATION_TIME],
                fields[PacketFields.DECODING_TIME], fields[PacketFields.DURATION],
                (fields[PacketFields.FLAGS] & PacketFlags.KEY) != 0, fields[PacketFields.POSITION]);
    }

    /** {@return the index of the stream in {@link MediaReader#streams()}} */
    public int streamIndex() {
        return streamIndex;
    }

    /** {@return when it is shown, in units of the stream's time base, or {@link #NO_TIME}} */
    public long presentationTime() {
        return presentationTime;
    }

    /** {@return when it is decoded, in units of the stream's time base, or {@link #NO_TIME}} */
    public long decodingTime() {
        return decodingTime;
    }

    /** {@return how long it lasts, in units of the stream's time base; 0 when unknown} */
    public long duration() {
        return duration;
    }

    /** {@return whether decoding can start with it} */
    public boolean isKey() {
        return key;
    }

    /** {@return where it begins in the container, in bytes, or -1 when unknown} */
    public long position() {
        return position;
    }

    /** {@return the number of bytes} */
    public int size() {
        return bytes.length;
    }

    /**
     * The compressed data. Where the colours of a palette change, the new ones come behind it, in the form in which
     * FFmpeg's decoders look for them.
     *
     * @return a read-only view, without a copy
     */
    public ByteBuffer data() {
        return ByteBuffer.wrap(bytes).asReadOnlyBuffer();
    }

    /** The array itself, for the native calls, which only read it. */
    byte[] bytes() {
        return bytes;
    }

    /** The same packet without its bytes, for those who need its times longer than its data. */
    Packet withoutData() {
        return new Packet(EMPTY, streamIndex, presentationTime, decodingTime, duration, key, position);
    }

    @Override
    public String toString() {
        return "Packet[stream " + streamIndex + ", " + bytes.length + " bytes, presented "
                + (presentationTime == NO_TIME ? "?" : presentationTime) + (key ? ", key]" : "]");
    }
}
