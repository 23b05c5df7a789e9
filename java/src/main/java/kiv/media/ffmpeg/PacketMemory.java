package kiv.media.ffmpeg;

import java.io.IOException;
import kiv.media.ffmpeg.natives.PacketFields;

/** Memory for one packet after the other, for those that no caller sees: the virtual machine clears new arrays. */
final class PacketMemory {

    private static final int FIRST_ROOM = 1 << 14;

    private final long[] fields = new long[PacketFields.SIZE_WITH_LENGTH];
    private byte[] room = new byte[FIRST_ROOM];

    /** Reads a packet into the memory. */
    @FunctionalInterface
    interface Read {
        /** @return the room, a new array when the packet does not fit, or null at the end */
        byte[] into(byte[] room, long[] fields) throws IOException;
    }

    /** {@return what describes the present packet, laid out as {@link PacketFields}} */
    long[] fields() {
        return fields;
    }

    /** Returns the next packet, which is valid until the next call; null at the end. */
    Packet next(Read read) throws IOException {
        byte[] bytes = read.into(room, fields);
        if (bytes == null) {
            return null;
        }
        int size = (int) fields[PacketFields.LENGTH];
        if (bytes != room) {
            room = new byte[Math.max(size, (int) Math.min(size + size / 2L, Integer.MAX_VALUE - Long.BYTES))];
        }
        return Packet.ofNative(bytes, size, fields);
    }
}
