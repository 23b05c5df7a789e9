package kiv.media.ffmpeg.javasound;

import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;

/** The first bytes of a medium, read only as far as somebody asks, for more may be long in coming. */
final class Head {

    private static final int MOST = 16 * 1024;

    private final InputStream in;
    private final byte[] bytes = new byte[MOST];
    private int size;
    private boolean ended;

    Head(InputStream in) {
        this.in = in;
    }

    /** Whether there are so many bytes; there are never more than 16384. */
    boolean has(int length) throws IOException {
        while (size < length && length <= MOST && !ended) {
            int count = in.read(bytes, size, length - size);
            ended = count <= 0;
            size += Math.max(0, count);
        }
        return size >= length;
    }

    /** An unsigned byte that is there. */
    int at(int index) {
        return bytes[index] & 0xFF;
    }

    /** An unsigned number of two bytes that are there, the low one first. */
    int littleEndian16(int index) {
        return at(index) | at(index + 1) << 8;
    }

    /** An unsigned number of four bytes that are there, the low one first. */
    long littleEndian32(int index) {
        return littleEndian16(index) | (long) littleEndian16(index + 2) << 16;
    }

    /** An unsigned number of four bytes that are there, the high one first. */
    long bigEndian32(int index) {
        return Integer.toUnsignedLong(at(index) << 24 | at(index + 1) << 16 | at(index + 2) << 8 | at(index + 3));
    }

    /** Whether certain characters stand somewhere. */
    boolean is(int index, String text) throws IOException {
        return has(index + text.length())
                && new String(bytes, index, text.length(), StandardCharsets.ISO_8859_1).equals(text);
    }
}
