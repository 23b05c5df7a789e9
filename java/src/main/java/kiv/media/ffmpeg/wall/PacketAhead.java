package kiv.media.ffmpeg.wall;

import java.nio.ByteBuffer;
import java.util.Arrays;
import kiv.media.ffmpeg.natives.PacketFields;

/**
 * A packet that was read before it is asked for.
 *
 * @param bytes in an array
 * @param fields what describes it, laid out as {@link PacketFields} with the length
 * @param chunk the array's owner
 * @param use the chunk's use in which it holds this packet
 */
public record PacketAhead(ByteBuffer bytes, long[] fields, Chunk chunk, int use) {

    /** An array that several packets have in common, and others after them: the virtual machine clears new arrays. */
    static final class Chunk {
        private final byte[] bytes;
        /** How many of the packets are still to be delivered; the last delivered one is the caller's too. */
        private int packets;
        private int use;

        Chunk(int size) {
            bytes = new byte[size];
        }

        /** {@return whether results fit, and no packet is lost} */
        boolean takes(int size) {
            return packets == 0 && bytes.length >= size;
        }

        boolean isFree() {
            return packets == 0;
        }

        /** Takes over results in place of the packets before, which those who still know them cannot compare any more. */
        Answer take(Answer results) {
            use++;
            return results.copy(bytes);
        }

        PacketAhead packet(ByteBuffer packet, long[] fields) {
            packets++;
            return new PacketAhead(packet, fields, this, use);
        }

        /** A packet is not used any more. */
        void release() {
            packets--;
        }
    }

    /** {@return its size} */
    public int length() {
        return bytes.remaining();
    }

    /** {@return whether these are its bytes} */
    boolean has(byte[] other, int offset, int length) {
        int from = bytes.arrayOffset();
        return use == chunk.use && length == length() && (length == 0
                || Arrays.equals(bytes.array(), from, from + length, other, offset, offset + length));
    }

    boolean isOf(int stream) {
        return stream < 0 || fields[PacketFields.STREAM] == stream;
    }

    void copy(byte[] to, int offset) {
        bytes.get(0, to, offset, length());
    }
}
