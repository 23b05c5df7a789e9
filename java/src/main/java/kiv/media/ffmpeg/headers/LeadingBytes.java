package kiv.media.ffmpeg.headers;

import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;

/** The first bytes of a stream. It reads no more than a caller needs, because further bytes may arrive late. */
public final class LeadingBytes {

    private static final int MOST = 16 * 1024;
    private static final int RIFF_HEADER = 12;
    private static final int CHUNK_HEADER = 8;

    private final InputStream in;
    private final byte[] bytes = new byte[MOST];
    private int size;
    private boolean ended;

    /**
     * Reads nothing yet.
     *
     * @param in the stream, at its first byte
     */
    public LeadingBytes(InputStream in) {
        this.in = in;
    }

    /**
     * Reads up to a number of bytes.
     *
     * @param length number of bytes
     * @return whether the stream has that many; false beyond 16384
     * @throws IOException when the stream cannot be read
     */
    public boolean has(int length) throws IOException {
        while (size < length && length <= MOST && !ended) {
            int count = in.read(bytes, size, length - size);
            ended = count <= 0;
            size += Math.max(0, count);
        }
        return size >= length;
    }

    /**
     * Returns an unsigned byte.
     *
     * @param index its index, which {@link #has} has reached
     * @return 0 to 255
     */
    public int at(int index) {
        return bytes[index] & 0xFF;
    }

    /**
     * Returns an unsigned little-endian number of two bytes.
     *
     * @param index its index, which {@link #has} has reached
     * @return the number
     */
    public int littleEndian16(int index) {
        return at(index) | at(index + 1) << 8;
    }

    /**
     * Returns an unsigned little-endian number of four bytes.
     *
     * @param index its index, which {@link #has} has reached
     * @return the number
     */
    public long littleEndian32(int index) {
        return littleEndian16(index) | (long) littleEndian16(index + 2) << 16;
    }

    /**
     * Compares bytes with a text.
     *
     * @param index the index of the first byte
     * @param text characters of Latin-1
     * @return whether the stream has the text there
     * @throws IOException when the stream cannot be read
     */
    public boolean is(int index, String text) throws IOException {
        return has(index + text.length())
                && new String(bytes, index, text.length(), StandardCharsets.ISO_8859_1).equals(text);
    }

    /**
     * Finds a chunk of a RIFF file.
     *
     * @param name four characters
     * @return the index of its content, or -1 when it is not among the first bytes
     * @throws IOException when the stream cannot be read
     */
    public int riffChunk(String name) throws IOException {
        long at = RIFF_HEADER;
        while (at < MOST && has((int) at + CHUNK_HEADER)) {
            int header = (int) at;
            if (is(header, name)) {
                return header + CHUNK_HEADER;
            }
            long size = littleEndian32(header + Integer.BYTES);
            at += CHUNK_HEADER + size + size % 2;
        }
        return -1;
    }
}
