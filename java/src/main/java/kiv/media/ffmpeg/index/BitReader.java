package kiv.media.ffmpeg.index;

import java.lang.invoke.MethodHandles;
import java.lang.invoke.VarHandle;
import java.nio.ByteOrder;

/** Reads bits, the highest of a byte first. Behind the end all bits are 0. */
final class BitReader {

    private static final int LONGEST_CODE = 32;
    private static final VarHandle LONGS = MethodHandles.byteArrayViewVarHandle(long[].class, ByteOrder.BIG_ENDIAN);
    /** So many bits follow in the long that begins with the byte of the next one. */
    private static final int SURE_BITS = Long.SIZE - Byte.SIZE + 1;

    private byte[] bytes;
    private int end;
    private long bit;
    private byte[] plain = {};

    /** Reads bytes from one place to another. */
    BitReader(byte[] bytes, int from, int to) {
        this.bytes = bytes;
        this.bit = 8L * from;
        this.end = to;
    }

    /** Goes on with the payload of a unit of H.264 or HEVC, in which a byte of 3 separates zeroes from what is no start code. */
    BitReader unit(byte[] bytes, int from, int to, int most) {
        int last = Math.min(to, from + most);
        if (plain.length < last - from) {
            plain = new byte[most];
        }
        int first = PacketExaminer.nextOf(bytes, (byte) 0, from, last);
        int size = first - from;
        if (size > 0) {
            System.arraycopy(bytes, from, plain, 0, size);
        }
        int zeroes = 0;
        for (int at = first; at < last; at++) {
            if (zeroes >= 2 && bytes[at] == 3) {
                zeroes = 0;
                continue;
            }
            zeroes = bytes[at] == 0 ? zeroes + 1 : 0;
            plain[size++] = bytes[at];
        }
        this.bytes = plain;
        this.bit = 0;
        this.end = size;
        return this;
    }

    int bit() {
        int at = (int) (bit >> 3);
        int value = at < end ? bytes[at] >> (7 - (int) (bit & 7)) & 1 : 0;
        bit++;
        return value;
    }

    boolean flag() {
        return bit() != 0;
    }

    /** Whether the next bits lie in one long of which all bytes may be read. */
    private boolean hasLong() {
        return (bit >> 3) + Long.BYTES <= end;
    }

    /** The next bits, the first one highest; the last seven may be missing. */
    private long nextBits() {
        return (long) LONGS.get(bytes, (int) (bit >> 3)) << (bit & 7);
    }

    int bits(int count) {
        if (count > 0 && count <= Integer.SIZE && hasLong()) {
            int next = (int) (nextBits() >>> Long.SIZE - count);
            bit += count;
            return next;
        }
        int value = 0;
        for (int i = 0; i < count; i++) {
            value = value << 1 | bit();
        }
        return value;
    }

    BitReader skip(int count) {
        bit += count;
        return this;
    }

    /** The place of the first byte of which nothing was read. */
    int nextByte() {
        return (int) (bit + Byte.SIZE - 1 >> 3);
    }

    /** Whether more was read than there is. */
    boolean isBeyondEnd() {
        return bit > 8L * end;
    }

    /** A number of Exp-Golomb's code; -1 when it is impossible. */
    int unsigned() {
        if (hasLong()) {
            long next = nextBits();
            int size = 2 * Long.numberOfLeadingZeros(next) + 1;
            if (size <= SURE_BITS) {
                bit += size;
                return (int) (next >>> Long.SIZE - size) - 1;
            }
        }
        int zeroes = 0;
        while (bit() == 0) {
            if (++zeroes == LONGEST_CODE || isBeyondEnd()) {
                return -1;
            }
        }
        return (1 << zeroes) - 1 + bits(zeroes);
    }

    void skipUnsigned(int count) {
        for (int i = 0; i < count && !isBeyondEnd(); i++) {
            unsigned();
        }
    }

    BitReader skipSigned(int count) {
        skipUnsigned(count);
        return this;
    }

    /** Whether a number that was read is in a range, both ends included. */
    boolean within(int value, int least, int most) {
        return value >= least && value <= most;
    }

    /** Whether the bits up to the next byte have one value. */
    boolean alignsWith(int value) {
        while ((bit & 7) != 0) {
            if (bit() != value) {
                return false;
            }
        }
        return true;
    }

    /** Whether all bits that are left are 0. */
    boolean isRestZero() {
        while (bit < 8L * end) {
            if (bit() != 0) {
                return false;
            }
        }
        return bit == 8L * end;
    }

    int signed() {
        int code = unsigned();
        return (code & 1) != 0 ? (code + 1) >>> 1 : -(code >>> 1);
    }
}
