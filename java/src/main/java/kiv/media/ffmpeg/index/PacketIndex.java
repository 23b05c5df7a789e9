package kiv.media.ffmpeg.index;

import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.io.StreamCorruptedException;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.zip.CRC32C;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.PacketFlags;

/**
 * What is known of the packets of one stream, in the order in which they are read: 35 bytes for each. A checksum of the
 * bytes recognises a packet again.
 */
public final class PacketIndex {

    /** Stands for an unknown time. */
    public static final long NO_TIME = Long.MIN_VALUE;
    /** Decoding can start here, whatever the container says. */
    public static final int RESTART = 1;
    /** Decoding has started here, and the picture was the same after another one. */
    public static final int PROVEN = 4;
    /** A decoder that begins here takes what pictures name for damage. */
    public static final int REFERS_BACK = 8;
    /** The container says that decoding can start here. */
    public static final int KEY = 2;

    /** Stand for times of which one or both are unknown, or further from each other than 32 bits. */
    private static final int NO_TIMES = Integer.MIN_VALUE;
    private static final int DECODING_ONLY = NO_TIMES + 1;
    private static final int PRESENTATION_ONLY = NO_TIMES + 2;
    private static final int FAR = NO_TIMES + 3;
    /** Stands for a duration of more than 32 bits. */
    private static final int LONG = -1;
    /** A proof is not saved: the saved form may be damaged. */
    private static final int SAVED_FLAGS = RESTART | KEY | REFERS_BACK;
    private static final int SAVED_BYTES = 43;
    private static final int BITS = 10;
    private static final int PART = 1 << BITS;

    /** A part of the columns. */
    private static final class Part {
        private final long[] positions = new long[PART];
        private final long[] times = new long[PART];
        /** The presentation time less the decoding time. */
        private final int[] lags = new int[PART];
        private final int[] durations = new int[PART];
        private final int[] checksums = new int[PART];
        private final int[] sizes = new int[PART];
        private final short[] ranks = new short[PART];
        private final byte[] flags = new byte[PART];
    }

    private final List<Part> parts = new ArrayList<>();
    private final Map<Integer, Long> farPresentationTimes = new HashMap<>();
    private final Map<Integer, Long> longDurations = new HashMap<>();
    private int size;
    private final CRC32C crc = new CRC32C();

    public int size() {
        return size;
    }

    /** Appends a packet. */
    public void add(byte[] bytes, int length, long[] fields, int flags) {
        boolean key = (fields[PacketFields.FLAGS] & PacketFlags.KEY) != 0;
        append(fields[PacketFields.POSITION], fields[PacketFields.PRESENTATION_TIME], fields[PacketFields.DECODING_TIME],
                checksum(bytes, length), length, flags | (key ? KEY : 0),
                fields[PacketFields.DURATION]);
    }

    private void append(long position, long presentation, long decoding, int checksum, int bytes, int flags,
            long duration) {
        if (size % PART == 0) {
            parts.add(new Part());
        }
        Part part = parts.get(size >> BITS);
        int at = size % PART;
        part.positions[at] = position;
        part.times[at] = decoding != NO_TIME ? decoding : presentation;
        part.lags[at] = lag(presentation, decoding);
        if (part.lags[at] == FAR) {
            farPresentationTimes.put(size, presentation);
        }
        part.durations[at] = duration >= 0 && duration <= Integer.MAX_VALUE ? (int) duration : LONG;
        if (part.durations[at] == LONG) {
            longDurations.put(size, duration);
        }
        part.checksums[at] = checksum;
        part.sizes[at] = bytes;
        part.flags[at] = (byte) flags;
        part.ranks[at] = -1;
        size++;
    }

    private static int lag(long presentation, long decoding) {
        if (decoding == NO_TIME) {
            return presentation == NO_TIME ? NO_TIMES : PRESENTATION_ONLY;
        }
        if (presentation == NO_TIME) {
            return DECODING_ONLY;
        }
        long lag = presentation - decoding;
        return lag > FAR && lag <= Integer.MAX_VALUE && (lag >= 0) == (presentation >= decoding) ? (int) lag : FAR;
    }

