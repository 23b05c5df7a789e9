package kiv.media.ffmpeg.index;

import java.util.Arrays;
import java.util.HashMap;
import java.util.Map;

/** Examines packets of units: H.264 and HEVC, with start codes or with the length of each unit before it. */
abstract class UnitExaminer extends PacketExaminer {

    /** What is read of the heads of slices is shorter: seven codes of 16 bits at most. */
    static final int MOST_OF_SLICE = 24;
    static final int MOST_OF_HEADERS = 4096;
    /** Pictures among which no two may have the same place. */
    private static final int MOST_RECENT = 32;

    /** Bytes of the length before a unit; 0 for start codes. */
    private int lengthSize;
    /** Bytes before the payload of a unit. */
    private final int headSize;
    private final BitReader reader = new BitReader(new byte[0], 0, 0);
    private final Map<Integer, Integer> headers = new HashMap<>();
    private boolean sawPicture;
    /** The places in the order of showing of the last pictures. */
    private final long[] recent = new long[MOST_RECENT];
    private int pictures;

    UnitExaminer(int headSize) {
        this.headSize = headSize;
        forgetOrders();
    }

    @Override
    public final Order order() {
        return Order.NUMBERED;
    }

    /** Reads the headers that stand before the stream, each list behind its length. */
    abstract void lists(byte[] extradata);

    /**
     * Reads what stands before the stream: units with start codes, or lists with the length of each unit.
     *
     * @param lists whether it is lists
     * @param lengthAt where they say how long the lengths in packets are
     * @return whether it is whole
     */
    final boolean readExtradata(byte[] extradata, boolean lists, int lengthAt) {
        if (!lists) {
            eachUnit(extradata, extradata.length);
            return true;
        }
        lengthSize = (extradata[lengthAt] & 3) + 1;
        try {
            lists(extradata);
            return true;
        } catch (IndexOutOfBoundsException e) {
            return false;
        }
    }

    /** Takes a list of units. @return the place behind it */
    final int list(byte[] extradata, int from, int units) {
        int at = from;
        for (int i = 0; i < units; i++) {
            int size = number(extradata, at, 2);
            unit(extradata, at + 2, Math.min(extradata.length, at + 2 + size));
            at += 2 + size;
        }
        return at;
    }

    static int number(byte[] bytes, int from, int count) {
        int value = 0;
        for (int i = 0; i < count; i++) {
            value = value << Byte.SIZE | bytes[from + i] & 0xFF;
        }
        return value;
    }

    /** Returns the payload of a unit, which is valid until the next one is read. */
    final BitReader payload(byte[] bytes, int from, int to, int most) {
        return reader.unit(bytes, from + headSize, to, most);
    }

    /** Takes a unit from one place to another. */
    abstract void unit(byte[] bytes, int from, int to);

    /** Takes each unit of a packet. @return whether the packet consists of whole units */
    final boolean eachUnit(byte[] bytes, int end) {
        // A container of lengths may have packets with start codes all the same, and decoders accept them.
        boolean startCodes = lengthSize == 0 || end > 3 && lengthSize == 4 && bytes[0] == 0 && bytes[1] == 0
                && bytes[2] == 0 && bytes[3] == 1;
        if (!startCodes) {
            int at = 0;
            while (at + lengthSize <= end) {
                long length = number(bytes, at, lengthSize) & 0xFFFFFFFFL;
                at += lengthSize;
                if (length > end - at || headSize > 1 && (length < headSize || endsEarly(bytes, at, at + (int) length))) {
                    return false;
                }
                if (length > 0) {
                    unit(bytes, at, at + (int) length);
                }
                at += (int) length;
            }
            return at == end;
        }
        int at = nextStartCode(bytes, 0, end);
        if (at >= end) {
            return false;
        }
        while (at < end) {
            int next = nextStartCode(bytes, at, end);
            unit(bytes, at, next == end ? end : next - 3);
            at = next;
        }
        return true;
    }

    /** Whether a unit has a start code in it, with which FFmpeg 2.8's decoder of HEVC ends it. Zeroes may pad it. */
    private static boolean endsEarly(byte[] bytes, int from, int to) {
        int last = to;
        while (last > from && bytes[last - 1] == 0) {
            last--;
        }
        return hasCode(bytes, from, last);
    }

    /** Notes a unit that stands for many pictures. */
    final void noteHeader(boolean sequence, int kind, int id, byte[] bytes, int from, int to) {
        int last = to;
        while (last > from && bytes[last - 1] == 0) {
            last--; // what pads a unit is not part of it
        }
        int hash = Arrays.hashCode(Arrays.copyOfRange(bytes, from, last));
        Integer old = headers.put(kind << Byte.SIZE | id & 0xFF, hash);
        if (sawPicture && (old == null || old != hash)) {
            if (sequence) {
                changeSequence();
            } else {
                changeHeaders();
            }
        }
    }

    /** Notes whether there was a picture in a packet. */
    final void notePicture(boolean any) {
        sawPicture |= any;
    }

    /** Whether there was a picture before. */
    final boolean sawPicture() {
        return sawPicture;
    }

    /** Notes that numbers begin anew. */
    final void forgetOrders() {
        Arrays.fill(recent, Long.MIN_VALUE);
    }

    /** Notes a picture's place in the order of showing. @return whether one of the last pictures has the same place */
    final boolean noteOrder(long order) {
        boolean repeated = Arrays.stream(recent).anyMatch(one -> one == order);
        recent[pictures++ % recent.length] = order;
        return repeated;
    }

    /** The whole number of a picture of which the low bits are known, nearest to that of another one. */
    static long whole(int low, int bits, long nearTo) {
        long size = 1L << bits;
        long lowOfOther = Math.floorMod(nearTo, size);
        long high = nearTo - lowOfOther;
        if (low < lowOfOther && lowOfOther - low >= size / 2) {
            high += size;
        } else if (low > lowOfOther && low - lowOfOther > size / 2) {
            high -= size;
        }
        return high + low;
    }
}