    private Part part(int packet) {
        return parts.get(packet >> BITS);
    }

    public long position(int packet) {
        return part(packet).positions[packet % PART];
    }

    public long presentationTime(int packet) {
        Part part = part(packet);
        int lag = part.lags[packet % PART];
        long time = part.times[packet % PART];
        return switch (lag) {
            case NO_TIMES, DECODING_ONLY -> NO_TIME;
            case PRESENTATION_ONLY -> time;
            case FAR -> farPresentationTimes.get(packet);
            default -> time + lag;
        };
    }

    public long decodingTime(int packet) {
        Part part = part(packet);
        return part.lags[packet % PART] == PRESENTATION_ONLY ? NO_TIME : part.times[packet % PART];
    }

    public int bytes(int packet) {
        return part(packet).sizes[packet % PART];
    }

    public boolean has(int packet, int flag) {
        return (part(packet).flags[packet % PART] & flag) != 0;
    }

    public void set(int packet, int flag, boolean on) {
        byte[] flags = part(packet).flags;
        flags[packet % PART] = (byte) (on ? flags[packet % PART] | flag : flags[packet % PART] & ~flag);
    }

    public long duration(int packet) {
        int duration = part(packet).durations[packet % PART];
        return duration == LONG ? longDurations.get(packet) : duration;
    }

    /** The place of a packet's picture among those of its group, as they are shown; -1 when it has none. */
    public int rank(int packet) {
        return part(packet).ranks[packet % PART];
    }

    public void rank(int packet, int rank) {
        part(packet).ranks[packet % PART] = (short) rank;
    }

    /** Whether a packet has the same bytes. */
    public boolean matches(int packet, byte[] other) {
        return matches(packet, other.length, checksum(other, other.length));
    }

    private boolean matches(int packet, int bytes, int checksum) {
        Part part = part(packet);
        return part.checksums[packet % PART] == checksum && part.sizes[packet % PART] == bytes;
    }

    /** Returns the place of a packet that was read somewhere, of several the nearest one before or at a place; or -1. */
    public int find(byte[] packet, int before) {
        int checksum = checksum(packet, packet.length);
        for (int at = Math.min(before, size - 1); at >= 0; at--) {
            if (matches(at, packet.length, checksum)) {
                return at;
            }
        }
        for (int at = before + 1; at < size; at++) {
            if (matches(at, packet.length, checksum)) {
                return at;
            }
        }
        return -1;
    }

    private int checksum(byte[] bytes, int length) {
        crc.reset();
        crc.update(bytes, 0, length);
        return (int) crc.getValue();
    }

    public void save(DataOutputStream out) throws IOException {
        out.writeInt(size);
        for (int at = 0; at < size; at++) {
            out.writeLong(position(at));
            out.writeLong(presentationTime(at));
            out.writeLong(decodingTime(at));
            out.writeInt(part(at).checksums[at % PART]);
            out.writeInt(bytes(at));
            out.writeByte(part(at).flags[at % PART] & SAVED_FLAGS);
            out.writeShort(rank(at));
            out.writeLong(duration(at));
        }
    }

    /**
     * Loads what {@link #save} wrote.
     *
     * @throws StreamCorruptedException when a value is none that there can be
     */
    public static PacketIndex load(DataInputStream in) throws IOException {
        PacketIndex index = new PacketIndex();
        int count = in.readInt();
        check(count >= 0 && count <= in.available() / SAVED_BYTES);
        for (; count > 0; count--) {
            long position = in.readLong();
            long presentation = in.readLong();
            long decoding = in.readLong();
            int checksum = in.readInt();
            int bytes = in.readInt();
            int flags = in.readByte();
            int rank = in.readShort();
            check(position >= -1 && bytes >= 0 && (flags & ~SAVED_FLAGS) == 0 && rank >= -1);
            index.append(position, presentation, decoding, checksum, bytes, flags, in.readLong());
            index.rank(index.size() - 1, rank);
        }
        return index;
    }

    /** @throws StreamCorruptedException unless something that was loaded can be */
    static void check(boolean possible) throws StreamCorruptedException {
        if (!possible) {
            throw new StreamCorruptedException("an impossible value");
        }
    }
}
